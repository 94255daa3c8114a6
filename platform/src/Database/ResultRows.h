#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/Call.h"

namespace platform::database {

struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using LibraryResult = std::unique_ptr<PGresult, ClearResult>;

/// The rows of one statement, copied as they arrive and counted for the call of the thread, on which it lives and dies.
class ResultRows {
 public:
  /// `description` has the columns, and is kept for them.
  explicit ResultRows(LibraryResult description);
  ~ResultRows();
  ResultRows(const ResultRows&) = delete;
  ResultRows& operator=(const ResultRows&) = delete;

  /// Appends the one row of `row`, which has these columns and may be the description. False when the call has no room
  /// for it.
  [[nodiscard]] bool Add(const PGresult& row);

  /// Keeps the rows of the description itself. The same result.
  [[nodiscard]] bool KeepAll();

  /// So much came at once that the connection's buffers have grown with it.
  [[nodiscard]] bool IsBulky() const;

  [[nodiscard]] std::size_t Rows() const {
    return whole_rows_ != 0 || columns_ == 0 ? whole_rows_ : fields_.size() / columns_;
  }
  [[nodiscard]] std::size_t Columns() const { return columns_; }
  [[nodiscard]] std::string_view ColumnName(std::size_t column) const { return names_[column]; }
  /// Empty for NULL.
  [[nodiscard]] std::string_view Field(std::size_t row, std::size_t column) const {
    if (whole_rows_ != 0) return FieldOfWhole(static_cast<int>(row), static_cast<int>(column));
    const auto& field = fields_[row * columns_ + column];
    return {field.text, field.length};
  }

 private:
  struct StoredField {
    const char* text;
    std::uint32_t length;
  };

  [[nodiscard]] std::string_view FieldOfWhole(int row, int column) const {
    const auto* const result = description_.get();
    return {PQgetvalue(result, row, column), static_cast<std::size_t>(PQgetlength(result, row, column))};
  }
  bool Count(std::size_t row_bytes, std::size_t fields);
  char* Room(std::size_t bytes);

  Call* const call_ = Call::Current();
  const LibraryResult description_;
  const std::size_t columns_;
  std::vector<std::string_view> names_;
  /// Of the description, when they are kept in it; then the members for copies are not used.
  std::size_t whole_rows_ = 0;
  std::vector<StoredField> fields_;
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* free_ = nullptr;
  std::size_t free_bytes_ = 0;
  std::size_t next_block_ = 0;

  std::size_t texts_ = 0;
  std::size_t largest_row_ = 0;
  /// Taken from the call's memory.
  std::size_t counted_ = 0;
};

}  // namespace platform::database
