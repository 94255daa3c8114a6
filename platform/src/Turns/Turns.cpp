#include "platform/Turns.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/Crowd.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

/// One id: who has the turn, and who waits for it.
struct Place {
  std::thread::id owner;
  /// Turns of the owner at this id, one within the other.
  int depth = 0;
  std::list<std::condition_variable*> waiting;
};

class Places {
 public:
  using Key = std::pair<TurnKind, std::int64_t>;

  [[nodiscard]] bool Take(const Key& key, Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    // Kept while somebody owns it or waits for it.
    Place& place = places_[key];
    if (place.depth == 0 && place.waiting.empty()) return Own(place);
    if (place.owner == std::this_thread::get_id()) return Own(place);
    const CrowdPlace crowd_place;
    if (!crowd_place) return false;
    std::condition_variable wake;
    const auto mine = place.waiting.insert(place.waiting.end(), &wake);
    const bool mine_now =
        wake.wait_until(lock, deadline, [&] { return place.depth == 0 && place.waiting.front() == &wake; });
    place.waiting.erase(mine);
    if (mine_now) return Own(place);
    WakeNext(key, place);
    return false;
  }

  void GiveBack(const Key& key) {
    const std::lock_guard lock(mutex_);
    Place& place = places_.find(key)->second;
    if (--place.depth != 0) return;
    place.owner = {};
    WakeNext(key, place);
  }

 private:
  static bool Own(Place& place) {
    place.owner = std::this_thread::get_id();
    ++place.depth;
    return true;
  }

  /// Wakes the thread that waited longest; removes a place that has no owner and no waiters.
  void WakeNext(const Key& key, Place& place) {
    if (place.depth != 0) return;
    if (place.waiting.empty()) {
      places_.erase(key);
    } else {
      place.waiting.front()->notify_one();
    }
  }

  std::mutex mutex_;
  std::map<Key, Place> places_;  ///< guarded by mutex_
};

/// Never destroyed: a thread that outlives main may still end its turn.
Places& AllPlaces() {
  static auto* const places = new Places();
  return *places;
}

}  // namespace

Turn::Turn(TurnKind kind, std::vector<std::int64_t> ids, std::chrono::milliseconds patience)
    : kind_(kind), ids_(std::move(ids)) {
  std::ranges::sort(ids_);
  ids_.erase(std::unique(ids_.begin(), ids_.end()), ids_.end());
  const auto deadline = Clock::now() + patience;
  std::size_t taken = 0;
  try {
    while (taken < ids_.size() && AllPlaces().Take({kind_, ids_[taken]}, deadline))
      ++taken;
  } catch (...) {
    GiveBack(taken);
    throw;
  }
  granted_ = taken == ids_.size();
  if (!granted_) GiveBack(taken);
}

Turn::~Turn() {
  if (granted_) GiveBack(ids_.size());
}

void Turn::GiveBack(std::size_t count) noexcept {
  for (std::size_t n = count; n > 0; --n)
    AllPlaces().GiveBack({kind_, ids_[n - 1]});
}

}  // namespace platform
