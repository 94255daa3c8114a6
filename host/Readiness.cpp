#include "Readiness.h"

#include <utility>

#include "platform/Call.h"
#include "platform/Guard.h"

namespace host {
namespace {

constexpr std::chrono::seconds kRemembered{1};
constexpr std::chrono::milliseconds kLongestProbe{700};
/// Callers that wait so long, while none is served, are as good as refused.
constexpr std::chrono::seconds kStarved{3};

}  // namespace

Readiness::Readiness(Parts parts)
    : parts_(std::move(parts)), prober_([this](const std::stop_token& stop) { Run(stop); }) {}

bool Readiness::IsReady() {
  if (parts_.starved_for() >= kStarved) return false;
  std::unique_lock lock(mutex_);
  const auto now = Clock::now();
  if (known_since_ && now - *known_since_ < kRemembered) return ready_;
  if (!probing_since_) {
    probing_since_ = now;
    changed_.notify_all();
  }
  if (!changed_.wait_until(lock, *probing_since_ + kLongestProbe, [this] { return !probing_since_; })) {
    // Remembered, too: those who ask next do not wait for this probe again.
    ready_ = false;
    known_since_ = Clock::now();
  }
  return ready_;
}

void Readiness::Run(const std::stop_token& stop) {
  platform::Call call(platform::Call::Kind::kReads);
  const platform::CallScope scope(call);
  const std::stop_callback cancel(stop, [&call] { call.Cancel(); });
  std::unique_lock lock(mutex_);
  while (changed_.wait(lock, stop, [this] { return probing_since_.has_value(); })) {
    lock.unlock();
    const bool ready = platform::Guard(parts_.probe, [](const char* /*reason*/) { return false; });
    lock.lock();
    ready_ = ready;
    known_since_ = Clock::now();
    probing_since_.reset();
    changed_.notify_all();
  }
}

}  // namespace host
