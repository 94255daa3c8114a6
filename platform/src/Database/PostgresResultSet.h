#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <string_view>

#include "KelpPlatform/DBManager.h"

namespace platform::database {

struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, ClearResult>;

/// Cursor over a result, which must outlive it. On a null or empty result it is at its end.
class PostgresResultSet final : public kelp::IDBResultSet {
 public:
  explicit PostgresResultSet(const PGresult* result) : result_(result), rows_(result ? PQntuples(result) : 0) {}

  bool IsEof() const override { return row_ >= rows_; }
  void Next() override;
  int GetInt(const std::string& column) const override { return GetIntByIndex(IndexOf(column)); }
  std::string GetString(const std::string& column) const override { return std::string(Value(IndexOf(column))); }
  int GetIntByIndex(int index) const override;

 private:
  /// -1 when there is no such column.
  int IndexOf(std::string_view column) const;
  /// Empty for NULL, past the end, and for an index outside the columns.
  std::string_view Value(int index) const;

  const PGresult* result_;
  int rows_;
  int row_ = 0;
};

}  // namespace platform::database
