#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <variant>

#include "RealBackends.h"
#include "accounts/Sessions.h"
#include "http/HttpServer.h"
#include "http/RouteTable.h"
#include "http/WorkerPool.h"
#include "requests/RequestLog.h"

namespace host {

/// Decides on requests by their head. A path of the route table has its row's rules. Any other one below /platform/v1/
/// is 401 without a session, else 404. All the rest is for the plugins' callbacks, in this order: 405 for a method
/// other than PUT, POST, DELETE, GET and QUERY; 401 without a session, before 404 so that paths cannot be probed
/// without one; 404 for an unknown path; the plugin. The tasks of sessions are noted (RequestLog.h); what is refused
/// here has done nothing and is not.
class Gateway {
 public:
  struct Parts {
    std::shared_ptr<Sessions> sessions;
    /// Closed.
    std::shared_ptr<const RouteTable> routes;
    std::shared_ptr<const platform::IRouteTable> plugin_paths;
    /// Runs plugin requests.
    WorkerPool* workers = nullptr;
    /// Runs logins, whose hashes are expensive by design: its threads bound how many run at once.
    WorkerPool* login_workers = nullptr;
    /// Runs GET /ready, which must be answered also when all else is busy.
    WorkerPool* ready_worker = nullptr;
    /// Runs what streams: a thread each while it lasts.
    WorkerPool* stream_workers = nullptr;
    std::size_t body_limit = 0;
    /// Notes the requests of sessions; null to note none.
    std::shared_ptr<RequestLog> requests;
  };

  explicit Gateway(Parts parts) : parts_(std::move(parts)) {}

  using Verdict = std::variant<HttpAnswer, HttpTask>;
  /// Implements HttpAdmission.
  Verdict Admit(const HttpHead& head) const;

 private:
  /// The session of the token that the request carries; null without one.
  std::shared_ptr<const Session> SessionOf(const HttpHead& head) const;
  Verdict AdmitToRoute(const HttpHead& head, RouteTable::Match match) const;
  Verdict AdmitToPlugin(const HttpHead& head) const;
  /// The task, which notes its end; an answer when it could not be noted now.
  Verdict Noted(HttpTask task, const HttpHead& head, const Session& session) const;
  WorkerPool* PoolOf(platform::HttpPool pool) const;

  const Parts parts_;
};

}  // namespace host
