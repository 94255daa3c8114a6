#pragma once

#include <algorithm>
#include <charconv>
#include <string_view>

namespace kelp {

/// Removes the next segment from the front of `rest` and returns it, skipping empty ones; empty at the end of the path.
inline std::string_view TakeSegment(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  const std::string_view segment = rest.substr(0, rest.find('/'));
  rest.remove_prefix(segment.size());
  return segment;
}

/// Reads the whole of `text` as a decimal number, with "-" for a negative one. False, with `number` untouched, when it
/// is anything else or does not fit. Fraction and exponent are accepted for floating-point types only.
template <class Number>
bool ReadDecimal(std::string_view text, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace kelp
