#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace evidence_test {

/// The sanitizers reserve more address space than any limit leaves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kAddressSpaceCanBeLimited = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kAddressSpaceCanBeLimited = false;
#else
inline constexpr bool kAddressSpaceCanBeLimited = true;
#endif
#else
inline constexpr bool kAddressSpaceCanBeLimited = true;
#endif

/// Leaves this process `bytes` of address space more than it has. For death tests, which end with it.
inline void LeaveAddressSpace(std::size_t bytes) {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t most = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
  const rlimit limit{most, most};
  setrlimit(RLIMIT_AS, &limit);
}

}  // namespace evidence_test
