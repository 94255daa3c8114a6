#pragma once

#include <string>
#include <vector>

#include "Settings.h"

/// The executable's commands other than serving. Each prints its result, or one line on standard error, and returns the
/// exit code of the process.
namespace host {

/// Permission codes by the kind of client they apply to.
struct PermissionCodes {
  std::vector<int> web;
  std::vector<int> cs;
  std::vector<int> control;
};

struct UserAddOptions {
  std::string name;
  bool super_user = false;
  /// Reads the password from the first line of standard input; else one is generated and printed.
  bool password_stdin = false;
  PermissionCodes codes;
};

[[nodiscard]] int RunSetup(const Settings& settings);
[[nodiscard]] int RunUserAdd(const Settings& settings, const UserAddOptions& options);
[[nodiscard]] int RunUserList(const Settings& settings);
/// The user's permissions become exactly `codes`.
[[nodiscard]] int RunUserPermissions(const Settings& settings, const std::string& name, const PermissionCodes& codes);
/// Replaces the list of cameras and devices with that of `file`; running hosts pick it up by themselves.
[[nodiscard]] int RunCamerasLoad(const Settings& settings, const std::string& file);
[[nodiscard]] int RunCamerasList(const Settings& settings);

}  // namespace host
