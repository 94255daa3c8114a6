#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "TarnPlatform/Authentication.h"

namespace host {

/// The accounts of platform.users by id, remembered for a few seconds: a page of records asks for the same few again
/// and again. Any thread.
class Accounts {
 public:
  using Clock = std::chrono::steady_clock;

  /// How old an answer may be, one for an unknown id included.
  static constexpr std::chrono::seconds kLifetime{5};
  /// How many answers are remembered.
  static constexpr std::size_t kLimit = 1000;

  explicit Accounts(std::function<Clock::time_point()> now = &Clock::now) : now_(std::move(now)) {}

  /// 0, or with `out` emptied kUnknownUser or kUserNotRead. A failed read is not remembered.
  [[nodiscard]] int Query(std::shared_ptr<TarnPlatform::Authentication::CUserInfo>& out, int user_id);

  static constexpr int kUnknownUser = 202;
  static constexpr int kUserNotRead = 15;

 private:
  struct Entry {
    /// Null for an unknown id.
    std::shared_ptr<TarnPlatform::Authentication::CUserInfo> user;
    Clock::time_point read;
  };

  /// False when nothing fresh is remembered of `user_id`.
  bool Recall(Entry& entry, int user_id, Clock::time_point now);
  void Remember(int user_id, const Entry& entry);

  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  // Under mutex_:
  std::unordered_map<int, Entry> entries_;
};

}  // namespace host
