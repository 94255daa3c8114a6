#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>
#include <unordered_map>

namespace host {

/// Shuts down connections whose request does not arrive completely in time. An inactivity timeout alone lets a client
/// hold a connection forever by sending a byte now and then. Thread-safe.
class ReadDeadlines {
 public:
  using Clock = std::chrono::steady_clock;

  ReadDeadlines();
  ~ReadDeadlines() = default;
  ReadDeadlines(const ReadDeadlines&) = delete;
  ReadDeadlines& operator=(const ReadDeadlines&) = delete;

  /// `fd` is shut down unless `Clear` is called within `time`; replaces an earlier deadline.
  void Set(int fd, std::chrono::seconds time);
  /// Must be called before `fd` is closed.
  void Clear(int fd);

 private:
  void Watch(const std::stop_token& stop);

  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::unordered_map<int, Clock::time_point> deadlines_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread watcher_;
};

}  // namespace host
