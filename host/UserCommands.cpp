#include "UserCommands.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <ranges>

#include "Database.h"
#include "OpenCommand.h"
#include "OwnerSession.h"
#include "Serve.h"
#include "accounts/AuthEvents.h"
#include "accounts/Secrets.h"
#include "accounts/UserChanges.h"

namespace host {
namespace {

Permissions PermissionsOf(const PermissionCodes& codes) {
  Permissions permissions;
  for (const int code : codes.web)
    permissions.emplace(ClientKind::kWeb, code);
  for (const int code : codes.cs)
    permissions.emplace(ClientKind::kCs, code);
  for (const int code : codes.control)
    permissions.emplace(ClientKind::kControl, code);
  return permissions;
}

std::string CodeList(const UserRecord& user, ClientKind kind) {
  std::string list;
  for (const auto& [code_kind, code] : user.permissions) {
    if (code_kind == kind) list += (list.empty() ? "" : ",") + std::to_string(code);
  }
  return list.empty() ? "-" : list;
}

std::string RoleList(const UserRecord& user) {
  std::string list;
  for (const auto& role : user.roles)
    list += (list.empty() ? "" : ",") + role;
  return list.empty() ? "-" : list;
}

std::set<std::string> RolesOf(const std::vector<std::string>& roles) { return {roles.begin(), roles.end()}; }

/// A new password; a line of another system ends with a carriage return.
std::string TakePassword(const PasswordOptions& options) {
  if (!options.from_stdin) return GeneratedPassword();
  std::string password;
  std::getline(std::cin, password);
  if (password.ends_with('\r')) password.pop_back();
  return password;
}

void PrintPassword(const PasswordOptions& options, const std::string& name, const std::string& password) {
  if (!options.from_stdin) std::printf("%s password: %s\n", name.c_str(), password.c_str());
}

std::string Change(const Settings& settings, const std::string& name, const UserChange& change) {
  auto fault = OpenForCommand(settings);
  return fault.empty() ? ChangeUser(StoredName(name), change, {kCommandLine}).text : fault;
}

void AddHex(std::string& text, char c) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
}

/// A field of a line; what a client sent must not move the terminal's cursor. Control characters are below U+0020, and
/// from U+007F to U+009F.
std::string Field(const std::string& text) {
  std::string field;
  bool is_after_c2 = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (is_after_c2 && byte < 0xA0) {
      field.pop_back();
      AddHex(field, '\xC2');
      AddHex(field, c);
    } else if (byte < 0x20 || byte == 0x7F) {
      AddHex(field, c);
    } else {
      field += c;
    }
    is_after_c2 = byte == 0xC2;
  }
  return field.empty() ? "-" : field;
}

void Print(const StoredAuthEvent& event) {
  std::string line = event.time;
  for (const auto* const text :
       {&event.kind, &event.user_name, &event.done_by, &event.client_address, &event.request_id, &event.detail})
    line += "\t" + Field(*text);
  std::printf("%s\n", line.c_str());
}

std::string NoTime(const std::string& text) { return text + " is no time, such as 2026-11-01 or 2026-11-01T10:00:00Z"; }

}  // namespace

int RunUserAdd(const Settings& settings, const std::string& name, const UserAddOptions& options) {
  NewUser user;
  user.record.name = StoredName(name);
  user.record.super_user = options.super_user;
  user.record.permissions = PermissionsOf(options.codes);
  user.record.roles = RolesOf(options.roles);
  user.record.must_change_password = options.password.must_change;
  user.password = TakePassword(options.password);
  const WipeAtEnd wipe(user.password);
  auto fault = OpenForCommand(settings);
  if (fault.empty()) fault = AddUser(user, {kCommandLine}).text;
  if (fault.empty()) PrintPassword(options.password, user.record.name, user.password);
  return FinishCommand(fault);
}

int RunUserList(const Settings& settings) {
  auto fault = OpenForCommand(settings);
  if (!fault.empty()) return FinishCommand(fault);
  const auto users = ListUsers();
  if (!users) return FinishCommand("the users cannot be read");
  for (const auto& [user, enabled, own_permissions] : *users) {
    std::printf("%d\t%s\t%s\t%s\tweb %s\tcs %s\tcontrol %s\troles %s\n", user.id, user.name.c_str(),
                user.super_user ? "super" : "user", enabled ? "enabled" : "disabled",
                CodeList(user, ClientKind::kWeb).c_str(), CodeList(user, ClientKind::kCs).c_str(),
                CodeList(user, ClientKind::kControl).c_str(), RoleList(user).c_str());
  }
  return FinishCommand("");
}

int RunUserPermissions(const Settings& settings, const std::string& name, const PermissionCodes& codes) {
  UserChange change;
  change.permissions = PermissionsOf(codes);
  return FinishCommand(Change(settings, name, change));
}

int RunUserRoles(const Settings& settings, const std::string& name, const std::vector<std::string>& roles) {
  UserChange change;
  change.roles = RolesOf(roles);
  return FinishCommand(Change(settings, name, change));
}

int RunUserPassword(const Settings& settings, const std::string& name, const PasswordOptions& options) {
  UserChange change;
  change.password = TakePassword(options);
  const WipeAtEnd wipe(*change.password);
  change.must_change_password = options.must_change;
  const auto fault = Change(settings, name, change);
  if (fault.empty()) PrintPassword(options, StoredName(name), *change.password);
  return FinishCommand(fault);
}

int RunUserEnable(const Settings& settings, const std::string& name, bool enabled) {
  UserChange change;
  change.enabled = enabled;
  return FinishCommand(Change(settings, name, change));
}

int RunUserSessions(const Settings& settings, const std::string& name) {
  UserChange change;
  change.end_sessions = true;
  return FinishCommand(Change(settings, name, change));
}

int RunEvents(const Settings& settings, const EventOptions& options) {
  AuthEventFilter filter;
  filter.limit = options.limit;
  if (options.user) filter.user = StoredName(*options.user);
  if (options.since) {
    filter.since = ParseEventTime(*options.since);
    if (!filter.since) return FinishCommand(NoTime(*options.since));
  }
  auto fault = OpenForCommand(settings);
  if (!fault.empty()) return FinishCommand(fault);
  const auto events = ReadAuthEvents(filter);
  if (!events) return FinishCommand("the events cannot be read");
  for (auto event = events->rbegin(); event != events->rend(); ++event)
    Print(*event);
  return FinishCommand("");
}

int RunEventsPrune(const Settings& settings, const std::string& before) {
  const auto time = ParseEventTime(before);
  if (!time) return FinishCommand(NoTime(before));
  auto fault = OpenLog(settings);
  if (!fault.empty()) return FinishCommand(fault);
  platform::OwnerSession session(OwnerConnection(settings));
  platform::OwnerSession::Rows rows;
  fault = session.Open();
  if (fault.empty()) fault = session.Run(PruneAuthEventsStatement(*time), &rows);
  if (fault.empty() && !rows.empty()) std::printf("%s events deleted\n", rows[0][0].c_str());
  return FinishCommand(fault);
}

}  // namespace host
