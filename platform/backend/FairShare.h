#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

namespace platform {

/// How much of something short one client may have: all of it while it is alone, half while others are there, so that
/// its requests, however many and slow, leave room for theirs. Not thread-safe.
class FairShare {
 public:
  using Clock = std::chrono::steady_clock;
  /// A client counts as there for so long after it has asked for something.
  static constexpr std::chrono::seconds kPresence{10};

  /// `client` asks for a part.
  void Note(const std::string& client, Clock::time_point now = Clock::now()) {
    if (client != latest_.client) other_ = std::exchange(latest_, {client, now});
    latest_.asked = now;
  }

  /// What `client` may have of `all`.
  [[nodiscard]] std::size_t Of(const std::string& client, std::size_t all, Clock::time_point now = Clock::now()) const {
    const Asked& other = client == latest_.client ? other_ : latest_;
    return now - other.asked < kPresence ? (all + 1) / 2 : all;
  }

 private:
  struct Asked {
    std::string client;
    Clock::time_point asked = Clock::time_point() - 2 * kPresence;
  };
  /// The last client, and the last before it that was another one.
  Asked latest_;
  Asked other_;
};

}  // namespace platform
