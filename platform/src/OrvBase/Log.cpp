#include "OrvBase/Log.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "Backend.h"
#include "OrvBase/Error.h"
#include "OrvBase/Format.h"
#include "platform/SecretText.h"

namespace {

std::atomic<int> threshold{Orv::Base::kLogProgress};

/// Callers may log between a failed call and reading its error.
class FailureStateKeeper {
 public:
  FailureStateKeeper() = default;
  ~FailureStateKeeper() {
    Orv::Base::Error::SetLastError(last_error_);
    errno = errno_;
  }
  FailureStateKeeper(const FailureStateKeeper&) = delete;
  FailureStateKeeper& operator=(const FailureStateKeeper&) = delete;

 private:
  int errno_ = errno;
  Orv::Base::Error::ErrorCode last_error_ = Orv::Base::Error::GetLastError();
};

}  // namespace

void platform::SetLogThreshold(int level) { threshold.store(level, std::memory_order_relaxed); }

namespace Orv::Base::details {

bool IsLogLevelOn(int level) { return level >= threshold.load(std::memory_order_relaxed); }

void ITarnFormatLog(int level, const char* tag, const char* format, ...) {
  if (!IsLogLevelOn(level)) return;
  const FailureStateKeeper keeper;
  std::va_list arguments;
  va_start(arguments, format);
  try {
    if (const auto sink = platform::Slot<platform::ILogSink>::Get())
      sink->Write(level, tag, platform::SecretText::LeftOut(FormatList(format, arguments)));
  } catch (...) {
    // A line that cannot be written is lost: there is nowhere else to report it.
  }
  va_end(arguments);
}

}  // namespace Orv::Base::details
