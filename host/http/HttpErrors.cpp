#include "http/HttpErrors.h"

#include <microhttpd.h>

#include <algorithm>
#include <iterator>

#include "KelpUtils/RapidJsonProto.h"
#include "http/RouteTable.h"

namespace host {
namespace {

struct Code {
  unsigned status;
  const char* code;
};
/// The words of what the host itself refuses.
constexpr Code kCodes[] = {
    {MHD_HTTP_BAD_REQUEST, "bad_request"},
    {MHD_HTTP_UNAUTHORIZED, "no_session"},
    {MHD_HTTP_FORBIDDEN, "not_allowed"},
    {MHD_HTTP_NOT_FOUND, "no_such_path"},
    {MHD_HTTP_METHOD_NOT_ALLOWED, "method_not_allowed"},
    {MHD_HTTP_CONTENT_TOO_LARGE, "body_too_large"},
    {MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE, "header_too_large"},
    {MHD_HTTP_INTERNAL_SERVER_ERROR, "internal_error"},
    {MHD_HTTP_SERVICE_UNAVAILABLE, "unavailable"},
};

const char* CodeOf(unsigned status) {
  const auto* const found = std::ranges::find(kCodes, status, &Code::status);
  return found == std::end(kCodes) ? "error" : found->code;
}

/// "no session" becomes "No session."
std::string Sentence(std::string_view reason) {
  std::string sentence(reason);
  if (!sentence.empty() && sentence[0] >= 'a' && sentence[0] <= 'z') sentence[0] = static_cast<char>(sentence[0] - 32);
  return sentence + ".";
}

}  // namespace

void RenderError(HttpAnswer& answer, std::string_view path, const std::string& request_id) {
  if (answer.reason.empty()) return;
  if (!path.starts_with(kRoutesBegin)) {
    answer.body = "{\"Error\":\"" + answer.reason + "\"}";
    return;
  }
  auto problem = ProblemAnswer(answer.status, CodeOf(answer.status), Sentence(answer.reason), request_id);
  answer.body = std::move(problem.body);
  answer.content_type = std::move(problem.content_type);
}

HttpAnswer ProblemAnswer(unsigned status, std::string_view code, std::string_view detail,
                         const std::string& request_id) {
  kelp::CRapidJsonProto problem;
  problem.set_v("/type", "about:blank");
  problem.set_v("/title", MHD_get_reason_phrase_for(status));
  problem.set_v("/status", static_cast<int>(status));
  problem.set_v("/detail", std::string(detail));
  problem.set_v("/code", std::string(code));
  problem.set_v("/request_id", request_id);
  HttpAnswer answer;
  answer.status = status;
  answer.body = problem.get_str();
  answer.content_type = "application/problem+json";
  return answer;
}

}  // namespace host
