#pragma once

#include <chrono>

namespace Evidence {

/// Decides when a long operation reports its progress: once per interval. For one thread.
class Every {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Every(Clock::duration interval) : interval_(interval) {}

  /// Whether an interval has passed since construction or since the last call that returned true.
  [[nodiscard]] bool IsDue() {
    const auto now = Clock::now();
    if (now - last_ < interval_) return false;
    last_ = now;
    return true;
  }

 private:
  const Clock::duration interval_;
  Clock::time_point last_ = Clock::now();
};

}  // namespace Evidence
