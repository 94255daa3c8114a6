#pragma once

#include <string>

#include "Settings.h"

/// The executable's commands other than serving and those about users (UserCommands.h). Each prints its result, or one
/// line on standard error, and returns the exit code of the process.
namespace host {

[[nodiscard]] int RunSetup(const Settings& settings);
/// Replaces the list of cameras and devices with that of `file`; running hosts pick it up by themselves.
[[nodiscard]] int RunCamerasLoad(const Settings& settings, const std::string& file);
[[nodiscard]] int RunCamerasList(const Settings& settings);

}  // namespace host
