#include "requests/RequestRoutes.h"

#include <algorithm>
#include <utility>

#include "accounts/RoleNames.h"
#include "http/JsonAnswer.h"
#include "http/QueryFields.h"
#include "requests/StoredRequests.h"

namespace host {
namespace {

using platform::FieldOf;
using platform::HttpRequest;
using platform::HttpResponse;

constexpr std::int64_t kLargestLimit = 1000;

HttpResponse Wrong(const std::string& detail) { return HttpResponse::Problem(400, "wrong_query", detail); }

/// "" or what is wrong with the query.
std::string ReadQuery(const HttpRequest& request, RequestFilter& filter) {
  std::optional<std::int64_t> limit;
  if (!TakeNumber(request, "evidence", filter.evidence)) return "evidence must be a number.";
  if (!TakeNumber(request, "limit", limit) || limit.value_or(1) < 1) return "limit must be a number from 1 on.";
  if (!TakeTime(request, "since", filter.since)) return "since must be a time such as 2026-11-22T21:40:00Z.";
  if (!TakeTime(request, "until", filter.until)) return "until must be a time such as 2026-11-22T21:40:00Z.";
  filter.user = FieldOf(request.query, "user").value_or("");
  filter.after = FieldOf(request.query, "after").value_or("");
  if (!filter.after.empty() && !IsPlace(filter.after)) return "after must be what an answer gave as next.";
  filter.limit = std::min(limit.value_or(filter.limit), kLargestLimit);
  return {};
}

/// `value` is a number or a list as the database gave it.
void PutJson(JsonWriter& json, const char* key, const std::string& value) {
  if (value.empty()) return;
  json.Key(key);
  json.RawValue(value.data(), value.size(), rapidjson::kNumberType);
}

void PutRequest(JsonWriter& json, const StoredRequest& request) {
  json.StartObject();
  PutJson(json, "id", request.id);
  Put(json, "time", request.time);
  PutJson(json, "user_id", request.user_id);
  Put(json, "user_name", request.user_name);
  Put(json, "session", request.session);
  Put(json, "client_address", request.client_address);
  Put(json, "request_id", request.request_id);
  Put(json, "method", request.method);
  Put(json, "path", request.path);
  PutJson(json, "ids", request.ids);
  PutJson(json, "evidence_ids", request.evidence_ids);
  PutJson(json, "status", request.status);
  PutJson(json, "error_module", request.error_module);
  PutJson(json, "error_code", request.error_code);
  PutJson(json, "bytes_in", request.bytes_in);
  PutJson(json, "bytes_out", request.bytes_out);
  json.EndObject();
}

HttpResponse List(const HttpRequest& request) {
  RequestFilter filter;
  if (const auto fault = ReadQuery(request, filter); !fault.empty()) return Wrong(fault);
  const auto limit = static_cast<std::size_t>(filter.limit);
  // One more tells whether there is another page.
  ++filter.limit;
  const auto requests = ReadRequests(filter);
  if (!requests) return HttpResponse::Problem(503, "unavailable", "The database does not answer.");
  const auto count = std::min(limit, requests->size());
  JsonBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("items");
  json.StartArray();
  for (std::size_t at = 0; at < count; ++at)
    PutRequest(json, (*requests)[at]);
  json.EndArray();
  if (requests->size() > limit) Put(json, "next", (*requests)[count - 1].Place());
  json.EndObject();
  return HttpResponse::Json(200, {buffer.GetString(), buffer.GetSize()});
}

}  // namespace

void RegisterRequestRoutes(platform::IHttpRoutes& routes) {
  platform::HttpRoute route;
  route.method = "GET";
  route.path = "/platform/v1/requests";
  route.access = {platform::HttpAccess::Who::kRole, {kAuditor}};
  route.run = &List;
  // A wrong row stops the start.
  static_cast<void>(routes.Register(std::move(route)));
}

}  // namespace host
