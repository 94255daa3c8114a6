#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "FairShare.h"
#include "platform/Call.h"

namespace platform::database {

/// A fixed set of objects that callers borrow one at a time. When none is idle, or a caller's client has its share of
/// them, callers wait and are served in the order in which they came, except those whose client has its share.
/// Thread-safe. Always owned by a shared_ptr: a borrowed object keeps its pool alive.
template <class Object>
class FairPool : public std::enable_shared_from_this<FairPool<Object>> {
  using Clock = std::chrono::steady_clock;

  /// Who has objects, or waits for one.
  struct Client {
    std::size_t lent = 0;
    std::size_t waiting = 0;
  };
  using Clients = std::map<std::string, Client>;
  using Place = typename Clients::iterator;

  struct GiveBack {
    std::shared_ptr<FairPool> pool;
    Place client;
    void operator()(Object* object) const { pool->Return(std::unique_ptr<Object>(object), client); }
  };

 public:
  /// A borrowed object, returned to the pool on destruction; empty when none was available.
  using Lease = std::unique_ptr<Object, GiveBack>;

  explicit FairPool(std::vector<std::unique_ptr<Object>> objects) : size_(objects.size()), idle_(std::move(objects)) {}
  FairPool(const FairPool&) = delete;
  FairPool& operator=(const FairPool&) = delete;

  /// Waits at most `bound`, and no longer than until `call` (null for none) is cancelled. Empty on a timeout, for a
  /// cancelled call, and when the pool is closed. The client "" is the system, which has no share to exceed.
  [[nodiscard]] Lease Take(std::chrono::milliseconds bound, const std::string& name = {}, Call* call = nullptr) {
    const auto deadline = Clock::now() + bound;
    {
      const std::lock_guard lock(mutex_);
      if (!name.empty()) share_.Note(name);
      const auto client = clients_.try_emplace(name).first;
      if (auto lease = TakeIdle(client)) return lease;
      DropIfGone(client);
    }
    Waiter waiter;
    const WhenCancelled watch(call, [this, &waiter] {
      const std::lock_guard lock(mutex_);
      waiter.given_up = true;
      waiter.wake.notify_one();
    });
    std::unique_lock lock(mutex_);
    const auto client = waiter.client = clients_.try_emplace(name).first;
    if (auto lease = TakeIdle(client)) return lease;
    const auto place = waiters_.insert(waiters_.end(), &waiter);
    ++client->second.waiting;
    waiter.wake.wait_until(lock, deadline, [&] { return waiter.lease || waiter.given_up || closed_; });
    --client->second.waiting;
    if (!waiter.lease) waiters_.erase(place);
    DropIfGone(client);
    return std::move(waiter.lease);
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

  /// The number of objects, idle and borrowed.
  [[nodiscard]] std::size_t Size() const { return size_; }

  /// Objects of one or more pools, and callers that wait for one.
  struct Counts {
    std::size_t idle = 0;
    std::size_t used = 0;
    std::size_t waiting = 0;

    Counts& operator+=(const Counts& more) {
      idle += more.idle;
      used += more.used;
      waiting += more.waiting;
      return *this;
    }
  };
  [[nodiscard]] Counts Count() const {
    const std::lock_guard lock(mutex_);
    return {idle_.size(), size_ - idle_.size(), waiters_.size()};
  }

  /// How long callers have been waiting without one of them getting an object; 0 when none waits, and while an object
  /// is idle, as those that wait then have their share.
  [[nodiscard]] std::chrono::milliseconds StarvedFor() const {
    const std::lock_guard lock(mutex_);
    if (waiters_.empty() || !idle_.empty()) return std::chrono::milliseconds(0);
    const auto since = std::max(waiters_.front()->since, last_served_);
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
  }

 private:
  struct Waiter {
    Place client;
    const Clock::time_point since = Clock::now();
    std::condition_variable wake;
    Lease lease;
    bool given_up = false;
  };

  /// Empty when none is idle, or `client` has its share. A caller that finds one does not overtake those that wait:
  /// they wait for their client's share.
  Lease TakeIdle(Place place) {
    auto& [name, client] = *place;
    if (closed_ || idle_.empty()) return Lease();
    if (!name.empty() && client.lent >= share_.Of(name, size_)) return Lease();
    ++client.lent;
    auto object = std::move(idle_.back());
    idle_.pop_back();
    return Lease(object.release(), GiveBack{this->shared_from_this(), place});
  }

  void DropIfGone(Place place) {
    if (place->second.lent == 0 && place->second.waiting == 0) clients_.erase(place);
  }

  // Allocates nothing: it must not fail.
  void Return(std::unique_ptr<Object> object, Place client) {
    const std::lock_guard lock(mutex_);
    --client->second.lent;
    DropIfGone(client);
    if (closed_) return;
    // LIFO, so that connections beyond the number in use may never need to be opened.
    idle_.push_back(std::move(object));
    ServeWaiters();
  }

  void ServeWaiters() {
    for (auto place = waiters_.begin(); place != waiters_.end() && !idle_.empty();) {
      Waiter& waiter = **place;
      waiter.lease = TakeIdle(waiter.client);
      if (!waiter.lease) {
        ++place;
        continue;
      }
      place = waiters_.erase(place);
      last_served_ = Clock::now();
      // Under the lock: the waiter is destroyed as soon as it sees that it was served.
      waiter.wake.notify_one();
    }
  }

  const std::size_t size_;
  mutable std::mutex mutex_;
  // Under mutex_:
  bool closed_ = false;
  FairShare share_;
  Clients clients_;
  std::vector<std::unique_ptr<Object>> idle_;
  std::list<Waiter*> waiters_;
  Clock::time_point last_served_;
};

}  // namespace platform::database
