#pragma once

#include <algorithm>
#include <list>
#include <string>
#include <string_view>

namespace Evidence {

/// The pieces of `text` between separators, empty ones dropped; nothing else is done to a piece.
inline std::list<std::string> SplitText(std::string_view text, char separator) {
  std::list<std::string> pieces;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find(separator));
    if (!piece.empty()) pieces.emplace_back(piece);
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
  }
  return pieces;
}

}  // namespace Evidence
