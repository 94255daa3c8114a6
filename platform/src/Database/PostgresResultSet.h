#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "KelpPlatform/DBManager.h"
#include "ResultRows.h"

namespace platform::database {

using PostgresResult = std::unique_ptr<ResultRows>;

/// Cursor over rows, which must outlive it. On null or no rows it is at its end.
class PostgresResultSet final : public kelp::IDBResultSet {
 public:
  explicit PostgresResultSet(const ResultRows* result)
      : result_(result), rows_(result ? result->Rows() : 0), columns_(result ? result->Columns() : 0) {}

  bool IsEof() const override { return row_ >= rows_; }
  void Next() override;
  int GetInt(std::string_view column) const override { return GetIntByIndex(IndexOf(column)); }
  std::string GetString(std::string_view column) const override { return std::string(Value(IndexOf(column))); }
  int GetIntByIndex(int index) const override;

 private:
  /// The first of that name; -1 when there is none.
  int IndexOf(std::string_view column) const;
  /// Empty for NULL, past the end, and for an index outside the columns.
  std::string_view Value(int index) const;

  const ResultRows* result_;
  std::size_t rows_;
  std::size_t columns_;
  std::size_t row_ = 0;
  /// Which column each question of a row was about, the first of its name, and the number of the next question:
  /// readers ask each row in the same order.
  mutable std::array<std::uint16_t, 64> asked_{};
  mutable std::size_t question_ = 0;
};

}  // namespace platform::database
