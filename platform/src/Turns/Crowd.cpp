#include "platform/Crowd.h"

#include <atomic>
#include <limits>
#include <mutex>
#include <utility>

#include "platform/Call.h"

namespace platform {
namespace {

/// Places of this thread, one within the other.
thread_local std::size_t depth = 0;

struct Crowd {
  /// Read without the mutex by those that hold locks of their own.
  std::atomic<std::size_t> taken = 0;
  std::mutex mutex;
  // Guarded by mutex:
  std::size_t most = std::numeric_limits<std::size_t>::max();
  std::function<void()> when_taken;
};

/// Never destroyed: a thread that outlives main may still give its place back.
Crowd& TheCrowd() {
  static auto* const crowd = new Crowd();
  return *crowd;
}

bool Take() {
  if (depth == 0) {
    Crowd& crowd = TheCrowd();
    const std::lock_guard lock(crowd.mutex);
    if (crowd.taken >= crowd.most) {
      if (Call* const call = Call::Current()) call->RefuseAsBusy();
      return false;
    }
    ++crowd.taken;
    if (crowd.when_taken) crowd.when_taken();
  }
  ++depth;
  return true;
}

}  // namespace

CrowdPlace::CrowdPlace() : granted_(Take()) {}

CrowdPlace::~CrowdPlace() {
  if (!granted_ || --depth != 0) return;
  Crowd& crowd = TheCrowd();
  const std::lock_guard lock(crowd.mutex);
  --crowd.taken;
}

void CrowdPlace::Limit(std::size_t places) {
  Crowd& crowd = TheCrowd();
  const std::lock_guard lock(crowd.mutex);
  crowd.most = places;
}

std::size_t CrowdPlace::Taken() { return TheCrowd().taken; }

void CrowdPlace::WhenTaken(std::function<void()> action) {
  Crowd& crowd = TheCrowd();
  const std::lock_guard lock(crowd.mutex);
  crowd.when_taken = std::move(action);
}

}  // namespace platform
