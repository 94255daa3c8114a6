#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Call.h"

namespace platform::database {

/// A fixed set of objects that callers borrow one at a time. When none is idle, callers wait and are served strictly in
/// FIFO order. Thread-safe. Always owned by a shared_ptr: a borrowed object keeps its pool alive.
template <class Object>
class FairPool : public std::enable_shared_from_this<FairPool<Object>> {
  using Clock = std::chrono::steady_clock;

  struct GiveBack {
    std::shared_ptr<FairPool> pool;
    void operator()(Object* object) const { pool->Return(std::unique_ptr<Object>(object)); }
  };

 public:
  /// A borrowed object, returned to the pool on destruction; empty when none was available.
  using Lease = std::unique_ptr<Object, GiveBack>;

  explicit FairPool(std::vector<std::unique_ptr<Object>> objects) : idle_(std::move(objects)) {}
  FairPool(const FairPool&) = delete;
  FairPool& operator=(const FairPool&) = delete;

  /// Waits at most `bound`, and no longer than until `call` (null for none) is cancelled. Empty on a timeout, for a
  /// cancelled call, and when the pool is closed.
  [[nodiscard]] Lease Take(std::chrono::milliseconds bound, Call* call = nullptr) {
    const auto deadline = Clock::now() + bound;
    {
      const std::lock_guard lock(mutex_);
      if (auto object = TakeIdle()) return Lend(std::move(object));
    }
    Waiter waiter;
    const WhenCancelled watch(call, [this, &waiter] {
      const std::lock_guard lock(mutex_);
      waiter.given_up = true;
      waiter.wake.notify_one();
    });
    std::unique_lock lock(mutex_);
    if (auto object = TakeIdle()) return Lend(std::move(object));
    const auto place = waiters_.insert(waiters_.end(), &waiter);
    waiter.wake.wait_until(lock, deadline, [&] { return waiter.served || waiter.given_up || closed_; });
    if (!waiter.served) waiters_.erase(place);
    return Lend(std::move(waiter.object));
  }

  /// Closes the pool: waiting callers get nothing, idle objects are destroyed, borrowed ones when they are returned.
  void Close() {
    std::vector<std::unique_ptr<Object>> idle;
    const std::lock_guard lock(mutex_);
    closed_ = true;
    idle.swap(idle_);
    for (Waiter* waiter : waiters_)
      waiter->wake.notify_one();
  }

  /// The number of waiting callers.
  [[nodiscard]] std::size_t Waiting() const {
    const std::lock_guard lock(mutex_);
    return waiters_.size();
  }

  /// How long callers have been waiting without one of them getting an object; 0 when none waits.
  [[nodiscard]] std::chrono::milliseconds StarvedFor() const {
    const std::lock_guard lock(mutex_);
    if (waiters_.empty()) return std::chrono::milliseconds(0);
    const auto since = std::max(waiters_.front()->since, last_served_);
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
  }

 private:
  struct Waiter {
    const Clock::time_point since = Clock::now();
    std::condition_variable wake;
    std::unique_ptr<Object> object;
    bool served = false;
    bool given_up = false;
  };

  /// Null when none is idle. While callers wait, none is: a returned object goes straight to the first of them.
  std::unique_ptr<Object> TakeIdle() {
    if (closed_ || idle_.empty()) return nullptr;
    auto object = std::move(idle_.back());
    idle_.pop_back();
    return object;
  }

  Lease Lend(std::unique_ptr<Object> object) {
    return object ? Lease(object.release(), GiveBack{this->shared_from_this()}) : Lease();
  }

  void Return(std::unique_ptr<Object> object) {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    if (waiters_.empty()) {
      // LIFO, so that connections beyond the number in use may never need to be opened.
      idle_.push_back(std::move(object));
      return;
    }
    Waiter& first = *waiters_.front();
    waiters_.pop_front();
    first.object = std::move(object);
    first.served = true;
    last_served_ = Clock::now();
    // Under the lock: the waiter is destroyed as soon as it sees that it was served.
    first.wake.notify_one();
  }

  mutable std::mutex mutex_;
  // Under mutex_:
  bool closed_ = false;
  std::vector<std::unique_ptr<Object>> idle_;
  std::list<Waiter*> waiters_;
  Clock::time_point last_served_;
};

}  // namespace platform::database
