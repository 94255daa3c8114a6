#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "TarnPlatform/Authentication.h"

namespace host {

/// Cache of the accounts in platform.users by id, for a few seconds: one page of records looks up the same few again
/// and again. Thread-safe.
class Accounts {
 public:
  using Clock = std::chrono::steady_clock;

  /// Maximum age of an answer, including one for an unknown id.
  static constexpr std::chrono::seconds kLifetime{5};
  /// Maximum number of cached answers.
  static constexpr std::size_t kLimit = 1000;

  explicit Accounts(std::function<Clock::time_point()> now = &Clock::now) : now_(std::move(now)) {}

  /// 0, or with `out` emptied kUnknownUser or kUserNotRead. A failed read is not cached.
  [[nodiscard]] int Query(std::shared_ptr<TarnPlatform::Authentication::CUserInfo>& out, int user_id);

  static constexpr int kUnknownUser = 202;
  static constexpr int kUserNotRead = 15;

 private:
  struct Entry {
    /// Null for an unknown id.
    std::shared_ptr<TarnPlatform::Authentication::CUserInfo> user;
    Clock::time_point read;
  };

  /// False when the cache has no fresh entry for `user_id`.
  bool Recall(Entry& entry, int user_id, Clock::time_point now);
  void Remember(int user_id, const Entry& entry);

  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  // Under mutex_:
  std::unordered_map<int, Entry> entries_;
};

}  // namespace host
