#include "http/HttpResponses.h"

#include <microhttpd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "http/HttpServer.h"

namespace host {
namespace {

/// More than the host has.
constexpr std::size_t kMostPrepared = 16;

constexpr char kOneYear[] = "max-age=31536000";

void FreeBody(void* body) { delete static_cast<std::string*>(body); }

/// Null when there is no memory for it.
MHD_Response* MakeOfText(std::string text) {
  const auto size = text.size();
  auto* const body = new std::string(std::move(text));
  auto* const response = MHD_create_response_from_buffer_with_free_callback_cls(size, body->data(), &FreeBody, body);
  if (response == nullptr) delete body;
  return response;
}

/// The library closes the file.
MHD_Response* MakeOfFile(platform::HttpFile& file) {
  const int fd = file.Release();
  auto* const response = MHD_create_response_from_fd_at_offset64(file.size(), fd, file.offset());
  if (response == nullptr) close(fd);
  return response;
}

using Source = std::function<std::int64_t(char*, std::size_t)>;

ssize_t TakeFrom(void* source, std::uint64_t /*position*/, char* to, std::size_t size) {
  return (*static_cast<Source*>(source))(to, size);
}

void FreeSource(void* source) { delete static_cast<Source*>(source); }

/// Of unknown size.
MHD_Response* MakeOfSource(Source taken) {
  constexpr std::size_t kBlock = 64 * 1024;
  auto* const source = new Source(std::move(taken));
  auto* const response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, &TakeFrom, source, &FreeSource);
  if (response == nullptr) delete source;
  return response;
}

MHD_Response* MakeBody(HttpAnswer& answer) {
  if (answer.source) return MakeOfSource(std::move(answer.source));
  return answer.file ? MakeOfFile(*answer.file) : MakeOfText(std::move(answer.body));
}

const char* ContentType(const HttpAnswer& answer) {
  return answer.content_type.empty() ? "application/json" : answer.content_type.c_str();
}

}  // namespace

HttpResponses::~HttpResponses() {
  for (const auto& prepared : prepared_)
    MHD_destroy_response(prepared.response);
}

MHD_Response* HttpResponses::Make(HttpAnswer answer, bool closes) const {
  const bool has_body = answer.source || answer.file || !answer.body.empty();
  auto* const response = MakeBody(answer);
  if (response == nullptr) return nullptr;
  const auto add = [response](const char* name, const char* value) { MHD_add_response_header(response, name, value); };
  if (has_body) add(MHD_HTTP_HEADER_CONTENT_TYPE, ContentType(answer));
  bool is_stored = false;
  for (const auto& [name, value] : answer.headers) {
    is_stored = is_stored || name == MHD_HTTP_HEADER_CACHE_CONTROL;
    add(name.c_str(), value.c_str());
  }
  if (!is_stored) add(MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
  if (answer.status == MHD_HTTP_UNAUTHORIZED) add(MHD_HTTP_HEADER_WWW_AUTHENTICATE, "Bearer");
  if (answer.retry_after_s != 0) add(MHD_HTTP_HEADER_RETRY_AFTER, std::to_string(answer.retry_after_s).c_str());
  if (is_tls_) add(MHD_HTTP_HEADER_STRICT_TRANSPORT_SECURITY, kOneYear);
  if (closes) add(MHD_HTTP_HEADER_CONNECTION, "close");
  return response;
}

bool HttpResponses::Queue(MHD_Connection& connection, HttpAnswer answer, const std::string& request_id, bool closes) {
  const unsigned status = answer.status;
  const bool is_alike = status == MHD_HTTP_SERVICE_UNAVAILABLE && answer.content_type.empty() && answer.headers.empty();
  if (auto* const prepared = is_alike ? Find(answer, closes) : nullptr) {
    return MHD_queue_response(&connection, status, prepared) == MHD_YES;
  }
  answer.headers.emplace_back("X-Request-Id", request_id);
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
