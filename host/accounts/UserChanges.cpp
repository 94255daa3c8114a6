#include "accounts/UserChanges.h"

#include <algorithm>
#include <iterator>

#include "Database.h"
#include "KelpUtils/StringFunctions.h"
#include "OrvBase/StringUtil.h"
#include "accounts/AuthEvents.h"
#include "accounts/PasswordRules.h"
#include "accounts/RoleNames.h"
#include "accounts/Secrets.h"
#include "platform/SecretText.h"
#include "platform/SqlText.h"

namespace host {
namespace {

namespace SqlText = platform::SqlText;
namespace StringUtil = Orv::Base::StringUtil;
using Kind = AccountFault::Kind;

constexpr std::size_t kGeneratedPasswordBytes = 12;

AccountFault NoAnswer() { return {Kind::kDatabaseAway, kNoAnswer}; }

bool IsNewName(const std::string& name) {
  return !name.empty() && StringUtil::str_len(name, StringUtil::kCodePageUtf8) <= kMaxUserName &&
         !StringUtil::ContainsIllegalCharacters(name) && name.find_first_of("\t\r\n") == std::string::npos &&
         name != kCommandLine;
}

constexpr char kSqlRoles[] = "SELECT name FROM platform.roles ORDER BY name";

AccountFault FaultOfRoles(const std::set<std::string>& roles) {
  std::set<std::string> known;
  if (roles.empty()) return {};
  const bool answered = Query(kSqlRoles, [&known](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next())
      known.insert(rows->GetString("name"));
  });
  if (!answered) return NoAnswer();
  const auto unknown = std::ranges::find_if(roles, [&known](const auto& role) { return !known.contains(role); });
  if (unknown == roles.end()) return {};
  std::string names;
  for (const auto& name : known)
    names += (names.empty() ? "" : ", ") + name;
  return {Kind::kUnknownRole, "there is no role " + *unknown + ", only " + names};
}

// Parts of one statement: "chosen" is the user's id, or nothing.

std::string List(const Permissions& permissions) {
  std::string list;
  for (const auto& [kind, code] : permissions)
    list += (list.empty() ? "" : ", ") + SqlText::Format("(%d, %d)", static_cast<int>(kind), code);
  return list;
}

std::string List(const std::set<std::string>& roles) {
  std::string list;
  for (const auto& role : roles)
    list += (list.empty() ? "(" : ", (") + SqlText::Literal(role) + ")";
  return list;
}

/// `columns` of `table` are to hold `list` for the user, and nothing else.
std::string HoldPart(const std::string& table, const std::string& columns, const std::string& list) {
  const std::string update = ", " + table + "_kept AS (UPDATE platform." + table + " SET granted = ";
  const std::string where = " FROM chosen WHERE user_id = chosen.id)";
  if (list.empty()) return update + "false" + where;
  return update + "(" + columns + ") IN (" + list + ")" + where + ", " + table + "_added AS (INSERT INTO platform." +
         table + " (user_id, " + columns + ") SELECT chosen.id, " + columns + " FROM chosen, (VALUES " + list +
         ") AS wanted (" + columns + ") ON CONFLICT DO NOTHING)";
}

std::string PermissionsPart(const Permissions& permissions) {
  return HoldPart("permissions", "kind, code", List(permissions));
}

std::string RolesPart(const std::set<std::string>& roles) { return HoldPart("user_roles", "role", List(roles)); }

std::string EventPart(const char* kind, const std::string& user, const Actor& actor, const std::string& detail) {
  const auto event = OfThisRequest({kind, user, actor.name, "", "", detail});
  return ", noted AS (INSERT INTO platform.auth_event " + std::string(kAuthEventColumns) +
         " SELECT event.* FROM chosen, (VALUES " + AuthEventValues(event) + ") AS event)";
}

// What an event says.

std::string Joined(const std::set<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts)
    joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

std::string Words(const Permissions& permissions) {
  constexpr std::pair<ClientKind, const char*> kKinds[] = {
      {ClientKind::kWeb, "web"}, {ClientKind::kCs, "cs"}, {ClientKind::kControl, "control"}};
  std::string words;
  for (const auto& [kind, name] : kKinds) {
    std::string codes;
    for (const auto& [code_kind, code] : permissions) {
      if (code_kind == kind) codes += (codes.empty() ? " " : ",") + std::to_string(code);
    }
    if (!codes.empty()) words += (words.empty() ? "" : " ") + (name + codes);
  }
  return words;
}

std::string DetailOf(const UserChange& change) {
  std::string detail;
  const auto add = [&detail](const std::string& part) { detail += (detail.empty() ? "" : "; ") + part; };
  if (change.enabled) add(*change.enabled ? "enabled" : "disabled");
  if (change.super_user) add(*change.super_user ? "super user" : "no super user");
  if (change.roles) add(change.roles->empty() ? "no roles" : "roles " + Joined(*change.roles));
  if (change.permissions) {
    add(change.permissions->empty() ? "no permissions of his own" : "permissions " + Words(*change.permissions));
  }
  if (change.password) add(change.must_change_password ? "new password, which he must change" : "new password");
  if (change.end_sessions) add("all sessions ended");
  return detail;
}

const char* KindOf(const UserChange& change) {
  if (change.password) return kEventPasswordChanged;
  const bool changes_rights = change.enabled || change.super_user || change.roles || change.permissions;
  return changes_rights ? kEventUserChanged : kEventSessionEnded;
}

/// Whether the user `u` manages users, as he is stored, and what stands for a part of it.
std::string ManagesUsers(const std::string& u, std::optional<bool> enabled = {}, std::optional<bool> super_user = {},
                         std::optional<bool> administrator = {}) {
  const auto or_stored = [](std::optional<bool> given, const std::string& stored) {
    return given ? std::string(*given ? "true" : "false") : stored;
  };
  const auto stored_role = "EXISTS (SELECT FROM platform.user_roles r WHERE r.user_id = " + u +
                           ".id AND r.granted AND r.role = " + SqlText::Literal(kAdministrator) + ")";
  return "(" + or_stored(enabled, u + ".enabled") + " AND (" + or_stored(super_user, u + ".super_user") + " OR " +
         or_stored(administrator, stored_role) + "))";
}

std::string Conditions(const UserChange& change, const Actor& actor) {
  const auto administrator =
      change.roles ? std::optional(change.roles->contains(kAdministrator)) : std::optional<bool>();
  std::string conditions = " AND (" + ManagesUsers("u", change.enabled, change.super_user, administrator) + " OR NOT " +
                           ManagesUsers("u") + " OR EXISTS (SELECT FROM platform.users o WHERE o.id <> u.id AND " +
                           ManagesUsers("o") + "))";
  if (!actor.is_super) conditions += " AND NOT u.super_user";
  if (change.of_epoch) conditions += " AND u.enabled AND u.session_epoch = " + std::to_string(*change.of_epoch);
  return conditions;
}

/// `hash` is that of a new password.
std::string UserPart(const UserChange& change, const std::string& hash) {
  std::string columns;
  const auto set = [&columns](const std::string& column) { columns += (columns.empty() ? "" : ", ") + column; };
  if (change.enabled) set(*change.enabled ? "enabled = true" : "enabled = false");
  if (change.super_user) set(*change.super_user ? "super_user = true" : "super_user = false");
  if (change.password) {
    set("password_hash = " + SqlText::Literal(hash));
    set(change.must_change_password ? "must_change_password = true" : "must_change_password = false");
  }
  if (change.password || change.end_sessions || change.enabled == false) set("session_epoch = session_epoch + 1");
  if (columns.empty()) return {};
  return ", user_changed AS (UPDATE platform.users SET " + columns + " FROM chosen WHERE users.id = chosen.id)";
}

// Changes of users take turns, so that two of them do not take away the last manager together.
constexpr char kSqlTurn[] = "SELECT pg_advisory_xact_lock(711, 4); ";

/// Runs the whole statement; `id` is that of the user, or 0 when nothing was chosen. False when it failed.
bool RunChange(const std::string& choice, const std::string& parts, int& id) {
  id = 0;
  return Query(kSqlTurn + ("WITH chosen AS (" + choice + ")") + parts + " SELECT id FROM chosen",
               [&id](kelp::IDBResultSet* rows) { id = rows->IsEof() ? 0 : rows->GetInt("id"); });
}

AccountFault Refused(int id, const UserChange& change, const Actor& actor) {
  UserRecord user;
  if (!FindUser(id, user)) return NoAnswer();
  if (user.id < 0) return {Kind::kNoSuchUser, "there is no such user"};
  if (user.super_user && !actor.is_super) return {Kind::kSuperUser, "only a super user changes super users"};
  if (change.of_epoch) return {Kind::kChanged, "the account was changed meanwhile; log in again"};
  return {Kind::kLastManager, "nobody enabled would be left who may manage users"};
}

/// Fills `hash` when there is a new password.
AccountFault Check(const UserChange& change, const Actor& actor, const std::string& name, std::string& hash) {
  if (change.super_user == true && !actor.is_super) return {Kind::kSuperUser, "only a super user makes super users"};
  if (change.password) {
    const auto fault = PasswordFault(*change.password, name);
    auto made = fault.empty() ? HashPassword(*change.password) : std::nullopt;
    if (!made) return {Kind::kBadPassword, "a password " + (fault.empty() ? "cannot be hashed" : fault)};
    hash = std::move(*made);
  }
  return change.roles ? FaultOfRoles(*change.roles) : AccountFault();
}

}  // namespace

constexpr char kSqlAdd[] =
    "INSERT INTO platform.users (name, password_hash, super_user, must_change_password) VALUES (%s, %s, %s, %s)"
    " ON CONFLICT (name) DO NOTHING RETURNING id";

AccountFault AddUser(const NewUser& user, const Actor& actor, int* id) {
  const auto& record = user.record;
  if (!IsNewName(record.name)) {
    return {Kind::kBadName, "a user name must have 1 to 128 characters and no control character, and not be " +
                                std::string(kCommandLine)};
  }
  UserChange wanted;
  wanted.super_user = record.super_user;
  wanted.roles = record.roles;
  wanted.permissions = record.permissions;
  wanted.password = user.password;
  wanted.must_change_password = record.must_change_password;
  std::string hash;
  if (auto fault = Check(wanted, actor, record.name, hash); fault.kind != Kind::kNone) return fault;
  const platform::SecretText secret(hash);
  const auto choice =
      SqlText::Format(kSqlAdd, SqlText::Literal(record.name).c_str(), SqlText::Literal(hash).c_str(),
                      record.super_user ? "true" : "false", record.must_change_password ? "true" : "false");
  int added = 0;
  const auto parts = PermissionsPart(record.permissions) + RolesPart(record.roles) +
                     EventPart(kEventUserAdded, record.name, actor, DetailOf(wanted));
  if (!RunChange(choice, parts, added)) return NoAnswer();
  if (added == 0) return {Kind::kExists, "user " + record.name + " already exists"};
  if (id != nullptr) *id = added;
  return {};
}

AccountFault ChangeUser(int id, const UserChange& change, const Actor& actor) {
  UserRecord user;
  if (!FindUser(id, user)) return NoAnswer();
  std::string hash;
  if (auto fault = Check(change, actor, user.name, hash); fault.kind != Kind::kNone) return fault;
  const platform::SecretText secret(hash);
  const auto choice =
      "SELECT u.id FROM platform.users u WHERE u.id = " + std::to_string(id) + Conditions(change, actor);
  auto parts = UserPart(change, hash);
  if (change.permissions) parts += PermissionsPart(*change.permissions);
  if (change.roles) parts += RolesPart(*change.roles);
  int changed = 0;
  if (!RunChange(choice, parts + EventPart(KindOf(change), user.name, actor, DetailOf(change)), changed)) {
    return NoAnswer();
  }
  return changed == 0 ? Refused(id, change, actor) : AccountFault();
}

AccountFault ChangeUser(const std::string& name, const UserChange& change, const Actor& actor) {
  UserRecord user;
  if (!FindUser(name, user)) return NoAnswer();
  if (user.id < 0) return {Kind::kNoSuchUser, "user " + name + " does not exist"};
  return ChangeUser(user.id, change, actor);
}

bool EnsureSysop(std::string& password) {
  UserRecord found;
  if (!FindUser(kSysop, found)) return false;
  if (found.id >= 0) return true;
  NewUser sysop;
  sysop.record.name = kSysop;
  sysop.record.super_user = true;
  sysop.password = GeneratedPassword();
  const auto fault = AddUser(sysop, {kCommandLine});
  if (fault.kind == Kind::kNone) password = sysop.password;
  // Another host on the same database may be first: its password is then the valid one.
  return fault.kind == Kind::kNone || fault.kind == Kind::kExists;
}

std::string GeneratedPassword() { return RandomHex(kGeneratedPasswordBytes); }

}  // namespace host
