#include "http/Gateway.h"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "HostLog.h"
#include "KelpUtils/RapidJsonProto.h"
#include "accounts/Users.h"

namespace host {
namespace {

using Kind = platform::Call::Kind;

constexpr unsigned kOk = 200;
constexpr unsigned kNoContent = 204;
constexpr unsigned kBadRequest = 400;
constexpr unsigned kUnauthorized = 401;
constexpr unsigned kNotFound = 404;
constexpr unsigned kMethodNotAllowed = 405;
constexpr unsigned kTooManyRequests = 429;
constexpr unsigned kUnavailable = 503;

/// A login needs no session, so its body limit is small.
constexpr std::size_t kLoginBodyLimit = 16 * 1024;

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

HttpAnswer MethodRefused(const char* allow) {
  auto answer = ErrorAnswer(kMethodNotAllowed, "method not allowed");
  answer.allow = allow;
  return answer;
}

/// A POST may say that it is a GET: for clients and proxies that send no body with one and know no QUERY.
int MethodCode(const Method& method, const HttpHead& head) {
  const bool is_get = method.code == kelp::kMethodPost && head.method_override == "GET";
  return is_get ? kelp::kMethodGet : method.code;
}

/// The token of "Bearer <token>"; "" for anything else.
std::string BearerToken(const std::optional<std::string_view>& header) {
  constexpr std::string_view kScheme = "Bearer ";
  if (!header || header->size() <= kScheme.size()) return {};
  if (strncasecmp(header->data(), kScheme.data(), kScheme.size()) != 0) return {};
  return std::string(header->substr(kScheme.size()));
}

HttpAnswer CallPlugin(const kelp::UrlCallback& callback, const kelp::SHttpRequest& request) {
  kelp::SHttpResponse response;
  callback(response, request);
  const unsigned status = response.response_body.empty() ? kNoContent : kOk;
  return {status, std::move(response.response_body)};
}

}  // namespace

std::variant<HttpAnswer, HttpTask> Gateway::Admit(const HttpHead& head) const {
  const auto* const method = std::ranges::find(kMethods, head.method, &Method::name);
  if (method == std::end(kMethods)) {
    auto answer = MethodRefused(kAllMethods);
    answer.accept_query = "application/json";
    return answer;
  }
  if (head.path == "/login") {
    if (method->code != kelp::kMethodPost) return MethodRefused("POST");
    return HttpTask{kLoginBodyLimit, parts_.login_workers, Kind::kWrites, head.client_address,
                    [this, address = head.client_address](const std::string& body) { return Login(address, body); }};
  }
  if (head.path == "/live" || head.path == "/ready") {
    if (head.method != "GET") return MethodRefused("GET");
    if (head.path == "/live") return HttpAnswer{kOk, R"({"Status":"live"})"};
    return HttpTask{0, parts_.ready_worker, Kind::kReads, head.client_address,
                    [this](const std::string&) { return Ready(); }};
  }
  return AdmitToPlugin(head, MethodCode(*method, head));
}

std::variant<HttpAnswer, HttpTask> Gateway::AdmitToPlugin(const HttpHead& head, int method_code) const {
  // An empty session denotes a trusted internal caller: it must not come from here.
  auto session_id = BearerToken(head.authorization);
  const auto session = session_id.empty() ? nullptr : parts_.sessions->Use(session_id);
  if (!session) return ErrorAnswer(kUnauthorized, "no session");
  auto match = parts_.routes->Find(head.path);
  if (!match) return ErrorAnswer(kNotFound, "no such path");
  const auto kind = method_code == kelp::kMethodGet ? Kind::kReads : Kind::kWrites;
  return HttpTask{parts_.body_limit, parts_.workers, kind, session->user.name,
                  [method_code, session_id = std::move(session_id), match = std::move(*match)](std::string body) {
                    return CallPlugin(match.callback, {method_code, session_id, match.url_ids, std::move(body)});
                  }};
}

HttpAnswer Gateway::Login(const std::string& client_address, const std::string& body) const {
  kelp::CRapidJsonProto request;
  if (!request.set_str(body)) return ErrorAnswer(kBadRequest, "no JSON");
  const auto name = request.get_v("/UserName", "");
  // The address first: a caller that waits for the user's try holds the address's, never the reverse.
  auto client_try = parts_.tries->clients.Begin(client_address);
  auto user_try = client_try ? parts_.tries->users.Begin(name) : std::nullopt;
  if (!user_try) {
    LogHost(kLogAnomaly, "login not tried after too many failed ones: client %s", client_address.c_str());
    return ErrorAnswer(kTooManyRequests, "too many failed tries");
  }
  UserRecord user;
  switch (CheckPassword(name, request.get_v("/Password", ""), user)) {
    case PasswordOutcome::kDatabaseAway:
      return ErrorAnswer(kUnavailable, "database away");
    case PasswordOutcome::kWrong:
    case PasswordOutcome::kDisabled:
      // Counted alike, so that a login does not reveal that an account is disabled.
      user_try->Failed();
      client_try->Failed();
      LogHost(kLogAnomaly, "login refused: client %s", client_address.c_str());
      return ErrorAnswer(kUnauthorized, "wrong user name or password");
    case PasswordOutcome::kRight:
      break;
  }
  user_try->Succeeded();
  return OpenSession(std::move(user), client_address);
}

HttpAnswer Gateway::OpenSession(UserRecord user, const std::string& client_address) const {
  if (!ReadPermissions(user)) return ErrorAnswer(kUnavailable, "database away");
  LogHost(kLogProgress, "login: user %s, client %s", user.name.c_str(), client_address.c_str());
  const auto opened = parts_.sessions->Open(std::move(user), client_address);
  kelp::CRapidJsonProto answer;
  answer.set_v("/SessionID", opened.id);
  answer.set_v("/SessionKey", opened.key);
  return {kOk, answer.get_str()};
}

HttpAnswer Gateway::Ready() const {
  if (!parts_.ready()) return {kUnavailable, R"({"Status":"not ready"})"};
  return {kOk, R"({"Status":"ready"})"};
}

}  // namespace host
