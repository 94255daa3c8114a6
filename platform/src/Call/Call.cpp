#include "platform/Call.h"

#include <algorithm>
#include <new>
#include <utility>

#include "OrvBase/Log.h"

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

bool Call::TakeMemory(std::size_t bytes) {
  if (memory_ == nullptr) return true;
  if (kind_ == Kind::kWrites || HasWritten()) {
    memory_->Take(bytes);
    return true;
  }
  if (memory_->TryTake(bytes)) return true;
  if (!refused_for_memory_.exchange(true)) {
    Orv::Base::details::ITarnFormatLog(
        Orv::Base::kLogFailure, "platform",
        "A read was ended: it holds %zu bytes, and memory_mb leaves no room for %zu more", memory_->held(), bytes);
  }
  return false;
}

bool Call::TakeMemoryToWrite(std::size_t bytes) {
  if (memory_ == nullptr) return true;
  constexpr auto kLarge = MemoryBudget::Size::kLarge;
  const auto most = MemoryBudget::Process().Most(kLarge);
  if (memory_->TryTake(std::min(bytes, most - std::min(most, memory_->held())), kLarge)) return true;
  RefuseAsBusy();
  return false;
}

void Call::GiveMemory(std::size_t bytes) {
  if (memory_ != nullptr) memory_->Give(bytes);
}

void NeedMemory(std::size_t bytes) {
  auto* const call = Call::Current();
  if (call != nullptr && !call->TakeMemory(bytes)) throw std::bad_alloc();
}

CallScope::CallScope(Call& call) : outer_(std::exchange(current, &call)) {}

CallScope::~CallScope() { current = outer_; }

}  // namespace platform
