#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Sessions.h"

/// The tables platform.users and platform.permissions, through kelp::IDBManager under
/// platform::kPlatformDbId. Any thread. Users are never deleted; names are compared exactly.
namespace host {

inline constexpr char kSysop[] = "sysop";

/// Longest user name in code points.
inline constexpr std::size_t kMaxUserName = 128;

enum class LoginOutcome { kOk, kRefused, kDatabaseAway };

/// Checks name and password, and fills `user` with the record and the granted permissions. kRefused
/// takes the same time whether the name, the password or the account is at fault.
[[nodiscard]] LoginOutcome CheckLogin(const std::string& name, const std::string& password, UserRecord& user);

struct NewUser {
  UserRecord record;
  std::string password;
};

/// "" when the user was added, else what stood against it, as a line for the operator.
[[nodiscard]] std::string AddUser(const NewUser& user);

/// Makes the user's granted permissions exactly those of `permissions`. "" or what stood against it.
[[nodiscard]] std::string SetPermissions(const std::string& name,
                                         const std::set<std::pair<ClientKind, int>>& permissions);

struct ListedUser {
  UserRecord record;
  bool enabled = false;
};

/// All users by id with their granted permissions; none when the database does not answer.
[[nodiscard]] std::optional<std::vector<ListedUser>> ListUsers();

/// Adds the super user kSysop with a random password when there is none yet. False when the database
/// does not answer. `password` is filled only when the user was added.
[[nodiscard]] bool EnsureSysop(std::string& password);

/// A password for a user who was given none.
[[nodiscard]] std::string GeneratedPassword();

}  // namespace host
