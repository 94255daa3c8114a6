#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kelp {

/// Values of `method_code`.
enum : int { kMethodPut = 1, kMethodPost = 2, kMethodDelete = 3, kMethodGet = 4 };

struct SHttpRequest {
  int method_code = 0;
  /// Never empty on an external request: the empty session denotes a trusted internal caller.
  std::string session_id;
  /// The numbers of the path segments that are "ID" in the route, in order.
  std::vector<std::int32_t> url_ids;
  std::string request_body;
};

struct SHttpResponse {
  /// When empty, the host responds without a body.
  std::string response_body;
};

using UrlCallback = std::function<void(SHttpResponse&, const SHttpRequest&)>;

/// Registration of HTTP routes. A request reaches the callback registered for its path, regardless of the methods
/// registered there.
class IMsgBus {
 public:
  virtual ~IMsgBus() = default;

  virtual bool RegisterUrl(const std::string& url, int method_code, int route_mode, const UrlCallback& callback) = 0;
  virtual bool RegisterUrlWithCapability(const std::string& url, int method_code, int route_mode,
                                         const UrlCallback& callback, const std::string& capability) = 0;
  /// Removes all methods of `url`; false when it was not registered.
  virtual bool UnRegisterUrl(const std::string& url) = 0;
};

}  // namespace kelp
