#include "http/HttpResponses.h"

#include <microhttpd.h>

#include <algorithm>
#include <utility>

#include "http/HttpServer.h"

namespace host {
namespace {

/// More than the host has.
constexpr std::size_t kMostPrepared = 16;

void FreeBody(void* body) { delete static_cast<std::string*>(body); }

/// Null when there is no memory for it.
MHD_Response* Make(HttpAnswer answer, bool closes) {
  const auto size = answer.body.size();
  auto* const body = new std::string(std::move(answer.body));
  auto* const response = MHD_create_response_from_buffer_with_free_callback_cls(size, body->data(), &FreeBody, body);
  if (response == nullptr) {
    delete body;
    return nullptr;
  }
  if (size != 0) MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
  MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
  if (answer.allow != nullptr) MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, answer.allow);
  if (answer.accept_query != nullptr) MHD_add_response_header(response, "Accept-Query", answer.accept_query);
  if (answer.status == MHD_HTTP_UNAUTHORIZED) {
    MHD_add_response_header(response, MHD_HTTP_HEADER_WWW_AUTHENTICATE, "Bearer");
  }
  if (answer.retry_after_s != 0) {
    MHD_add_response_header(response, MHD_HTTP_HEADER_RETRY_AFTER, std::to_string(answer.retry_after_s).c_str());
  }
  if (closes) MHD_add_response_header(response, MHD_HTTP_HEADER_CONNECTION, "close");
  return response;
}

}  // namespace

HttpResponses::~HttpResponses() {
  for (const auto& prepared : prepared_)
    MHD_destroy_response(prepared.response);
}

bool HttpResponses::Queue(MHD_Connection& connection, HttpAnswer answer, bool closes) {
  const unsigned status = answer.status;
  if (auto* const prepared = status == MHD_HTTP_SERVICE_UNAVAILABLE ? Find(answer, closes) : nullptr) {
    return MHD_queue_response(&connection, status, prepared) == MHD_YES;
  }
  auto* const response = Make(std::move(answer), closes);
  if (response == nullptr) return false;
  const auto queued = MHD_queue_response(&connection, status, response);
  MHD_destroy_response(response);
  return queued == MHD_YES;
}

/// Null for one that cannot be prepared.
MHD_Response* HttpResponses::Find(const HttpAnswer& answer, bool closes) {
  const auto found = std::ranges::find_if(prepared_, [&answer, closes](const Prepared& prepared) {
    return prepared.closes == closes && prepared.body == answer.body;
  });
  if (found != prepared_.end()) return found->response;
  if (prepared_.size() == kMostPrepared) return nullptr;
  prepared_.push_back({answer.body, closes, nullptr});
  return prepared_.back().response = Make(answer, closes);
}

}  // namespace host
