#include "PostgresResultSet.h"

#include <algorithm>
#include <charconv>

namespace platform::database {
namespace {

constexpr char FoldCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return FoldCase(x) == FoldCase(y); });
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

// PQfnumber folds only the requested name, so it would miss a column the server reports as "ID".
int PostgresResultSet::IndexOf(std::string_view column) const {
  const int columns = result_ ? PQnfields(result_) : 0;
  for (int index = 0; index < columns; ++index) {
    if (SameName(PQfname(result_, index), column)) return index;
  }
  return -1;
}

std::string_view PostgresResultSet::Value(int index) const {
  if (IsEof() || index < 0 || index >= PQnfields(result_)) return {};
  return {PQgetvalue(result_, row_, index), static_cast<std::size_t>(PQgetlength(result_, row_, index))};
}

}  // namespace platform::database
