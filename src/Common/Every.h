#pragma once

#include <chrono>

namespace Evidence {

/// Says when a long piece of work reports how far it is: once for each interval that has passed. For one thread.
class Every {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Every(Clock::duration interval) : interval_(interval) {}

  /// Whether an interval has passed since the start or since this was true last.
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
