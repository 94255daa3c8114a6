#include "http/HostRoutes.h"

#include <utility>

namespace host {
namespace {

using platform::HttpAccess;
using platform::HttpPool;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpRoute;

/// A login needs no session, so its body limit is small.
constexpr std::size_t kLoginBodyLimit = 16 * 1024;

HttpRoute StateRoute(const char* path, HttpPool pool, std::function<HttpResponse()> state) {
  HttpRoute route;
  route.method = "GET";
  route.path = path;
  route.access = {HttpAccess::Who::kAnybody, {}};
  route.pool = pool;
  route.run = [state = std::move(state)](const HttpRequest&) { return state(); };
  return route;
}

}  // namespace

void RegisterHostRoutes(RouteTable& routes, std::shared_ptr<const Login> login, std::function<bool()> is_ready) {
  HttpRoute log_in;
  log_in.method = "POST";
  log_in.path = "/login";
  log_in.access = {HttpAccess::Who::kAnybody, {}};
  log_in.pool = HttpPool::kLogins;
  log_in.body_limit = kLoginBodyLimit;
  log_in.run = [login = std::move(login)](const HttpRequest& request) { return login->Run(request); };
  routes.RegisterOutside(std::move(log_in));
  routes.RegisterOutside(
      StateRoute("/live", HttpPool::kConnections, [] { return HttpResponse::Json(200, R"({"Status":"live"})"); }));
  routes.RegisterOutside(StateRoute("/ready", HttpPool::kState, [is_ready = std::move(is_ready)] {
    return is_ready() ? HttpResponse::Json(200, R"({"Status":"ready"})")
                      : HttpResponse::Json(503, R"({"Status":"not ready"})");
  }));
}

}  // namespace host
