#include "http/Gateway.h"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "http/HttpErrors.h"
#include "http/IpAddress.h"
#include "http/PluginHeaders.h"
#include "requests/NotedTask.h"

namespace host {
namespace {

using Kind = platform::Call::Kind;
using platform::HttpAccess;
using platform::HttpPool;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpRoute;

constexpr unsigned kOk = 200;
constexpr unsigned kNoContent = 204;
constexpr unsigned kBadRequest = 400;
constexpr unsigned kUnauthorized = 401;
constexpr unsigned kForbidden = 403;
constexpr unsigned kNotFound = 404;
constexpr unsigned kMethodNotAllowed = 405;

struct Method {
  std::string_view name;
  int code;
};
/// QUERY is a GET whose body every program can send; to a plugin it is one.
constexpr Method kMethods[] = {
    {"PUT", kelp::kMethodPut}, {"POST", kelp::kMethodPost}, {"DELETE", kelp::kMethodDelete},
    {"GET", kelp::kMethodGet}, {"QUERY", kelp::kMethodGet},
};
constexpr char kAllMethods[] = "PUT, POST, DELETE, GET, QUERY";

HttpAnswer NoSession() { return ErrorAnswer(kUnauthorized, "no session"); }
HttpAnswer NoPath() { return ErrorAnswer(kNotFound, "no such path"); }

HttpAnswer MethodRefused(std::string allow) {
  auto answer = ErrorAnswer(kMethodNotAllowed, "method not allowed");
  answer.headers.emplace_back("Allow", std::move(allow));
  return answer;
}

/// A POST may say that it is a GET: for clients and proxies that send no body with one and know no QUERY.
int MethodCode(const Method& method, const HttpHead& head) {
  const bool is_get =
      method.code == kelp::kMethodPost && head.fields.Header("X-HTTP-Method-Override") == std::string_view("GET");
  return is_get ? kelp::kMethodGet : method.code;
}

/// The token of "Bearer <token>"; "" for anything else.
std::string_view BearerToken(const std::optional<std::string_view>& header) {
  constexpr std::string_view kScheme = "Bearer ";
  if (!header || header->size() <= kScheme.size()) return {};
  if (strncasecmp(header->data(), kScheme.data(), kScheme.size()) != 0) return {};
  return header->substr(kScheme.size());
}

HttpAnswer CallPlugin(const kelp::UrlCallback& callback, const kelp::SHttpRequest& request, bool is_dictionary) {
  // Before the plugin reads its dictionary, so that no change falls between the two.
  const auto version = is_dictionary ? platform::NewestChangeVersion() : std::nullopt;
  kelp::SHttpResponse response;
  callback(response, request);
  HttpAnswer answer;
  answer.status = response.response_body.empty() ? kNoContent : kOk;
  answer.headers = PluginHeaders(response.response_body, version);
  answer.body = std::move(response.response_body);
  return answer;
}

bool HasRole(const Session& session, const HttpRoute& route) {
  if (route.access.who != HttpAccess::Who::kRole || session.user.super_user) return true;
  const auto has = [&session](const std::string& role) { return session.user.roles.contains(role); };
  return std::ranges::any_of(route.access.roles, has);
}

/// Why the session may not call the route; none when it may.
std::optional<HttpAnswer> Refusal(const Session& session, const HttpRoute& route, const std::string& request_id) {
  // Somebody else knows the password until then.
  if (session.user.must_change_password && !route.before_new_password) {
    return ProblemAnswer(kForbidden, "password_change_required", "The password must be changed first.", request_id);
  }
  if (HasRole(session, route)) return std::nullopt;
  return ProblemAnswer(kForbidden, "role_required", "This needs a role that the user does not have.", request_id);
}

/// What reads may be ended before its time.
Kind KindOf(std::string_view method) {
  return method == "GET" || method == "HEAD" || method == "QUERY" ? Kind::kReads : Kind::kWrites;
}

/// False when its query cannot be decoded.
bool FillRequest(HttpRequest& request, const HttpHead& head, platform::HttpFields values) {
  request.method = head.method;
  request.path = head.path;
  request.values = std::move(values);
  request.query = head.fields.Query();
  request.headers = head.fields.Headers();
  request.client_address = head.context.client_address;
  request.request_id = head.context.request_id;
  request.is_private = head.is_private;
  return std::ranges::all_of(request.query,
                             [](auto& field) { return DecodePercent(field.first) && DecodePercent(field.second); });
}

HttpAnswer ToAnswer(HttpResponse response, const std::string& request_id) {
  HttpAnswer answer;
  if (const auto* const problem = std::get_if<platform::HttpProblem>(&response.body)) {
    answer = ProblemAnswer(response.status, problem->code, problem->detail, request_id);
  } else {
    answer.status = response.status;
    answer.content_type = std::move(response.content_type);
    if (auto* const text = std::get_if<std::string>(&response.body)) answer.body = std::move(*text);
    if (auto* const writer = std::get_if<platform::HttpWriter>(&response.body)) answer.writer = std::move(*writer);
    if (auto* const file = std::get_if<std::shared_ptr<platform::HttpFile>>(&response.body)) answer.file = *file;
  }
  answer.headers = std::move(response.headers);
  return answer;
}

HttpAnswer RunRoute(const HttpRoute& route, const HttpRequest& request) {
  return ToAnswer(route.run(request), request.request_id);
}

}  // namespace

Gateway::Verdict Gateway::Admit(const HttpHead& head) const {
  auto found = parts_.routes->Find(head.method, head.path);
  if (auto* const match = std::get_if<RouteTable::Match>(&found)) return AdmitToRoute(head, std::move(*match));
  const bool is_below = head.path.starts_with(kRoutesBegin);
  if (is_below && !SessionOf(head)) return NoSession();
  if (auto* const others = std::get_if<RouteTable::OtherMethods>(&found))
    return MethodRefused(std::move(others->allow));
  if (is_below) return NoPath();
  return AdmitToPlugin(head);
}

std::shared_ptr<const Session> Gateway::SessionOf(const HttpHead& head) const {
  return parts_.sessions->Use(BearerToken(head.fields.Header("Authorization")), head.context.client_address);
}

Gateway::Verdict Gateway::AdmitToRoute(const HttpHead& head, RouteTable::Match match) const {
  const auto& route = *match.route;
  HttpRequest request;
  auto client = ClientNetwork(head.context.client_address);
  std::shared_ptr<const Session> session;
  std::string user;
  if (route.access.who != HttpAccess::Who::kAnybody) {
    session = SessionOf(head);
    if (!session) return NoSession();
    if (auto refusal = Refusal(*session, route, head.context.request_id)) return std::move(*refusal);
    request.session = session->handle;
    client = user = session->user.name;
  }
  if (!FillRequest(request, head, std::move(match.values))) {
    return ErrorAnswer(kBadRequest, "the query is not percent-encoded UTF-8");
  }
  if (route.pool == HttpPool::kConnections) return RunRoute(route, request);
  HttpTask task;
  task.body_limit = route.body_limit;
  task.pool = PoolOf(route.pool);
  task.kind = KindOf(head.method);
  task.client = std::move(client);
  task.user = std::move(user);
  task.streams = route.streams;
  task.run = [&route, request = std::move(request)](std::string body, platform::HttpBodyReader* reader) mutable {
    request.body = std::move(body);
    request.reader = reader;
    return RunRoute(route, request);
  };
  if (!session) return task;
  return Noted(std::move(task), head, *session);
}

Gateway::Verdict Gateway::Noted(HttpTask task, const HttpHead& head, const Session& session) const {
  if (!parts_.requests || !parts_.requests->Notes(task.kind)) return task;
  if (!parts_.requests->HasRoom()) return NotNoted();
  NotedRequest request;
  request.user_id = session.user.id;
  request.user_name = session.user.name;
  request.session = session.handle;
  request.client_address = head.context.client_address;
  request.request_id = head.context.request_id;
  // A POST that says it is one.
  const bool is_get = task.kind == Kind::kReads && head.method == "POST";
  request.method = is_get ? "GET" : head.method;
  request.path = head.path;
  NoteTask(parts_.requests, task, std::move(request));
  return task;
}

WorkerPool* Gateway::PoolOf(HttpPool pool) const {
  switch (pool) {
    case HttpPool::kLogins:
      return parts_.login_workers;
    case HttpPool::kState:
      return parts_.ready_worker;
    case HttpPool::kStreams:
      return parts_.stream_workers;
    case HttpPool::kRequests:
    case HttpPool::kConnections:
      break;
  }
  return parts_.workers;
}

Gateway::Verdict Gateway::AdmitToPlugin(const HttpHead& head) const {
  const auto* const method = std::ranges::find(kMethods, head.method, &Method::name);
  if (method == std::end(kMethods)) {
    auto answer = MethodRefused(kAllMethods);
    answer.headers.emplace_back("Accept-Query", "application/json");
    return answer;
  }
  const int method_code = MethodCode(*method, head);
  const auto session = SessionOf(head);
  if (!session) return NoSession();
  if (session->user.must_change_password) return ErrorAnswer(kForbidden, "the password must be changed first");
  auto match = parts_.plugin_paths->Find(head.path);
  if (!match) return NoPath();
  HttpTask task;
  task.body_limit = parts_.body_limit;
  task.pool = parts_.workers;
  task.kind = method_code == kelp::kMethodGet ? Kind::kReads : Kind::kWrites;
  task.client = task.user = session->user.name;
  const bool is_dictionary = task.kind == Kind::kReads && IsDictionary(head.path);
  // An empty session denotes a trusted internal caller: a handle never is.
  task.run = [method_code, is_dictionary, handle = session->handle, match = std::move(*match)](
                 std::string body, platform::HttpBodyReader* /*reader*/) {
    return CallPlugin(match.callback, {method_code, handle, match.url_ids, std::move(body)}, is_dictionary);
  };
  return Noted(std::move(task), head, *session);
}

}  // namespace host
