#pragma once

#include <string>
#include <string_view>

#include "OrvBase/Export.h"

namespace kelp {

/// `text` with the letters A to Z in lower case; all other bytes are unchanged.
[[nodiscard]] PLATFORM_API std::string ToLower(std::string_view text);

/// Whether `text` contains `part`, byte by byte. Every text contains the empty one.
[[nodiscard]] PLATFORM_API bool StringFind(std::string_view text, std::string_view part);

}  // namespace kelp
