#include "metrics/AdminServer.h"

#include <microhttpd.h>

#include <utility>

#include "HostLog.h"
#include "metrics/MetricsPage.h"
#include "platform/Guard.h"
#include "platform/Metrics.h"

namespace host {
namespace {

constexpr unsigned kConnections = 32;
constexpr unsigned kTimeoutSeconds = 10;

AdminServer::Answer Status(unsigned status, const char* body) { return {status, body}; }

}  // namespace

/// What the library calls.
struct AdminCallbacks {
  static MHD_Result Access(void* server, MHD_Connection* connection, const char* path, const char* method,
                           const char* /*version*/, const char* /*data*/, std::size_t* size, void** context) {
    // The first call is about the head; a body is read and dropped.
    if (std::exchange(*context, server) == nullptr || std::exchange(*size, 0) != 0) return MHD_YES;
    const auto answer = platform::Guard([&] { return static_cast<const AdminServer*>(server)->AnswerTo(method, path); },
                                        [](const char* reason) {
                                          LogHost(kLogFailure, "an operator's request threw: %s",
                                                  reason != nullptr ? reason : "unknown");
                                          return AdminServer::Answer{MHD_HTTP_INTERNAL_SERVER_ERROR, {}};
                                        });
    auto* const response = MHD_create_response_from_buffer(answer.body.size(), const_cast<char*>(answer.body.data()),
                                                           MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.content_type);
    if (answer.status == MHD_HTTP_METHOD_NOT_ALLOWED)
      MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    const auto queued = MHD_queue_response(connection, answer.status, response);
    MHD_destroy_response(response);
    return queued;
  }
};

AdminServer::~AdminServer() {
  if (daemon_ == nullptr) return;
  // Gives the socket back, which the library would close otherwise.
  MHD_quiesce_daemon(daemon_);
  MHD_stop_daemon(daemon_);
}

std::string AdminServer::Start(const std::string& address) {
  const auto parsed = ParseListenAddress(address);
  if (!parsed) return "admin_listen is no address and port";
  std::string fault;
  if (!socket_.Bind(*parsed, fault) || !socket_.Listen(fault)) return "cannot listen on " + fault;
  daemon_ =
      MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL, 0, nullptr, nullptr, &AdminCallbacks::Access,
                       this, MHD_OPTION_LISTEN_SOCKET, socket_.fd(), MHD_OPTION_CONNECTION_LIMIT, kConnections,
                       MHD_OPTION_CONNECTION_TIMEOUT, kTimeoutSeconds, MHD_OPTION_END);
  return daemon_ != nullptr ? "" : "the operators' HTTP server does not start";
}

AdminServer::Answer AdminServer::AnswerTo(std::string_view method, std::string_view path) const {
  if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD) {
    return Status(MHD_HTTP_METHOD_NOT_ALLOWED, R"({"Error":"method not allowed"})");
  }
  if (path == "/metrics")
    return {MHD_HTTP_OK, MetricsText(platform::Metrics::Process().Collect()), kMetricsContentType};
  if (path == "/live") return Status(MHD_HTTP_OK, R"({"Status":"live"})");
  if (path != "/ready") return Status(MHD_HTTP_NOT_FOUND, R"({"Error":"no such path"})");
  return is_ready_() ? Status(MHD_HTTP_OK, R"({"Status":"ready"})")
                     : Status(MHD_HTTP_SERVICE_UNAVAILABLE, R"({"Status":"not ready"})");
}

}  // namespace host
