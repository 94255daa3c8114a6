#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>
#include <unordered_map>

namespace host {

/// Cuts connections whose request does not arrive whole in time. A time-out on silence alone lets
/// a client hold a connection for ever by sending a byte now and then. Any thread.
class ReadDeadlines {
 public:
  using Clock = std::chrono::steady_clock;

  ReadDeadlines();
  ~ReadDeadlines() = default;
  ReadDeadlines(const ReadDeadlines&) = delete;
  ReadDeadlines& operator=(const ReadDeadlines&) = delete;

  /// `fd` is shut down when `Clear` does not come within `time`; replaces an earlier deadline.
  void Set(int fd, std::chrono::seconds time);
  /// Must be called before `fd` is closed.
  void Clear(int fd);

 private:
  void Watch(const std::stop_token& stop);

  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::unordered_map<int, Clock::time_point> deadlines_;
  /// Last, so that it ends before what it uses.
  std::jthread watcher_;
};

}  // namespace host
