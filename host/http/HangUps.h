#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace host {

/// Watches connections that nobody reads from: whether their clients are still there. One thread for all. Thread-safe.
class HangUps {
 public:
  enum class Sign {
    /// The client sends no more: it may have closed the connection, or only its own side of it.
    kEndOfStream,
    /// Nothing reaches the client any more.
    kGone,
  };
  using Reader = std::function<void(Sign)>;
  /// Names one watched connection.
  using Ticket = std::uint64_t;

  HangUps();
  ~HangUps();
  HangUps(const HangUps&) = delete;
  HangUps& operator=(const HangUps&) = delete;

  /// Calls `reader` once for each sign of `fd`, on this object's thread, from now on. A connection that cannot be
  /// watched is logged; its ticket is valid.
  Ticket Watch(int fd, Reader reader);
  /// Called before `fd` is closed. A reader that has just been called may still run; nothing is called afterwards.
  void Unwatch(Ticket ticket);

  /// Makes a client of HTTP/1.1 that has closed the connection show it, by an interim answer: its side then resets the
  /// connection, which is the sign kGone. One that has closed its own side only passes over such answers (RFC 9110,
  /// 15.2). Called on a connection on which nothing else is being sent.
  static void Ask(int fd);

 private:
  struct Watched {
    int fd;
    std::shared_ptr<const Reader> reader;
  };

  void Run();
  void Handle(Ticket ticket, std::uint32_t events);

  const int epoll_;
  /// Readable when this object ends.
  const int end_;
  std::mutex mutex_;
  // Guarded by mutex_:
  Ticket last_ = 0;
  std::unordered_map<Ticket, Watched> watched_;
  /// Last, so that it starts when all else is there.
  std::thread thread_;
};

}  // namespace host
