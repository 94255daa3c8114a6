#pragma once

#include <cstdint>
#include <optional>

#include "platform/HttpRoutes.h"

namespace host {

/// Puts the number that the query has under `name`, if any, into `value`. False when what is there is none.
[[nodiscard]] bool TakeNumber(const platform::HttpRequest& request, const char* name,
                              std::optional<std::int64_t>& value);

/// The same for a time as of ParseEventTime, which becomes seconds since 1970.
[[nodiscard]] bool TakeTime(const platform::HttpRequest& request, const char* name, std::optional<std::int64_t>& value);

}  // namespace host
