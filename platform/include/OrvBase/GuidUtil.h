#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace Orv::Base::GuidUtil {

/// A new random (version 4) guid in upper case with hyphens, without braces; "" when the system provides no randomness.
[[nodiscard]] PLATFORM_API std::string CreateGuid();

}  // namespace Orv::Base::GuidUtil
