#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>

namespace host {

/// By when a client must have gone on with a body that streams: at first within a patience, which each byte prolongs by
/// its time at the least rate, never beyond that patience from now. So a byte now and then does not hold a stream, and
/// one that was fast for long has no more time than others. Not thread-safe.
class StreamPace {
 public:
  using Clock = std::chrono::steady_clock;
  struct Bounds {
    std::chrono::seconds patience;
    std::size_t bytes_per_second;
  };

  /// The deadline after `bytes` more have passed.
  [[nodiscard]] Clock::time_point After(std::size_t bytes, const Bounds& bounds, Clock::time_point now) {
    const std::chrono::duration<double> earned(static_cast<double>(bytes) /
                                               static_cast<double>(bounds.bytes_per_second));
    const auto longest = now + bounds.patience;
    const auto paused = now - paused_since_.value_or(now);
    paused_since_.reset();
    if (!deadline_) return *(deadline_ = longest);
    deadline_ = std::min(longest, *deadline_ + paused + std::chrono::duration_cast<Clock::duration>(earned));
    return *deadline_;
  }

  /// The other side is waited for, not the client: the time until the next bytes does not count. What is left of the
  /// patience stays as it is, as a client that is slow makes the other side wait often.
  void Pause(Clock::time_point now) {
    if (!paused_since_) paused_since_ = now;
  }

  /// Another body begins.
  void Restart() { *this = {}; }

 private:
  std::optional<Clock::time_point> deadline_;
  std::optional<Clock::time_point> paused_since_;
};

}  // namespace host
