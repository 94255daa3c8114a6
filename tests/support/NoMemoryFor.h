#pragma once

#include <cstddef>

namespace evidence_test {

/// While it lives, `new` has no memory for objects of `bytes` and more on this thread. Needs NoMemoryFor.cpp among the
/// sources of the test program, which replaces `new` there.
class NoMemoryFor {
 public:
  explicit NoMemoryFor(std::size_t bytes);
  ~NoMemoryFor();
  NoMemoryFor(const NoMemoryFor&) = delete;
  NoMemoryFor& operator=(const NoMemoryFor&) = delete;

  /// Whether such an object was asked for.
  [[nodiscard]] bool WasAskedFor() const;
};

}  // namespace evidence_test
