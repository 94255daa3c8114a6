#pragma once

#include <string>

#include "KelpPlatform/DBManager.h"
#include "Settings.h"

/// The host's access to its database, under platform::kPlatformDbId. Texts returned are "" on success, else
/// one line for the operator.
namespace host {

/// Installs kelp::IDBManager and makes the host's pools.
[[nodiscard]] std::string OpenDatabase(const Settings& settings);

/// Whether the database's schema is the one that the set-up statements in `sql_directory` lead to.
[[nodiscard]] std::string CheckSchemaVersion(const std::string& sql_directory);

/// Brings the schema up to date. `owner_connection` is a role that may create schemas and roles.
[[nodiscard]] std::string SetUpSchema(const std::string& owner_connection, const std::string& sql_directory,
                                      int& version);

/// Whether a statement is answered now.
[[nodiscard]] bool DatabaseAnswers();

/// Runs `sql` on the host's pools; results as of kelp::IDBManager.
[[nodiscard]] bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader);
[[nodiscard]] bool Execute(const std::string& sql);

/// What an operator reads of a statement that failed.
inline constexpr char kNoAnswer[] = "the database does not answer, or refuses the statement";

/// The folder of the set-up statements.
[[nodiscard]] std::string SqlDirectory(const Settings& settings);

}  // namespace host
