#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TarnPlatform/Authentication.h"
#include "accounts/SessionTokens.h"

namespace host {

/// Kinds of client that a permission applies to; the values are stored in platform.permissions.
enum class ClientKind : int { kWeb = 1, kCs = 2, kControl = 3 };

/// A user as the database has him at one moment.
struct UserRecord {
  int id = 0;
  std::string name = {};
  bool super_user = false;
  /// Codes that the user holds by himself or by a role, with the kind of client they apply to.
  std::set<std::pair<ClientKind, int>> permissions = {};
  /// Names in platform.roles.
  std::set<std::string> roles = {};
  /// Somebody else knows the password.
  bool must_change_password = false;
  /// Sessions that were opened under another one have ended.
  int session_epoch = 0;

  bool operator==(const UserRecord&) const = default;
};

/// One session as it is at one moment: immutable, a change of its user replaces it.
struct Session {
  UserRecord user;
  /// What plugins know the session by, and what logs show: 32 hex digits, from which no token can be made.
  std::string handle;
  /// Secret shared with the client, 32 bytes in hex.
  std::string key;
  /// What administrators know it by: 1 for the first since the host started.
  std::int64_t number = 0;
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> seen_by_plugins;
};

/// The logged-in users. A session ends when it is idle for too long, too old, ended by somebody, or no longer what its
/// user may have. Thread-safe.
class Sessions {
 public:
  using Clock = std::chrono::steady_clock;
  using SessionPtr = std::shared_ptr<const Session>;

  struct Rules {
    Clock::duration idle{};
    /// Whatever is done with it meanwhile.
    Clock::duration age{};
    /// Of all users together, and of each; at least 1.
    std::size_t limit = 1;
    std::size_t per_user = 1;
  };

  /// `site_key` is what the key of the tokens is derived from.
  Sessions(std::string_view site_key, const Rules& rules, std::function<Clock::time_point()> now = &Clock::now);

  struct Opened {
    std::string token;
    std::string key;
    std::string handle;
  };
  /// A new session. A user who has `per_user` sessions loses the longest idle one for it; so does one who has any when
  /// there are `limit` in all. When only others have them, the longest idle one of those who have the most ends, and
  /// the log says whose.
  Opened Open(UserRecord user, const std::string& client_address);

  /// The session of a token, which a request from `client_address` uses: that postpones its end. Null for any other
  /// text, a handle among them, and when the session has ended. What is no token is known for that without a lock.
  SessionPtr Use(std::string_view token, const std::string& client_address);
  /// The session of a handle; null when there is none or it has ended.
  SessionPtr Find(std::string_view handle) const;

  /// One session with its times.
  struct State {
    SessionPtr session;
    /// Of its latest request, or of the login.
    std::string last_address;
    Clock::duration idle{};
    Clock::duration age{};
  };
  std::optional<State> StateOf(std::string_view handle) const;
  /// All that have not ended, sorted by number.
  std::vector<State> List() const;

  /// How many have not ended.
  std::size_t Count() const;

  /// Ends a session, and returns it; null when there is none.
  SessionPtr End(std::string_view handle);

  /// The ids of the users who have sessions, sorted.
  std::vector<int> UserIds() const;
  /// Gives the sessions of the users `asked` for what is now known of these. Those of a user who is not among
  /// `enabled`, or who has another epoch by now, end.
  void Follow(const std::vector<int>& asked, const std::map<int, UserRecord>& enabled);

  const Rules& rules() const { return rules_; }

 private:
  using Handle = SessionTokens::Handle;
  struct Hash {
    std::size_t operator()(const Handle& handle) const;
  };
  struct Entry {
    SessionPtr session;
    Clock::time_point opened;
    Clock::time_point used;
    std::string last_address;
  };
  using Entries = std::unordered_map<Handle, Entry, Hash>;

  bool HasEnded(const Entry& entry, Clock::time_point now) const {
    return now - entry.used >= rules_.idle || now - entry.opened >= rules_.age;
  }
  static State StateAt(const Entry& entry, Clock::time_point now);
  /// Returns those that have ended.
  std::vector<SessionPtr> EndOrChange(const std::set<int>& asked, const std::map<int, UserRecord>& enabled);

  // All under mutex_.
  /// The end of entries_ when there is none or it has ended.
  Entries::const_iterator Living(std::string_view handle, Clock::time_point now) const;
  /// Ends one for a new one of that user when there is no room; null when there is.
  SessionPtr MakeRoom(int user_id, Clock::time_point now);
  SessionPtr EndLongestIdle(const std::function<bool(int user_id)>& is_candidate);

  const SessionTokens tokens_;
  const Rules rules_;
  const std::function<Clock::time_point()> now_;
  mutable std::mutex mutex_;
  // Under mutex_:
  Entries entries_;
  std::int64_t last_number_ = 0;
};

}  // namespace host
