#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "accounts/Sessions.h"

namespace host {

/// The users among `ids` who are enabled, as the database has them now. False when it does not answer.
[[nodiscard]] bool ReadAccountStates(const std::vector<int>& ids, std::map<int, UserRecord>& enabled);

/// Keeps the sessions as their users' accounts are: what is changed there reaches the sessions that are open.
/// Thread-safe except for Refresh.
class AccountStates {
 public:
  explicit AccountStates(std::shared_ptr<Sessions> sessions) : sessions_(std::move(sessions)) {}

  /// Reads the accounts of all who have sessions, if any account has changed since the last call. False when the
  /// database does not answer: the next call reads them. One thread at a time.
  [[nodiscard]] bool Refresh();

  /// Reads one user's account. A login calls this once its session is open: a change that came after the password was
  /// read then ends it, and one that comes later is known to whoever calls Refresh. Whoever has changed an account
  /// calls it so that the change counts at once.
  [[nodiscard]] bool RefreshUser(int user_id);

 private:
  bool Follow(const std::vector<int>& ids);

  const std::shared_ptr<Sessions> sessions_;
  /// Held from reading to following, so that what was read first is never followed last.
  std::mutex mutex_;

  /// Used by Refresh only: what the sessions are up to date with.
  std::string revision_;
};

/// A thread that refreshes `accounts` every two seconds until it is asked to stop, which cancels a refresh.
[[nodiscard]] std::jthread FollowAccounts(std::shared_ptr<AccountStates> accounts);

}  // namespace host
