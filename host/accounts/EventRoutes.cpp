#include <limits>
#include <utility>

#include "accounts/AuthEvents.h"
#include "accounts/RoleNames.h"
#include "accounts/UserRoutes.h"
#include "http/JsonAnswer.h"
#include "http/Paging.h"
#include "http/QueryFields.h"

namespace host {
namespace {

using platform::HttpAccess;
using platform::HttpRequest;
using platform::HttpResponse;

constexpr std::pair<const char*, std::string StoredAuthEvent::*> kFields[] = {
    {"id", &StoredAuthEvent::id},
    {"time", &StoredAuthEvent::time},
    {"kind", &StoredAuthEvent::kind},
    {"user_name", &StoredAuthEvent::user_name},
    {"done_by", &StoredAuthEvent::done_by},
    {"client_address", &StoredAuthEvent::client_address},
    {"request_id", &StoredAuthEvent::request_id},
    {"detail", &StoredAuthEvent::detail},
};

HttpResponse List(const HttpRequest& request) {
  const auto page = PageOf(request);
  if (!page) return WrongPage();
  AuthEventFilter filter;
  if (!TakeTime(request, "since", filter.since) || !TakeTime(request, "until", filter.until)) {
    return HttpResponse::Problem(400, "wrong_time", "since and until are times such as 2026-11-01T10:00:00Z.");
  }
  if (const auto user = platform::FieldOf(request.query, "user")) filter.user = std::string(*user);
  if (page->after > 0) filter.after = page->after;
  // One more tells whether there are more.
  filter.limit = static_cast<int>(page->limit) + 1;
  auto events = ReadAuthEvents(filter);
  if (!events) return HttpResponse::Problem(503, "unavailable", "The database does not answer.");
  const bool has_more = events->size() > static_cast<std::size_t>(page->limit);
  if (has_more) events->pop_back();
  JsonBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("items");
  json.StartArray();
  for (const auto& event : *events) {
    json.StartObject();
    for (const auto& [name, field] : kFields)
      Put(json, name, event.*field);
    json.EndObject();
  }
  json.EndArray();
  if (has_more) Put(json, "next", events->back().id);
  json.EndObject();
  return HttpResponse::Json(200, {buffer.GetString(), buffer.GetSize()});
}

}  // namespace

void RegisterEventRoutes(platform::IHttpRoutes& routes) {
  platform::HttpRoute route;
  route.method = "GET";
  route.path = "/platform/v1/auth-events";
  route.access = {HttpAccess::Who::kRole, {kAuditor}};
  route.run = &List;
  // A wrong row stops the start.
  static_cast<void>(routes.Register(std::move(route)));
}

}  // namespace host
