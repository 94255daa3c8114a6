#include "Increments.h"

#include <atomic>
#include <charconv>
#include <cinttypes>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "OrvBase/Log.h"
#include "RealBackends.h"
#include "platform/SqlText.h"

namespace platform {
namespace tarn {
namespace {

using Orv::Base::details::ITarnFormatLog;
using enum Orv::Base::LogLevel;
using TarnPlatform::IncreResource::CIncreResourceStructInterface;

// The lock is held until the new row is visible, so no version is drawn while a smaller one is uncommitted. It must be
// taken before the version is drawn, hence the separate statement.
constexpr char kSqlAddChange[] =
    "SELECT pg_advisory_xact_lock(711, 2); "
    "INSERT INTO platform.incre_resource (version, source_type, resource_id, method) "
    "VALUES (nextval('platform.incre_resource_version_seq'), %d, %" PRIu64 ", %d)";

// Each kind of change of a resource once, at its latest version: rows are never deleted, and an answer must not grow
// with every edit ever made.
constexpr char kSqlChangesAfter[] =
    "SELECT method, resource_id FROM (SELECT method, resource_id, max(version) AS last FROM platform.incre_resource "
    "WHERE version > %" PRIu32 " AND source_type = %d GROUP BY method, resource_id) AS changes ORDER BY last";

std::uint64_t ResourceId(const std::string& text) {
  std::uint64_t id = 0;
  std::from_chars(text.data(), text.data() + text.size(), id);
  return id;
}

constexpr char kSqlNewestChange[] = "SELECT coalesce(max(version), 0) AS version FROM platform.incre_resource";

/// The version of the last change, read once after each change. What changes during a read makes the next one read.
class NewestChange {
 public:
  std::optional<std::uint64_t> Read();
  void Forget() { ++changes_; }

 private:
  static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

  std::atomic<std::uint64_t> changes_ = 0;
  std::mutex mutex_;
  // Guarded by mutex_: what was read, and how many changes were known before.
  std::uint64_t version_ = 0;
  std::uint64_t read_after_ = kNever;
};

std::optional<std::uint64_t> NewestChange::Read() {
  const auto changes = changes_.load();
  {
    const std::lock_guard lock(mutex_);
    if (read_after_ == changes) return version_;
  }
  std::uint64_t version = 0;
  const bool answered = kelp::IDBManager::Instance()->ExecuteQuery(
      kPlatformDbId, kelp::IDBManager::kConfigClass, kSqlNewestChange,
      [&version](kelp::IDBResultSet* rows) { version = ResourceId(rows->GetString("version")); });
  if (!answered) return std::nullopt;
  const std::lock_guard lock(mutex_);
  version_ = version;
  read_after_ = changes;
  return version;
}

NewestChange newest;

class IncreResourceBackend final : public IIncreResourceBackend {
 public:
  bool ChangesAfter(std::vector<std::shared_ptr<CIncreResourceStructInterface>>& out, std::uint32_t version,
                    int source_type) override {
    return kelp::IDBManager::Instance()->ExecuteQuery(
        kPlatformDbId, kelp::IDBManager::kConfigClass, SqlText::Format(kSqlChangesAfter, version, source_type),
        [&out](kelp::IDBResultSet* rows) {
          for (; rows && !rows->IsEof(); rows->Next()) {
            out.push_back(std::make_shared<CIncreResourceStructInterface>(rows->GetInt("method"),
                                                                          ResourceId(rows->GetString("resource_id"))));
          }
        });
  }
};

}  // namespace

bool AddChange(int source_type, std::uint64_t resource_id, int method) {
  // The column is signed.
  if (resource_id > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    ITarnFormatLog(kLogFailure, "incre_resource", "A change of resource %" PRIu64 " cannot be kept", resource_id);
    return false;
  }
  const bool added = kelp::IDBManager::Instance()->ExecuteNoQuery(
      kPlatformDbId, kelp::IDBManager::kConfigClass, SqlText::Format(kSqlAddChange, source_type, resource_id, method));
  // Also after a failure, which may have come behind the commit.
  newest.Forget();
  return added;
}

}  // namespace tarn

std::optional<std::uint64_t> NewestChangeVersion() { return tarn::newest.Read(); }

std::shared_ptr<IIncreResourceBackend> MakeIncreResourceBackend() {
  return std::make_shared<tarn::IncreResourceBackend>();
}

}  // namespace platform
