#pragma once

#include <string>
#include <vector>

#include "OrvBase/Export.h"

namespace platform {

struct SetupResult {
  bool ok = false;
  /// Why it failed, one line for the operator; empty when `ok`. Holds no password.
  std::string fault;
  /// The number of the newest applied script.
  int version = 0;
  /// How many scripts this call applied.
  int applied = 0;
  /// What the role may not set and the service should run with, one line each for the operator, with the statement that
  /// sets it. The database is usable without.
  std::vector<std::string> remarks;
};

/// Brings the database of `owner_connection` (any libpq connection string; a superuser, or a role that may create roles
/// and schemas) to the state of the scripts NNN_*.sql in `sql_directory`: pending scripts run in the order of their
/// numbers, then every_setup.sql, which each call applies, all in one transaction, so a failed call changes nothing.
/// Concurrent calls, also of other processes, are serialized. No time limit of the role applies. Fails when the
/// database's encoding is not UTF-8, its LC_CTYPE is C or POSIX, or its schema is newer than the scripts.
[[nodiscard]] PLATFORM_API SetupResult SetUpDatabase(const std::string& owner_connection,
                                                     const std::string& sql_directory);

/// Sets `version` to the number of the newest script in `sql_directory`, to which SetUpDatabase brings a database.
/// Returns "" or the fault, one line for the operator.
[[nodiscard]] PLATFORM_API std::string NewestSchemaVersion(const std::string& sql_directory, int& version);

}  // namespace platform
