#pragma once

#include <string>

#include "platform/HttpRoutes.h"
#include "platform/Json.h"

namespace desk {

/// GET /platform/v1/evidence with the evidence plugin's filters and orders as query parameters. False when the table
/// refuses it.
[[nodiscard]] bool RegisterListRoute(platform::IHttpRoutes& routes);

/// The evidence plugin's query for the parameters `sent`; with a sentence in `fault`, when one of them is unknown,
/// repeated, of the wrong form, or has no effect without another.
[[nodiscard]] platform::Json ReadQuery(std::string& fault, const platform::HttpFields& sent);

}  // namespace desk
