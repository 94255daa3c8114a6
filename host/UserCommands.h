#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Settings.h"

/// The executable's commands about users and events. Each prints its result, or one line on standard error, and returns
/// the exit code of the process.
namespace host {

/// Permission codes by the kind of client they apply to.
struct PermissionCodes {
  std::vector<int> web;
  std::vector<int> cs;
  std::vector<int> control;
};

struct PasswordOptions {
  /// Reads the password from the first line of standard input; else one is generated and printed.
  bool from_stdin = false;
  /// The user must change it after the first login.
  bool must_change = false;
};

struct UserAddOptions {
  bool super_user = false;
  PermissionCodes codes;
  std::vector<std::string> roles;
  PasswordOptions password;
};

struct EventOptions {
  std::optional<std::string> user;
  /// As ParseEventTime takes it.
  std::optional<std::string> since;
  int limit = 100;
};

[[nodiscard]] int RunUserAdd(const Settings& settings, const std::string& name, const UserAddOptions& options);
[[nodiscard]] int RunUserList(const Settings& settings);
/// The user's own permissions become exactly `codes`.
[[nodiscard]] int RunUserPermissions(const Settings& settings, const std::string& name, const PermissionCodes& codes);
/// The user's roles become exactly `roles`.
[[nodiscard]] int RunUserRoles(const Settings& settings, const std::string& name,
                               const std::vector<std::string>& roles);
[[nodiscard]] int RunUserPassword(const Settings& settings, const std::string& name, const PasswordOptions& options);
[[nodiscard]] int RunUserEnable(const Settings& settings, const std::string& name, bool enabled);
/// Ends the user's sessions.
[[nodiscard]] int RunUserSessions(const Settings& settings, const std::string& name);

/// Prints the newest events, the newest last: time, kind, user, who did it, address, request id, detail.
[[nodiscard]] int RunEvents(const Settings& settings, const EventOptions& options);
/// Deletes older events with an owner's connection.
[[nodiscard]] int RunEventsPrune(const Settings& settings, const std::string& before);

}  // namespace host
