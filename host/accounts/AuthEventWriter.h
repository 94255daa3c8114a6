#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "accounts/AuthEvents.h"

namespace host {

/// Holds what refused tries add to the table: a client that goes on trying must not fill it. In each minute the first
/// few of an address are listed and a number of all; the others are counted. Not thread-safe.
class RefusalBudget {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr int kOfAddress = 10;
  static constexpr int kOfAll = 100;

  /// Whether one more of `client_address` is listed.
  [[nodiscard]] bool Takes(const std::string& client_address, Clock::time_point now);
  /// How many were only counted in the minute that ended before `now`; 0 while it lasts, and once it was asked.
  [[nodiscard]] long long TakeCounted(Clock::time_point now);

 private:
  bool IsOver(Clock::time_point now) const { return now - begin_ >= std::chrono::minutes(1); }

  Clock::time_point begin_{};
  std::map<std::string, int> listed_;
  int all_ = 0;
  long long counted_ = 0;
};

/// The thread that stores what NoteAuthEvent gets, so that no login waits for it; one at a time in a process. Events
/// wait in memory while the database is away, kMostWaiting at most: later ones are counted, and the count is stored. A
/// lost connection may store a few twice. Destruction stores what waits if the database answers.
class AuthEventWriter {
 public:
  static constexpr std::size_t kMostWaiting = 10'000;

  AuthEventWriter();
  ~AuthEventWriter();
  AuthEventWriter(const AuthEventWriter&) = delete;
  AuthEventWriter& operator=(const AuthEventWriter&) = delete;

 private:
  void Work(const std::stop_token& stop);

  /// Taken and not yet stored; of the thread while it runs.
  std::vector<AuthEvent> taken_;
  std::jthread thread_;
};

}  // namespace host
