#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <unordered_map>

namespace host {

/// Shuts down connections whose request does not arrive completely in time. An inactivity timeout alone lets a client
/// hold a connection forever by sending a byte now and then. Thread-safe.
class ReadDeadlines {
 public:
  using Clock = std::chrono::steady_clock;

  /// Since when a connection has no request.
  enum class Since { kOpened, kAnswered };
  struct IdleTimes {
    /// Within which a head must have arrived.
    std::chrono::seconds whole;
    /// The same from the first byte of one on, as far as that is seen: the bytes are not read here but counted, once a
    /// second. Those of a TLS handshake count, too.
    std::chrono::seconds head;
  };

  ReadDeadlines();
  ~ReadDeadlines() = default;
  ReadDeadlines(const ReadDeadlines&) = delete;
  ReadDeadlines& operator=(const ReadDeadlines&) = delete;

  /// `fd` is shut down unless `Clear` is called within `time`; replaces an earlier deadline.
  void Set(int fd, std::chrono::seconds time) { Set(fd, Clock::now() + time); }
  void Set(int fd, Clock::time_point at);
  /// The same for a connection that has no request yet.
  void SetIdle(int fd, Since since, IdleTimes times);
  /// Must be called before `fd` is closed.
  void Clear(int fd);

 private:
  struct Deadline {
    Clock::time_point at;
    /// Bytes received before the head, while none of the head has been seen.
    std::optional<std::uint64_t> received_before;
    std::chrono::seconds head;
  };

  void Watch(const std::stop_token& stop);
  static bool IsLate(int fd, Deadline& deadline, Clock::time_point now);

  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::unordered_map<int, Deadline> deadlines_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread watcher_;
};

}  // namespace host
