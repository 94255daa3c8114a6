#include "Database.h"

#include <cstdio>
#include <filesystem>

#include "Backends.h"
#include "DatabaseSetup.h"
#include "HostLog.h"
#include "RealBackends.h"
#include "metrics/StatementNames.h"

namespace host {

std::string OpenDatabase(const Settings& settings) {
  platform::PostgresOptions options;
  options.connection = settings.database;
  options.statements = StatementNames();
  auto manager = platform::MakePostgresDBManager(std::move(options));
  platform::Slot<kelp::IDBManager>::Exchange(manager);
  const auto connections = static_cast<int>(settings.platform_connections);
  if (manager->Initialize(platform::kPlatformDbId, connections, connections, true)) return {};
  return "the database cannot be reached; " + settings.LogFile() + " names the reason";
}

constexpr char kSqlSchemaVersion[] = "SELECT max(version) AS version FROM platform.schema_version";

std::string CheckSchemaVersion(const std::string& sql_directory) {
  int wanted = 0;
  if (auto fault = platform::NewestSchemaVersion(sql_directory, wanted); !fault.empty()) return fault;
  int version = 0;
  const bool answered =
      Query(kSqlSchemaVersion, [&version](kelp::IDBResultSet* rows) { version = rows->GetInt("version"); });
  if (answered && version == wanted) return {};
  if (version > wanted) {
    return "the database's schema has version " + std::to_string(version) + ", this host knows " +
           std::to_string(wanted) + ": use a newer host";
  }
  return (answered ? "the database's schema has version " + std::to_string(version) + ", this host needs " +
                         std::to_string(wanted)
                   : std::string("the database has no schema of this host, or the role cannot read it")) +
         ": run evidence-host setup with an owner's connection";
}

std::string SetUpSchema(const std::string& owner_connection, const std::string& sql_directory, int& version) {
  const auto result = platform::SetUpDatabase(owner_connection, sql_directory);
  version = result.version;
  for (const auto& remark : result.remarks) {
    LogHost(kLogAnomaly, "set-up: %s", remark.c_str());
    std::fprintf(stderr, "evidence-host: %s\n", remark.c_str());
  }
  return result.ok ? "" : "set-up of the database failed: " + result.fault;
}

bool DatabaseAnswers() { return Execute("SELECT 1"); }

namespace {

std::shared_ptr<platform::IPooledDatabase> PooledDatabase() {
  return std::dynamic_pointer_cast<platform::IPooledDatabase>(kelp::IDBManager::Instance());
}

}  // namespace

std::chrono::milliseconds DatabaseStarvedFor() {
  const auto manager = PooledDatabase();
  return manager ? manager->StarvedFor() : std::chrono::milliseconds(0);
}

std::size_t MostPluginConnections() {
  const auto manager = PooledDatabase();
  return manager ? manager->MostConnections() : 0;
}

bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader) {
  return kelp::IDBManager::Instance()->ExecuteQuery(platform::kPlatformDbId, kelp::IDBManager::kConfigClass, sql,
                                                    reader);
}

bool Execute(const std::string& sql) {
  return kelp::IDBManager::Instance()->ExecuteNoQuery(platform::kPlatformDbId, kelp::IDBManager::kConfigClass, sql);
}

const std::string& OwnerConnection(const Settings& settings) {
  return settings.setup_database.empty() ? settings.database : settings.setup_database;
}

std::string SqlDirectory(const Settings& settings) {
  return (std::filesystem::path(ExecutableDirectory()) / settings.sql).string();
}

}  // namespace host
