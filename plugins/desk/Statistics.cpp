#include "Statistics.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

#include "Barrier.h"
#include "EvidencePlugin.h"
#include "OrvBase/TimeUtil.h"
#include "RecordStore.h"

namespace desk {
namespace {

using platform::HttpRequest;
using platform::HttpResponse;
using platform::Json;
using RecordStore::Count;

constexpr std::chrono::minutes kRemembered{1};

/// "2026-11-22T21:40:00Z"
std::string Now() {
  auto text = Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(std::time(nullptr));
  std::ranges::replace(text, ' ', 'T');
  return text + "Z";
}

Json Describe(const std::vector<Count>& counts) {
  Json::List list;
  for (const auto& count : counts)
    list.push_back(Json::Object{{"id", count.id}, {"name", count.name}, {"count", count.count}});
  return list;
}

Json DescribeStatuses(const std::vector<Count>& counts) {
  Json::List list;
  for (const auto& count : counts)
    list.push_back(Json::Object{{"status", count.id}, {"count", count.count}});
  return list;
}

Json DescribeDays(const std::vector<Count>& counts) {
  Json::List list;
  for (const auto& count : counts)
    list.push_back(Json::Object{{"day", count.name}, {"count", count.count}, {"open", count.open}});
  return list;
}

/// None when something cannot be read.
std::shared_ptr<const std::string> CountAll(const std::string& session) {
  RecordStore::Counts counts;
  EvidencePlugin::Answer answer;
  const auto types = EvidencePlugin::ReadTypes(answer, session);
  if (!types || !RecordStore::ReadCounts(counts)) return nullptr;
  // Types that are built in have no name in the table, deleted ones only there.
  for (auto& type : counts.types)
    if (const auto found = types->find(type.id); found != types->end()) type.name = found->second;
  std::int64_t total = 0;
  for (const auto& status : counts.statuses)
    total += status.count;
  const Json all(Json::Object{{"as_of", Now()},
                              {"total", total},
                              {"days", DescribeDays(counts.days)},
                              {"statuses", DescribeStatuses(counts.statuses)},
                              {"types", Describe(counts.types)},
                              {"creators", Describe(counts.creators)}});
  return std::make_shared<const std::string>(all.Text());
}

}  // namespace

HttpResponse Statistics::Get(const HttpRequest& request) {
  {
    const std::lock_guard lock(mutex_);
    const bool is_fresh = text_ && Clock::now() - counted_ < kRemembered;
    if (is_fresh || (text_ && counting_)) return HttpResponse::Json(200, *text_);
    counting_ = true;
  }
  const auto text = GuardEdge([&] { return CountAll(request.session); }, [] { return decltype(text_)(); });
  const std::lock_guard lock(mutex_);
  counting_ = false;
  if (!text) return Unavailable();
  text_ = text;
  counted_ = Clock::now();
  return HttpResponse::Json(200, *text);
}

bool Statistics::RegisterRoute(platform::IHttpRoutes& routes) {
  platform::HttpRoute route;
  route.method = "GET";
  route.path = "/platform/v1/statistics";
  route.run = GuardRoute(
      [statistics = std::make_shared<Statistics>()](const HttpRequest& request) { return statistics->Get(request); });
  return routes.Register(std::move(route));
}

}  // namespace desk
