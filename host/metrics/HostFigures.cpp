#include "metrics/HostFigures.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <utility>

#include "Database.h"
#include "RealBackends.h"

namespace host {
namespace {

using platform::MetricFamilies;
using platform::MetricFamily;
using platform::MetricType;

constexpr std::chrono::minutes kCountEvery{1};

/// The living ones are counted, which an index makes cheap; of all rows the planner's estimate will do.
constexpr char kSqlRecords[] =
    "SELECT (SELECT count(*) FROM evidence.evidence WHERE deleted = 0) AS living, (SELECT least(coalesce(sum(greatest("
    "reltuples, 0)), 0), 2147483647)::integer FROM pg_catalog.pg_class WHERE oid IN (SELECT inhrelid FROM "
    "pg_catalog.pg_inherits WHERE inhparent = 'evidence.evidence'::regclass)) AS estimated";

MetricFamily Gauge(const char* name, const char* help) { return {name, help, MetricType::kGauge, {}}; }

void Add(MetricFamily& family, const char* label, const char* value, double number) {
  family.samples.push_back({{{label, value}}, number});
}

MetricFamilies DiskFigures(const std::string& folder) {
  struct statvfs state {};
  if (statvfs(folder.c_str(), &state) != 0) return {};
  auto free = Gauge("evidence_disk_free_bytes", "Room on the file system of the data folder that the host may use.");
  auto size = Gauge("evidence_disk_size_bytes", "Size of the file system of the data folder.");
  const auto block = static_cast<double>(state.f_frsize);
  free.samples.push_back({{}, block * static_cast<double>(state.f_bavail)});
  size.samples.push_back({{}, block * static_cast<double>(state.f_blocks)});
  return {free, size};
}

}  // namespace

MetricFamilies HostFigures::Collect() {
  auto sessions = Gauge("evidence_sessions", "Sessions that have not ended.");
  sessions.samples.push_back({{}, static_cast<double>(parts_.sessions->Count())});
  auto frozen = Gauge("evidence_frozen", "User names and client addresses that are frozen after wrong passwords.");
  Add(frozen, "kind", "user", static_cast<double>(parts_.tries->users.Frozen()));
  Add(frozen, "kind", "client", static_cast<double>(parts_.tries->clients.Frozen()));
  auto families = DiskFigures(parts_.data);
  families.push_back(std::move(sessions));
  families.push_back(std::move(frozen));
  if (const auto records = CountedRecords()) {
    auto family = Gauge("evidence_records",
                        "Evidences: the living ones as of the last minute, and about how many rows "
                        "of deleted ones there are.");
    Add(family, "state", "living", records->living);
    Add(family, "state", "deleted", records->deleted);
    families.push_back(std::move(family));
  }
  if (const auto version = platform::NewestChangeVersion()) {
    auto family = Gauge("evidence_increment_version", "The version of the newest change of a dictionary.");
    family.samples.push_back({{}, static_cast<double>(*version)});
    families.push_back(std::move(family));
  }
  return families;
}

/// None while the database does not answer: a figure of before would hide that.
std::optional<HostFigures::Records> HostFigures::CountedRecords() {
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (counted_ && now - *counted_ < kCountEvery) return records_;
  counted_ = now;
  Records records;
  const auto read = [&records](kelp::IDBResultSet* rows) {
    records.living = static_cast<double>(rows->GetInt("living"));
    records.deleted = std::max(0.0, static_cast<double>(rows->GetInt("estimated")) - records.living);
  };
  records_ = Query(kSqlRecords, read) ? std::optional(records) : std::nullopt;
  return records_;
}

}  // namespace host
