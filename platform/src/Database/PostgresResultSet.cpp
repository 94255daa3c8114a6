#include "PostgresResultSet.h"

#include <charconv>

namespace platform::database {
namespace {

constexpr char FoldCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(const char* a, const char* b) {
  for (; FoldCase(*a) == FoldCase(*b); ++a, ++b) {
    if (*a == '\0') return true;
  }
  return false;
}

}  // namespace

void PostgresResultSet::Next() {
  if (row_ < rows_) ++row_;
}

int PostgresResultSet::GetIntByIndex(int index) const {
  const std::string_view text = Value(index);
  int number = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  return fault == std::errc() && end == text.data() + text.size() ? number : 0;
}

int PostgresResultSet::IndexOf(const std::string& column) const {
  const auto is_known = [this](std::size_t index) { return index < known_.size() && known_[index]; };
  std::size_t index = likely_;
  if (!is_known(index) || !SameName(result_->ColumnName(index), column.c_str())) {
    for (index = 0; index < columns_ && !SameName(result_->ColumnName(index), column.c_str());)
      ++index;
    if (index == columns_) return -1;
    if (index < known_.size()) known_[index] = true;
  }
  likely_ = index + 1 < columns_ ? index + 1 : 0;
  return static_cast<int>(index);
}

std::string_view PostgresResultSet::Value(int index) const {
  if (IsEof() || index < 0 || static_cast<std::size_t>(index) >= columns_) return {};
  return result_->Field(row_, static_cast<std::size_t>(index));
}

}  // namespace platform::database
