#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The classes of requests that the metrics tell apart, by what a client wants: at most twenty, whatever it sends.
[[nodiscard]] std::vector<std::string> RouteNames();

/// That of POST /login.
[[nodiscard]] std::size_t LoginRouteNumber();

/// The position in RouteNames of a request; `method` is GET for whatever only reads. The path is as it was sent.
[[nodiscard]] std::size_t RouteNumber(std::string_view method, std::string_view path);

}  // namespace host
