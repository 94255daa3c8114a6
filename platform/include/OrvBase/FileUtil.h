#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace Orv::Base::FileUtil {

/// The directory of the host's executable, UTF-8, ending in "/". Relative paths of installed files
/// are joined to it by plain concatenation.
[[nodiscard]] PLATFORM_API std::string GetCurExeDirUtf8();

}  // namespace Orv::Base::FileUtil
