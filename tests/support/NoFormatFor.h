#pragma once

namespace evidence_test {

/// While it lives, no text is formatted on this thread whose format holds `part`: the C library gives up as it does for
/// a text of more than INT_MAX bytes. Needs NoFormatFor.cpp among the sources of the test program, which replaces
/// vsnprintf there.
class NoFormatFor {
 public:
  explicit NoFormatFor(const char* part);
  ~NoFormatFor();
  NoFormatFor(const NoFormatFor&) = delete;
  NoFormatFor& operator=(const NoFormatFor&) = delete;
};

}  // namespace evidence_test
