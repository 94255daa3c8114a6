#pragma once

#include <algorithm>
#include <cstdint>
#include <list>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Evidence {

/// Calls `visit` with each piece of `text` between separators, empty ones skipped, until it returns false. False then.
template <class Visit>
bool ForEachPiece(std::string_view text, char separator, const Visit& visit) {
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find(separator));
    if (!piece.empty() && !visit(piece)) return false;
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
  }
  return true;
}

/// Those pieces; nothing else is done to them.
inline std::list<std::string> SplitText(std::string_view text, char separator) {
  std::list<std::string> pieces;
  ForEachPiece(text, separator, [&pieces](std::string_view piece) {
    pieces.emplace_back(piece);
    return true;
  });
  return pieces;
}

/// The pieces between separators, empty ones kept; "" is one empty piece.
inline std::vector<std::string> SplitKeepingEmpty(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

/// The ids as "1,2,3".
template <class Ids>
[[nodiscard]] std::string CommaList(const Ids& ids) {
  std::string text;
  for (const std::int32_t id : ids) {
    if (!text.empty()) text += ',';
    text += std::to_string(id);
  }
  return text;
}

/// The decimal number at the start of `text`, after optional blanks; 0 when there is none, the nearest limit when it
/// exceeds the 32-bit range.
inline std::int32_t ExtractDecimal(const std::string& text) {
  std::int32_t number = 0;
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  stream >> number;
  return number;
}

}  // namespace Evidence
