#pragma once

#include <functional>
#include <memory>

#include "accounts/Login.h"
#include "http/RouteTable.h"

namespace host {

/// Registers the routes of the host that stand outside of /platform/v1/: `/login`, `/live` and `/ready`. `is_ready`
/// blocks for a second at most.
void RegisterHostRoutes(RouteTable& routes, std::shared_ptr<const Login> login, std::function<bool()> is_ready);

}  // namespace host
