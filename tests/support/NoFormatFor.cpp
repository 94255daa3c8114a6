#include "support/NoFormatFor.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

thread_local const char* refused = nullptr;

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library has reserved names.
extern "C" __attribute__((visibility("default"))) int vsnprintf(char* out, std::size_t size, const char* format,
                                                                va_list arguments) noexcept {
  if (refused != nullptr && std::strstr(format, refused) != nullptr) {
    errno = EOVERFLOW;
    return -1;
  }
  static const auto next = reinterpret_cast<decltype(&vsnprintf)>(dlsym(RTLD_NEXT, "vsnprintf"));
  return next(out, size, format, arguments);
}

namespace evidence_test {

NoFormatFor::NoFormatFor(const char* part) { refused = part; }

NoFormatFor::~NoFormatFor() { refused = nullptr; }

}  // namespace evidence_test
