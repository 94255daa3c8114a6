#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace TarnPlatform::Common {

/// The key text under which plugins encipher what they store: 16, 24 or 32 characters, the same over all starts of this
/// installation. Empty when there is none. Never to be logged.
[[nodiscard]] PLATFORM_API std::string GetAESKey();

}  // namespace TarnPlatform::Common
