#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "OrvBase/Export.h"

namespace platform {

/// The value of a key of the host's settings file, its default when the operator has set none; "" for a key that the
/// host does not know, and without a host. Fixed while the host runs.
[[nodiscard]] PLATFORM_API std::string SiteSetting(std::string_view name);

/// The same as a number; `fallback` for what is none.
[[nodiscard]] PLATFORM_API std::int64_t SiteNumber(std::string_view name, std::int64_t fallback);

}  // namespace platform
