#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace TarnPlatform::Common {

/// The key with which plugins encrypt stored data: 16, 24 or 32 characters, constant across restarts of this
/// installation. Empty when there is none. Must never be logged.
[[nodiscard]] PLATFORM_API std::string GetAESKey();

}  // namespace TarnPlatform::Common
