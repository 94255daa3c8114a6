#include "platform/HttpRoutes.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "Backend.h"

namespace platform {

std::optional<std::string_view> FieldOf(const HttpFields& fields, std::string_view name) {
  const auto found = std::ranges::find(fields, name, &HttpFields::value_type::first);
  if (found == fields.end()) return std::nullopt;
  return found->second;
}

std::optional<std::int64_t> NumberIn(const HttpFields& fields, std::string_view name) {
  const auto text = FieldOf(fields, name);
  if (!text || !std::ranges::all_of(*text, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
  std::int64_t number = 0;
  const auto* const end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<std::int64_t> HttpRequest::NumberOf(std::string_view name) const { return NumberIn(values, name); }

HttpFile::~HttpFile() {
  if (fd_ >= 0) close(fd_);
}

HttpResponse HttpResponse::Json(unsigned status, std::string text) {
  HttpResponse response;
  response.status = status;
  response.body = std::move(text);
  return response;
}

HttpResponse HttpResponse::Problem(unsigned status, std::string code, std::string detail) {
  HttpResponse response;
  response.status = status;
  response.content_type = "application/problem+json";
  response.body = HttpProblem{std::move(code), std::move(detail)};
  return response;
}

std::shared_ptr<IHttpRoutes> IHttpRoutes::Instance() { return Slot<IHttpRoutes>::Get(); }

}  // namespace platform
