#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "OrvBase/Export.h"

namespace kelp {

/// Cursor over the rows of one result, initially at the first row. Valid only inside the row reader that received it,
/// on that thread. Column names are case-insensitive. NULL, an unknown column and a cursor at its end read as 0 or "".
class IDBResultSet {
 public:
  virtual ~IDBResultSet() = default;

  virtual bool IsEof() const = 0;
  virtual void Next() = 0;
  /// The column as a decimal integer; 0 when it is not one or does not fit in 32 bits.
  virtual int GetInt(std::string_view column) const = 0;
  virtual std::string GetString(std::string_view column) const = 0;
  /// As GetInt, by position from 0.
  virtual int GetIntByIndex(int index) const = 0;
};

/// Database access through connection pools, one for each plugin id and connection class. Thread-safe. A text is one
/// call and one implicit transaction: its statements all take effect or none. A text is sent again, a few times, when
/// the server undid all of it because it crossed another transaction; never when it is not known what became of it.
class IDBManager {
 public:
  using RowReader = std::function<void(IDBResultSet*)>;

  /// Connection classes.
  static constexpr int kConfigClass = 1;
  static constexpr int kLogClass = 2;

  virtual ~IDBManager() = default;

  /// The process's manager; never null. Until one is installed, a placeholder refuses every call.
  PLATFORM_API static std::shared_ptr<IDBManager> Instance();

  /// Creates the two pools of `plugin_id`, with at most `config_connections` and `log_connections` connections (1 to
  /// 1000). True when the database was reached. False, with nothing changed, when it was not, when a number is out of
  /// range or when that id already has pools. `connect_now` is always true.
  [[nodiscard]] virtual bool Initialize(const std::string& plugin_id, int config_connections, int log_connections,
                                        bool connect_now) = 0;

  /// Closes the pools of `plugin_id`; later calls under that id fail, even for the empty text. Callers waiting for a
  /// connection get false; a running statement is completed.
  virtual void UnInitialize(const std::string& plugin_id) = 0;

  /// Runs `sql`. False when any statement failed, no connection became available in time, the database is unreachable,
  /// or the text contains a NUL or leaves a transaction open. The empty text succeeds and sends nothing.
  [[nodiscard]] virtual bool ExecuteNoQuery(const std::string& plugin_id, int connection_class,
                                            const std::string& sql) = 0;

  /// Runs the texts in order as one explicit transaction: all or none.
  [[nodiscard]] virtual bool ExecuteNoQueryList(const std::string& plugin_id, int connection_class,
                                                const std::list<std::string>& sqls) = 0;

  /// How a transaction ended. Unknown: the connection was lost while it was being committed.
  enum class End { kCommitted, kUndone, kUnknown };

  /// ExecuteNoQueryList with its end. A manager that cannot tell takes each failure for unknown.
  [[nodiscard]] virtual End RunTransaction(const std::string& plugin_id, int connection_class,
                                           const std::list<std::string>& sqls) {
    return ExecuteNoQueryList(plugin_id, connection_class, sqls) ? End::kCommitted : End::kUnknown;
  }

  /// Runs `sql` and calls `reader` once with the result of its last statement. The reader runs after the statement has
  /// succeeded; it is not called when the call fails. For the empty text the cursor is at its end. An exception thrown
  /// by the reader makes the call fail.
  [[nodiscard]] virtual bool ExecuteQuery(const std::string& plugin_id, int connection_class, const std::string& sql,
                                          const RowReader& reader) = 0;
};

}  // namespace kelp
