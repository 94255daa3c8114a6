#pragma once

#include "platform/HttpRoutes.h"

namespace desk {

/// Adds the routes of single evidences: read and change one, create one. False when the table refuses one.
[[nodiscard]] bool RegisterRecordRoutes(platform::IHttpRoutes& routes);

}  // namespace desk
