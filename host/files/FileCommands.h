#pragma once

#include <string>

#include "Settings.h"

/// The executable's commands about files. Each prints its result, or one line on standard error, and returns the exit
/// code of the process. All work beside a running host.
namespace host {

/// Prints each file; only those in `state` unless it is empty.
[[nodiscard]] int RunFilesList(const Settings& settings, const std::string& state);

/// Prints the files that are missing or altered, and how many there are in each state. With `now` each is read and
/// compared with its digest first. The exit code is 1 when any is missing or altered.
[[nodiscard]] int RunFilesCheck(const Settings& settings, bool now);

/// Takes in each file of a folder and of those in it. Prints id, bytes, digest and path of each, and what was not taken
/// on standard error; then the exit code is 1.
[[nodiscard]] int RunFilesImport(const Settings& settings, const std::string& folder);

}  // namespace host
