#pragma once

#include <string>

#include "Settings.h"

namespace host {

/// Opens log and database for a command, and checks the schema. "" or the fault.
[[nodiscard]] std::string OpenForCommand(const Settings& settings);

/// Ends a command: prints `fault` if there is one, and returns the exit code.
[[nodiscard]] int FinishCommand(const std::string& fault);

}  // namespace host
