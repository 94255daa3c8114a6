#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

namespace host {

/// Whether the host can serve: asked often, it asks the database at most once a second, on a thread of its own.
/// Thread-safe.
class Readiness {
 public:
  struct Parts {
    /// Whether the database answers; may take as long as it likes.
    std::function<bool()> probe;
    /// How long requests have been waiting, for a worker or a connection, without one of them getting it; does not
    /// block.
    std::function<std::chrono::milliseconds()> starved_for;
  };

  explicit Readiness(Parts parts);
  /// Cancels a probe under way and waits for its end.
  ~Readiness() = default;
  Readiness(const Readiness&) = delete;
  Readiness& operator=(const Readiness&) = delete;

  /// Answers within a second. False also while a probe does not come back.
  [[nodiscard]] bool IsReady();

 private:
  using Clock = std::chrono::steady_clock;

  void Run(const std::stop_token& stop);

  const Parts parts_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  // Guarded by mutex_:
  bool ready_ = false;
  std::optional<Clock::time_point> known_since_;
  std::optional<Clock::time_point> probing_since_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread prober_;
};

}  // namespace host
