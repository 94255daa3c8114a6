#include "KelpUtils/StringFunctions.h"

namespace kelp {

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

bool StringFind(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

}  // namespace kelp
