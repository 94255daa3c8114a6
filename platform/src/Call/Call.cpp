#include "platform/Call.h"

#include <utility>

namespace platform {
namespace {

thread_local Call* current = nullptr;

}  // namespace

Call* Call::Current() { return current; }

void Call::Cancel() {
  if (kind_ != Kind::kReads) return;
  const std::lock_guard lock(mutex_);
  if (cancelled_.exchange(true)) return;
  for (const auto& action : actions_)
    action();
}

WhenCancelled::WhenCancelled(Call* call, std::function<void()> action) : call_(call) {
  if (call_ == nullptr) return;
  const std::lock_guard lock(call_->mutex_);
  place_ = call_->actions_.insert(call_->actions_.end(), std::move(action));
  if (call_->IsCancelled()) (*place_)();
}

WhenCancelled::~WhenCancelled() {
  if (call_ == nullptr) return;
  const std::lock_guard lock(call_->mutex_);
  call_->actions_.erase(place_);
}

CallScope::CallScope(Call& call) : outer_(std::exchange(current, &call)) {}

CallScope::~CallScope() { current = outer_; }

}  // namespace platform
