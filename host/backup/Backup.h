#pragma once

#include <string>

#include "Settings.h"

/// The commands that save the whole database in one file, and bring it back. They use the connection of setup_database,
/// or of database when that is empty, and print what they counted, or one line on standard error. Each returns the exit
/// code of the process.
namespace host {

/// Writes the database to `file`, which must not be there: as of one moment, while hosts go on.
[[nodiscard]] int RunBackup(const Settings& settings, const std::string& file);

/// Fills an empty database from a backup; one with an older schema is upgraded. A failure or a stop before all rows are
/// there leaves the database empty.
[[nodiscard]] int RunRestore(const Settings& settings, const std::string& file);

}  // namespace host
