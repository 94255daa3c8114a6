#pragma once

#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace host {

/// A stop, from its signal to the end of the process, which it brings about itself when the stop takes too long,
/// whatever hangs. Its threads never end. Thread-safe.
class Stopping {
 public:
  /// The longest stop of a host whose requests have ended, and what is added to the time for these.
  static constexpr std::chrono::seconds kLongest{10};

  /// The process's one; first called before any signal matters, and before other threads are made: it blocks the
  /// signals that stop the host in all of them.
  static Stopping& Instance();

  /// Whether there was a signal to stop.
  [[nodiscard]] bool IsAsked();
  /// Waits for the first signal to stop; its number. A SIGHUP is none: it opens the log anew. From the signal on the
  /// process has kLongest to end.
  int Wait();

  /// The process has `after` and kLongest, counted from the signal.
  void Allow(std::chrono::seconds after);

  /// What is being done, for the log line of a stop that takes too long: "the plugin x". Before a stop, too.
  void Note(std::string what);
  /// Of the process when the stop takes too long; 0 until it is set.
  void SetExitCode(int code);

  /// Ends the process now, with what is queued of the log as far as it can be written.
  [[noreturn]] static void End(int code);

 private:
  using Clock = std::chrono::steady_clock;

  Stopping();
  int NextStop();
  void Run();
  void ReopenLog();

  sigset_t signals_{};
  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  int signal_ = 0;
  Clock::time_point begun_;
  std::chrono::seconds allowed_{0};
  std::string what_;
  int exit_code_ = 0;
  bool reopen_asked_ = false;
};

}  // namespace host
