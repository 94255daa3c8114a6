#pragma once

#include "platform/HttpRoutes.h"

namespace host {

/// Registers GET /platform/v1/requests for auditors: who asked for what when, newest first. The query takes `evidence`,
/// `user`, `since` and `until` (RFC 3339), `limit` and `after`. A search by a user's name alone reads backwards until
/// it has found enough: with `since` it ends there.
void RegisterRequestRoutes(platform::IHttpRoutes& routes);

}  // namespace host
