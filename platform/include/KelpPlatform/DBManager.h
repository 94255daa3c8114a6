#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Cursor over the rows of one result, standing on the first row at the start. Valid only inside the
/// row reader that received it, on that thread. Columns are found by name without regard to case. NULL,
/// an unknown column and a cursor at its end read as 0 or "".
class IDBResultSet {
 public:
  virtual ~IDBResultSet() = default;

  virtual bool IsEof() const = 0;
  virtual void Next() = 0;
  /// The column's whole decimal number; 0 when it holds none or one outside 32 bits.
  virtual int GetInt(const std::string& column) const = 0;
  virtual std::string GetString(const std::string& column) const = 0;
  /// As GetInt, by position from 0.
  virtual int GetIntByIndex(int index) const = 0;
};

/// Database access in pools: one pool for each plugin id and connection class. All operations may be
/// called on any thread. A text is one call and one implicit transaction: several statements in
/// it are all done or none. A text is never sent twice.
class IDBManager {
 public:
  using RowReader = std::function<void(IDBResultSet*)>;

  /// Connection classes.
  static constexpr int kConfigClass = 1;
  static constexpr int kLogClass = 2;

  virtual ~IDBManager() = default;

  /// The process's manager; never null. One that refuses everything stands in until one is installed.
  PLATFORM_API static std::shared_ptr<IDBManager> Instance();

  /// Makes the two pools of `plugin_id`, with at most `config_connections` and `log_connections`
  /// connections (1 to 1000). True when the database was reached. False, with nothing changed, also when
  /// pools stand under that id already. `connect_now` is always true.
  [[nodiscard]] virtual bool Initialize(const std::string& plugin_id, int config_connections, int log_connections,
                                        bool connect_now) = 0;

  /// Closes the pools of `plugin_id`; later calls under that id fail, the empty text too. Who waits for
  /// a connection gets false, a statement that runs is finished.
  virtual void UnInitialize(const std::string& plugin_id) = 0;

  /// Runs `sql`. False when any statement failed, no connection came free within the bound, the database
  /// is away, or the text holds a NUL or leaves a transaction open. The empty text succeeds and sends nothing.
  [[nodiscard]] virtual bool ExecuteNoQuery(const std::string& plugin_id, int connection_class,
                                            const std::string& sql) = 0;

  /// Runs the texts in order as one explicit transaction: all or none.
  [[nodiscard]] virtual bool ExecuteNoQueryList(const std::string& plugin_id, int connection_class,
                                                const std::list<std::string>& sqls) = 0;

  /// Runs `sql` and calls `reader` once with the result of its last statement. The reader runs after
  /// the statement has succeeded; it is not called when the call fails. The empty text calls it with a
  /// cursor at its end. An exception of the reader makes the call fail.
  [[nodiscard]] virtual bool ExecuteQuery(const std::string& plugin_id, int connection_class, const std::string& sql,
                                          const RowReader& reader) = 0;
};

}  // namespace kelp
