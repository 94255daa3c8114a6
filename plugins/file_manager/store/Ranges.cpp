#include "store/Ranges.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace FileManager {
namespace {

/// Decimal digits alone; what is beyond 64 bits is the largest number.
std::optional<std::int64_t> Position(std::string_view text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  std::int64_t number = 0;
  const auto fault = std::from_chars(text.data(), text.data() + text.size(), number).ec;
  return fault == std::errc() ? number : std::numeric_limits<std::int64_t>::max();
}

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  return first == std::string_view::npos ? text.substr(0, 0)
                                         : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsBytes(std::string_view unit) {
  constexpr std::string_view kUnit = "bytes";
  return std::ranges::equal(unit, kUnit, [](char left, char right) { return (left | 0x20) == right; });
}

}  // namespace

std::variant<WholeFile, ByteRange, NoBytes> ReadRange(std::string_view header, std::int64_t total) {
  const auto equals = header.find('=');
  if (equals == std::string_view::npos || !IsBytes(header.substr(0, equals))) return WholeFile{};
  const auto range = Trimmed(header.substr(equals + 1));
  const auto dash = range.find('-');
  if (dash == std::string_view::npos) return WholeFile{};
  const auto first = Position(range.substr(0, dash));
  const auto last = Position(range.substr(dash + 1));
  if (dash == 0) {
    if (!last) return WholeFile{};
    if (*last == 0 || total == 0) return NoBytes{};
    return ByteRange{total - std::min(*last, total), total - 1};
  }
  const bool has_end = dash + 1 != range.size();
  if (!first || (has_end && (!last || *last < *first))) return WholeFile{};
  if (*first >= total) return NoBytes{};
  return ByteRange{*first, has_end ? std::min(*last, total - 1) : total - 1};
}

}  // namespace FileManager
