#include "PostgresResultSet.h"

#include <algorithm>
#include <charconv>

namespace platform::database {
namespace {

constexpr char FoldCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  // Readers mostly ask as the server writes.
  return a == b || std::ranges::equal(a, b, {}, FoldCase, FoldCase);
}

}  // namespace

void PostgresResultSet::Next() {
  if (row_ < rows_) ++row_;
  question_ = 0;
}

int PostgresResultSet::GetIntByIndex(int index) const {
  const std::string_view text = Value(index);
  int number = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  return fault == std::errc() && end == text.data() + text.size() ? number : 0;
}

int PostgresResultSet::IndexOf(std::string_view column) const {
  const std::size_t question = question_++;
  const bool is_first_row = row_ == 0;
  if (!is_first_row && question < asked_.size() && SameName(result_->ColumnName(asked_[question]), column))
    return asked_[question];
  std::size_t index = 0;
  while (index < columns_ && !SameName(result_->ColumnName(index), column))
    ++index;
  if (index == columns_) return -1;
  if (question < asked_.size()) asked_[question] = static_cast<std::uint16_t>(index);
  return static_cast<int>(index);
}

std::string_view PostgresResultSet::Value(int index) const {
  if (IsEof() || index < 0 || static_cast<std::size_t>(index) >= columns_) return {};
  return result_->Field(row_, static_cast<std::size_t>(index));
}

}  // namespace platform::database
