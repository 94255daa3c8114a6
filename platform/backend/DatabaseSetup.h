#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace platform {

struct SetupResult {
  bool ok = false;
  /// Why it failed, one line for the operator; empty when `ok`. Holds no password.
  std::string fault;
  /// The number of the newest script that stands applied.
  int version = 0;
  /// How many scripts this call applied.
  int applied = 0;
};

/// Brings the database of `owner_connection` (any libpq connection string; a superuser, or a role that may
/// make roles and schemas) to the state of the scripts NNN_*.sql in `sql_directory`: those not yet applied
/// run in the order of their numbers, all in one transaction, so a failed call changes nothing. Calls in any
/// number of processes may meet; they take turns. Fails when the database is not UTF-8 with a character
/// classification that knows it, or is newer than the scripts.
[[nodiscard]] PLATFORM_API SetupResult SetUpDatabase(const std::string& owner_connection,
                                                     const std::string& sql_directory);

/// The number of the newest script in `sql_directory`, which SetUpDatabase brings a database to, in `version`. Returns
/// "", or why there is none, one line for the operator.
[[nodiscard]] PLATFORM_API std::string NewestSchemaVersion(const std::string& sql_directory, int& version);

}  // namespace platform
