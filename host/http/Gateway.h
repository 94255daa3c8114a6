#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "RealBackends.h"
#include "accounts/FailedTries.h"
#include "accounts/Sessions.h"
#include "http/HttpServer.h"
#include "http/WorkerPool.h"

namespace host {

/// Routes requests, in this order: 405 for a method other than PUT, POST, DELETE, GET and QUERY; the host's own paths;
/// 401 without a session, before 404 so that paths cannot be probed without one; 404 for an unknown path; the plugin.
class Gateway {
 public:
  struct Parts {
    std::shared_ptr<Sessions> sessions;
    std::shared_ptr<LoginTries> tries;
    std::shared_ptr<const platform::IRouteTable> routes;
    /// Runs plugin requests.
    WorkerPool* workers = nullptr;
    /// Runs logins, whose hashes are expensive by design: its threads bound how many run at once.
    WorkerPool* login_workers = nullptr;
    /// Runs GET /ready, which must be answered also when all else is busy.
    WorkerPool* ready_worker = nullptr;
    std::size_t body_limit = 0;
    /// Whether the host can serve; blocks for a second at most.
    std::function<bool()> ready;
  };

  explicit Gateway(Parts parts) : parts_(std::move(parts)) {}

  /// Implements HttpAdmission.
  std::variant<HttpAnswer, HttpTask> Admit(const HttpHead& head) const;

 private:
  std::variant<HttpAnswer, HttpTask> AdmitToPlugin(const HttpHead& head, int method_code) const;
  HttpAnswer Login(const std::string& client_address, const std::string& body) const;
  HttpAnswer OpenSession(UserRecord user, const std::string& client_address) const;
  HttpAnswer Ready() const;

  const Parts parts_;
};

}  // namespace host
