#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "TarnPlatform/Authentication.h"

namespace host {

/// Kinds of client that a permission applies to; the values are stored in platform.permissions.
enum class ClientKind : int { kWeb = 1, kCs = 2, kControl = 3 };

/// A user as known at login; later changes apply from the next login.
struct UserRecord {
  int id = 0;
  std::string name;
  bool super_user = false;
  /// Codes that the user holds by himself or by a role, with the kind of client they apply to.
  std::set<std::pair<ClientKind, int>> permissions;
  /// Names in platform.roles.
  std::set<std::string> roles = {};
  /// Somebody else knows the password.
  bool must_change_password = false;
  /// Sessions that were opened under another one have ended.
  int session_epoch = 0;
};

struct Session {
  UserRecord user;
  /// Secret shared with the client, 32 bytes in hex.
  std::string key;
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> seen_by_plugins;
};

/// The logged-in users. Thread-safe.
class Sessions {
 public:
  using Clock = std::chrono::steady_clock;

  Sessions(std::chrono::minutes idle, std::size_t limit, std::function<Clock::time_point()> now = &Clock::now);

  struct Opened {
    std::string id;
    std::string key;
  };
  /// A new session whose id and key are 32 random bytes each, in hex. At the limit the longest-idle session is ended.
  Opened Open(UserRecord user, const std::string& client_address);

  /// The session; null when it is unknown or expired. For external requests: it postpones the expiry.
  std::shared_ptr<const Session> Use(const std::string& id);
  /// The same without postponing the expiry.
  std::shared_ptr<const Session> Find(const std::string& id) const;

 private:
  struct Entry {
    std::shared_ptr<const Session> session;
    Clock::time_point used;
  };

  bool Ended(const Entry& entry, Clock::time_point now) const { return now - entry.used >= idle_; }

  const std::chrono::minutes idle_;
  const std::size_t limit_;
  const std::function<Clock::time_point()> now_;
  mutable std::mutex mutex_;
  std::unordered_map<std::string, Entry> entries_;
};

}  // namespace host
