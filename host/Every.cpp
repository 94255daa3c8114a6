#include "Every.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "HostLog.h"
#include "platform/Call.h"
#include "platform/Guard.h"

namespace host {

std::jthread Every(std::chrono::seconds interval, std::string what, std::function<void()> refresh) {
  return std::jthread([=, what = std::move(what), refresh = std::move(refresh)](const std::stop_token& stop) {
    platform::Call call(platform::Call::Kind::kReads);
    const platform::CallScope scope(call);
    const std::stop_callback cancel(stop, [&call] { call.Cancel(); });
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    while (!wake.wait_for(lock, stop, interval, [&stop] { return stop.stop_requested(); })) {
      // The database layer logs why a statement fails; the next one may succeed.
      platform::Guard(refresh, [&what](const char* reason) {
        LogHost(kLogFailure, "%s cannot be read: %s", what.c_str(), reason ? reason : "unknown");
      });
    }
  });
}

}  // namespace host
