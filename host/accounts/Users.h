#pragma once

#include <optional>
#include <string>
#include <vector>

#include "accounts/Sessions.h"

/// The tables platform.users, platform.permissions and those of roles, through kelp::IDBManager under
/// platform::kPlatformDbId. Thread-safe. Users are never deleted; names are compared exactly.
namespace host {

inline constexpr char kSysop[] = "sysop";

/// Longest user name in code points.
inline constexpr std::size_t kMaxUserName = 128;

/// The form in which a user's name is stored: the name of a domain account, "domain\name", in lower case.
[[nodiscard]] std::string StoredName(const std::string& name);

/// Whether `name` is of the form "domain\name".
[[nodiscard]] bool IsDomainAccount(const std::string& name);

/// kDisabled: the password is right, but the account is disabled.
enum class PasswordOutcome { kRight, kWrong, kDisabled, kDatabaseAway };

/// Checks name and password. `user` gets the record without permissions and roles, or the id -1 when there is no such
/// user; kDatabaseAway leaves it unchanged. kWrong takes the same time for an unknown user and a wrong password, but
/// not for an invalid name.
[[nodiscard]] PasswordOutcome CheckPassword(const std::string& name, const std::string& password, UserRecord& user);

/// The record with that id, without permissions and roles, or the id -1 when there is no such user. False when the
/// database does not answer.
[[nodiscard]] bool FindUser(int user_id, UserRecord& user);
[[nodiscard]] bool FindUser(const std::string& name, UserRecord& user);

/// Whether the user is enabled and holds `code` for control clients by himself or by a role, or is an enabled super
/// user; read from the tables at each call. False also when the database does not answer.
[[nodiscard]] bool HoldsControlPermission(int user_id, int code);

struct ListedUser {
  UserRecord record;
  bool enabled = false;
  /// Those of the permissions that the user holds by himself.
  std::set<std::pair<ClientKind, int>> own_permissions;
};

/// All users, sorted by id, with permissions and roles, as of one moment; none when the database does not answer.
[[nodiscard]] std::optional<std::vector<ListedUser>> ListUsers();

/// The same of those with one of `ids`.
[[nodiscard]] std::optional<std::vector<ListedUser>> ListUsers(const std::vector<int>& ids);

/// The revision of all accounts: another one after any change of users, permissions and roles, by whomever. False when
/// the database does not answer.
[[nodiscard]] bool ReadAccountRevision(std::string& revision);

}  // namespace host
