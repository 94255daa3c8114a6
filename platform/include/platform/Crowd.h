#pragma once

#include <cstddef>
#include <functional>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// A place among the threads that others may hold up: those that wait for a turn, and those that are inside another
/// plugin whose answer may be long in coming. There is a limited number of places, so that threads are left for what
/// needs none. Taken before anything is written; a thread that has a place shares it with all that it calls.
class PLATFORM_API CrowdPlace : public Orv::Base::CNoncopyable {
 public:
  /// Never waits. When no place is left, the call of this thread is marked as refused.
  CrowdPlace();
  /// Gives the place back, on the thread that took it.
  ~CrowdPlace();

  /// How many places there are; any number at first.
  static void Limit(std::size_t places);

  /// How many threads have a place.
  [[nodiscard]] static std::size_t Taken();
  /// Runs `action` (none when empty) whenever one more thread has a place, on that thread. It must not throw, and must
  /// not use places. What was set before does not run any more.
  static void WhenTaken(std::function<void()> action);

  [[nodiscard]] explicit operator bool() const { return granted_; }

 private:
  const bool granted_;
};

}  // namespace platform
