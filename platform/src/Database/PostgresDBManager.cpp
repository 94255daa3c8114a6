#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseFigures.h"
#include "FairPool.h"
#include "OrvBase/Log.h"
#include "PostgresConnection.h"
#include "RealBackends.h"
#include "platform/Call.h"
#include "platform/Guard.h"
#include "platform/LongStatements.h"

namespace platform {
namespace database {
namespace {

using Orv::Base::details::ITarnFormatLog;
using enum Orv::Base::LogLevel;
using Pool = FairPool<PostgresConnection>;

constexpr int kMaxConnections = 1000;
/// How often a text is sent at most while other transactions cross it.
constexpr int kMostSends = 10;

class PostgresDBManager final : public IPooledDatabase {
 public:
  explicit PostgresDBManager(PostgresOptions options) : options_(std::move(options)) {}
  ~PostgresDBManager() override;
  PostgresDBManager(const PostgresDBManager&) = delete;
  PostgresDBManager& operator=(const PostgresDBManager&) = delete;

  bool Initialize(const std::string& plugin_id, int config_connections, int log_connections, bool connect_now) override;
  void UnInitialize(const std::string& plugin_id) override;
  bool ExecuteNoQuery(const std::string& plugin_id, int connection_class, const std::string& sql) override;
  bool ExecuteNoQueryList(const std::string& plugin_id, int connection_class,
                          const std::list<std::string>& sqls) override;
  End RunTransaction(const std::string& plugin_id, int connection_class, const std::list<std::string>& sqls) override;
  bool ExecuteQuery(const std::string& plugin_id, int connection_class, const std::string& sql,
                    const RowReader& reader) override;
  std::chrono::milliseconds StarvedFor() override;
  std::size_t MostConnections() override;

 private:
  /// The pools of a plugin, by connection class.
  using Pools = std::map<int, std::shared_ptr<Pool>>;

  std::shared_ptr<Pool> MakePool(int connections) const;
  std::shared_ptr<Pool> FindPool(const std::string& plugin_id, int connection_class);
  bool RunText(Pool& pool, const std::string& sql, PostgresResult& result) const;
  Pool::Lease TakeReady(Pool& pool, Call* call = nullptr) const;
  Pool::Lease Take(Pool& pool, Call* call) const;
  MetricFamilies Collect();

  const PostgresOptions options_;
  const std::shared_ptr<DatabaseFigures> figures_ = std::make_shared<DatabaseFigures>(options_.statements);
  std::mutex mutex_;
  // Under mutex_:
  std::map<std::string, Pools> plugins_;
  /// Last, so that nobody asks while the others are destroyed.
  const Metrics::Registration registration_{Metrics::Process(), [this] { return Collect(); }};
};

/// Whether a text can change nothing. A sequence's next number is no change: it is used up by a refused request, too.
bool OnlyReads(const std::string& sql) { return sql.empty() || sql.starts_with("SELECT"); }

/// The platform's own tables keep what was asked and refused: a row there leaves the request undone.
void NoteWrite(const std::string& plugin_id, const std::string& sql) {
  Call* const call = Call::Current();
  if (call != nullptr && plugin_id != kPlatformDbId && !OnlyReads(sql)) call->NoteWrite();
}

/// Whose text it is; "" for the system's own.
std::string CurrentClient() {
  const Call* const call = Call::Current();
  return call != nullptr ? call->client() : std::string();
}

/// The call that may cancel a text; null for a text that changes something, and for a call that does not only read.
Call* CancellingCall(const std::string& sql) {
  Call* const call = Call::Current();
  return call != nullptr && call->kind() == Call::Kind::kReads && OnlyReads(sql) ? call : nullptr;
}

using End = kelp::IDBManager::End;

/// Runs the texts and commits; after a failure the caller rolls back.
End RunTexts(PostgresConnection& connection, const std::list<std::string>& sqls) {
  if (!connection.Run("BEGIN")) return End::kUndone;
  for (const std::string& sql : sqls) {
    if (sql.empty()) continue;
    if (!connection.Run(sql)) return End::kUndone;
    if (!connection.InTransaction()) {
      ITarnFormatLog(kLogFailure, kLogTag, "A text of a list ended the list's transaction");
      return End::kUndone;
    }
  }
  if (connection.Run("COMMIT")) return End::kCommitted;
  return connection.IsOpen() ? End::kUndone : End::kUnknown;
}

/// Runs one text that may take long, as the transaction that it is anyway; after a failure the caller rolls back. A row
/// that is changed goes into the word index again, and more at once in half the time.
PostgresResult RunLong(PostgresConnection& connection, const std::string& sql, Call* call) {
  const std::string begin = "BEGIN; SET LOCAL gin_pending_list_limit = '4MB'; SET LOCAL statement_timeout = " +
                            std::to_string(std::chrono::milliseconds(LongStatements::kLimit).count());
  constexpr auto kLayer = PostgresConnection::Origin::kLayer;
  if (!connection.Run(begin, nullptr, kLayer)) return nullptr;
  PostgresResult result = connection.Run(sql, call);
  if (!result || !connection.Run("COMMIT", nullptr, kLayer)) return nullptr;
  return result;
}

bool ReadRows(const kelp::IDBManager::RowReader& reader, const ResultRows* result) {
  if (!reader) return true;
  PostgresResultSet rows(result);
  const auto read = [&] {
    reader(&rows);
    return true;
  };
  return Guard(read, [](const char* reason) {
    if (reason != nullptr) {
      ITarnFormatLog(kLogFailure, kLogTag, "A row reader threw: %s", reason);
    } else {
      ITarnFormatLog(kLogFailure, kLogTag, "A row reader threw");
    }
    return false;
  });
}

PostgresDBManager::~PostgresDBManager() {
  for (const auto& [id, pools] : plugins_) {
    for (const auto& [number, pool] : pools)
      pool->Close();
  }
}

bool PostgresDBManager::Initialize(const std::string& plugin_id, int config_connections, int log_connections,
                                   bool /*connect_now*/) {
  for (const int number : {config_connections, log_connections}) {
    if (number >= 1 && number <= kMaxConnections) continue;
    ITarnFormatLog(kLogFailure, kLogTag, "Pools of %s refused: %d connections, where 1 to %d can be", plugin_id.c_str(),
                   number, kMaxConnections);
    return false;
  }
  const Pools pools{{kConfigClass, MakePool(config_connections)}, {kLogClass, MakePool(log_connections)}};
  if (!TakeReady(*pools.at(kConfigClass))) return false;
  const std::lock_guard lock(mutex_);
  if (plugins_.try_emplace(plugin_id, pools).second) return true;
  ITarnFormatLog(kLogFailure, kLogTag, "Pools of %s refused: they stand already", plugin_id.c_str());
  return false;
}

void PostgresDBManager::UnInitialize(const std::string& plugin_id) {
  Pools pools;
  {
    const std::lock_guard lock(mutex_);
    const auto found = plugins_.find(plugin_id);
    if (found == plugins_.end()) return;
    pools.swap(found->second);
    plugins_.erase(found);
  }
  for (const auto& [number, pool] : pools)
    pool->Close();
}

bool PostgresDBManager::ExecuteNoQuery(const std::string& plugin_id, int connection_class, const std::string& sql) {
  return ExecuteQuery(plugin_id, connection_class, sql, nullptr);
}

bool PostgresDBManager::ExecuteNoQueryList(const std::string& plugin_id, int connection_class,
                                           const std::list<std::string>& sqls) {
  return RunTransaction(plugin_id, connection_class, sqls) == End::kCommitted;
}

End PostgresDBManager::RunTransaction(const std::string& plugin_id, int connection_class,
                                      const std::list<std::string>& sqls) {
  const auto pool = FindPool(plugin_id, connection_class);
  if (!pool) return End::kUndone;
  if (std::all_of(sqls.begin(), sqls.end(), [](const std::string& sql) { return sql.empty(); })) return End::kCommitted;
  const auto connection = TakeReady(*pool);
  if (!connection) return End::kUndone;
  for (const std::string& sql : sqls)
    NoteWrite(plugin_id, sql);
  const End end = RunTexts(*connection, sqls);
  connection->RollBack();
  connection->ShedBuffers();
  return end;
}

bool PostgresDBManager::ExecuteQuery(const std::string& plugin_id, int connection_class, const std::string& sql,
                                     const RowReader& reader) {
  const auto pool = FindPool(plugin_id, connection_class);
  if (!pool) return false;
  NoteWrite(plugin_id, sql);
  PostgresResult result;
  if (!sql.empty() && !RunText(*pool, sql, result)) return false;
  // The connection is back in its pool by now, so a reader may use the database itself.
  return ReadRows(reader, result.get());
}

std::shared_ptr<Pool> PostgresDBManager::MakePool(int connections) const {
  std::vector<std::unique_ptr<PostgresConnection>> made;
  for (int number = 0; number < connections; ++number) {
    made.push_back(std::make_unique<PostgresConnection>(options_.connection, figures_));
  }
  return std::make_shared<Pool>(std::move(made));
}

std::chrono::milliseconds PostgresDBManager::StarvedFor() {
  std::chrono::milliseconds longest{0};
  const std::lock_guard lock(mutex_);
  for (const auto& [id, pools] : plugins_) {
    for (const auto& [number, pool] : pools)
      longest = std::max(longest, pool->StarvedFor());
  }
  return longest;
}

std::size_t PostgresDBManager::MostConnections() {
  std::size_t most = 0;
  const std::lock_guard lock(mutex_);
  for (const auto& [id, pools] : plugins_) {
    if (id == kPlatformDbId) continue;
    for (const auto& [number, pool] : pools)
      most = std::max(most, pool->Size());
  }
  return most;
}

std::shared_ptr<Pool> PostgresDBManager::FindPool(const std::string& plugin_id, int connection_class) {
  {
    const std::lock_guard lock(mutex_);
    const auto plugin = plugins_.find(plugin_id);
    if (plugin != plugins_.end()) {
      const auto pool = plugin->second.find(connection_class);
      if (pool != plugin->second.end()) return pool->second;
    }
  }
  ITarnFormatLog(kLogFailure, kLogTag, "No pool of %s, class %d", plugin_id.c_str(), connection_class);
  return nullptr;
}

bool PostgresDBManager::RunText(Pool& pool, const std::string& sql, PostgresResult& result) const {
  Call* const call = CancellingCall(sql);
  const auto connection = TakeReady(pool, call);
  if (!connection) return false;
  for (int sends = 1;; ++sends) {
    result = LongStatements::AreAllowed() ? RunLong(*connection, sql, call) : connection->Run(sql, call);
    const bool again = connection->WasCrossed() && sends < kMostSends;
    const bool left_open = connection->InTransaction();
    if (left_open) {
      if (result) ITarnFormatLog(kLogFailure, kLogTag, "A text left a transaction open; it was undone");
      connection->RollBack();
    }
    if (again) {
      ITarnFormatLog(kLogAnomaly, kLogTag, "Another transaction crossed a text, which is sent again");
      continue;
    }
    connection->ShedBuffers();
    return result != nullptr && !left_open;
  }
}

Pool::Lease PostgresDBManager::TakeReady(Pool& pool, Call* call) const {
  const auto is_cancelled = [call] { return call != nullptr && call->IsCancelled(); };
  auto connection = is_cancelled() ? Pool::Lease() : Take(pool, call);
  if (is_cancelled()) {
    ITarnFormatLog(kLogTrace, kLogTag, "A text of a cancelled call was not sent");
    connection.reset();
  } else if (!connection) {
    ITarnFormatLog(kLogFailure, kLogTag, "No database connection came free, or the pool was closed");
    figures_->NoteStarved();
  } else if (!connection->MakeReady()) {
    connection.reset();
  }
  return connection;
}

Pool::Lease PostgresDBManager::Take(Pool& pool, Call* call) const {
  const auto begun = DatabaseFigures::Clock::now();
  auto connection = pool.Take(options_.acquire_timeout, CurrentClient(), call);
  figures_->NoteAcquired(DatabaseFigures::Clock::now() - begun);
  return connection;
}

MetricFamilies PostgresDBManager::Collect() {
  MetricFamily connections{
      "evidence_db_connections", "Connections of a plugin's pools, by what they do.", MetricType::kGauge, {}};
  MetricFamily waiting{"evidence_db_waiting", "Callers that wait for a connection.", MetricType::kGauge, {}};
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [plugin, pools] : plugins_) {
      Pool::Counts all;
      for (const auto& [number, pool] : pools)
        all += pool->Count();
      connections.samples.push_back({{{"plugin", plugin}, {"state", "idle"}}, static_cast<double>(all.idle)});
      connections.samples.push_back({{{"plugin", plugin}, {"state", "used"}}, static_cast<double>(all.used)});
      waiting.samples.push_back({{{"plugin", plugin}}, static_cast<double>(all.waiting)});
    }
  }
  auto families = figures_->Collect();
  families.push_back(std::move(connections));
  families.push_back(std::move(waiting));
  return families;
}

}  // namespace
}  // namespace database

std::shared_ptr<IPooledDatabase> MakePostgresDBManager(PostgresOptions options) {
  return std::make_shared<database::PostgresDBManager>(std::move(options));
}

}  // namespace platform
