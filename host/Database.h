#pragma once

#include <chrono>
#include <string>

#include "KelpPlatform/DBManager.h"
#include "Settings.h"

/// The host's access to its database, under platform::kPlatformDbId. Texts returned are "" on success, else
/// one line for the operator.
namespace host {

/// Installs kelp::IDBManager and creates the host's pools.
[[nodiscard]] std::string OpenDatabase(const Settings& settings);

/// Checks that the schema has the version of the newest script in `sql_directory`.
[[nodiscard]] std::string CheckSchemaVersion(const std::string& sql_directory);

/// Brings the schema up to date, and roles, rights and settings as they should be. `owner_connection` has a role that
/// may create schemas and roles; what it may not set is told on standard error.
[[nodiscard]] std::string SetUpSchema(const std::string& owner_connection, const std::string& sql_directory,
                                      int& version);

/// Whether the database answers a statement now.
[[nodiscard]] bool DatabaseAnswers();

/// How long callers of any pool have been waiting without one of them getting a connection.
[[nodiscard]] std::chrono::milliseconds DatabaseStarvedFor();

/// The number of connections of the largest pool of a plugin; 0 without one.
[[nodiscard]] std::size_t MostPluginConnections();

/// Runs `sql` on the host's pools; results as for kelp::IDBManager.
[[nodiscard]] bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader);
[[nodiscard]] bool Execute(const std::string& sql);

/// The operator's message for a failed statement.
inline constexpr char kNoAnswer[] = "the database does not answer, or rejected the statement";

/// The connection string of the role that owns the schemas: setup_database, or database when that is empty.
[[nodiscard]] const std::string& OwnerConnection(const Settings& settings);

/// The folder of the schema scripts.
[[nodiscard]] std::string SqlDirectory(const Settings& settings);

}  // namespace host
