#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "accounts/Users.h"

/// What is done to accounts. Each change is one transaction, which also notes the event about it (AuthEvents.h).
/// Thread-safe.
namespace host {

using Permissions = std::set<std::pair<ClientKind, int>>;

/// Who makes a change.
struct Actor {
  /// A user's name, or kCommandLine.
  std::string name;
  /// May make and change super users.
  bool is_super = true;
};

struct AccountFault {
  enum class Kind {
    kNone,
    kNoSuchUser,
    kExists,
    kBadName,
    kBadPassword,
    kUnknownRole,
    /// The actor is no super user.
    kSuperUser,
    /// Nobody enabled could manage users any more.
    kLastManager,
    /// The account is no longer as it was when the change was decided upon.
    kChanged,
    kDatabaseAway,
  };
  Kind kind = Kind::kNone;
  /// For people, without a full stop; empty for kNone.
  std::string text = {};
};

struct NewUser {
  /// Name, super user, roles, permissions, must_change_password.
  UserRecord record;
  std::string password;
};

/// Adds a user; `id` gets his id.
[[nodiscard]] AccountFault AddUser(const NewUser& user, const Actor& actor, int* id = nullptr);

/// What is to change; the rest stays.
struct UserChange {
  /// Disabling ends the user's sessions.
  std::optional<bool> enabled = {};
  std::optional<bool> super_user = {};
  /// All of them.
  std::optional<std::set<std::string>> roles = {};
  /// All that the user is to hold by himself.
  std::optional<Permissions> permissions = {};
  /// A new one ends the user's sessions.
  std::optional<std::string> password = {};
  /// Of a new password.
  bool must_change_password = false;
  bool end_sessions = false;
  /// Nothing is done when the session epoch is another one, or the user disabled.
  std::optional<int> of_epoch = {};
};

/// Changes the user with that id.
[[nodiscard]] AccountFault ChangeUser(int id, const UserChange& change, const Actor& actor);

/// The same by name.
[[nodiscard]] AccountFault ChangeUser(const std::string& name, const UserChange& change, const Actor& actor);

/// Adds the super user kSysop with a random password if it does not exist. False when the database does not answer.
/// `password` is filled only when the user was added.
[[nodiscard]] bool EnsureSysop(std::string& password);

/// A random password for a new user.
[[nodiscard]] std::string GeneratedPassword();

}  // namespace host
