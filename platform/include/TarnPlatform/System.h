#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace TarnPlatform::System {

/// The guid of this installation; empty when it is not known.
[[nodiscard]] PLATFORM_API std::string GetSystemGuid();

}  // namespace TarnPlatform::System
