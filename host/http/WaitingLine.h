#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>

#include "http/WorkerPool.h"

namespace host {

/// What finds no place in the queue of a pool waits here for one: for a bounded time, clients in turn, the requests of
/// each in their order. That costs no thread, and no more than the connection that waits anyway. Thread-safe.
class WaitingLine {
 public:
  using Clock = std::chrono::steady_clock;

  struct Request {
    const WorkerPool* pool = nullptr;
    std::string client;
    /// Takes a place in the pool's queue; false when there is none. Called under this object's lock.
    std::function<bool()> submit;
    /// Called when no place came free in time; without a lock. Must not throw.
    std::function<void()> late;
  };

  explicit WaitingLine(std::chrono::milliseconds patience) : patience_(patience) {}

  /// Whether nobody waits: then a request need not come here before it has found the queue full.
  [[nodiscard]] bool IsEmpty() const { return waiting_ == 0; }

  /// How many wait.
  [[nodiscard]] std::size_t Length() const { return waiting_; }

  /// Submits the request unless one of its client waits before it; else it waits. Throws std::bad_alloc, with nothing
  /// submitted and nobody waiting.
  void Join(Request request);

  /// Called when a job of `pool` begins, which leaves a place in its queue, and when it ends. Does not throw: without
  /// memory those who wait go on waiting.
  void Advance(const WorkerPool* pool);

  /// Called now and then: ends the wait of those who are late.
  void Refuse(Clock::time_point now = Clock::now());

 private:
  struct Waiter {
    Request request;
    Clock::time_point deadline;
  };
  /// All of one client at one pool; never empty.
  struct Client {
    const WorkerPool* pool;
    std::string name;
    std::list<Waiter> waiters;
  };
  using Clients = std::list<Client>;

  Clients::iterator Find(const Request& request);
  void SubmitNext(const WorkerPool* pool);

  const std::chrono::milliseconds patience_;
  /// Counts one that is about to wait, too, so that the end of the last job before it does not pass it over.
  std::atomic<std::size_t> waiting_ = 0;
  std::mutex mutex_;
  /// Who is next is in front.
  Clients clients_;
};

}  // namespace host
