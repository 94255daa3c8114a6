#include "platform/Call.h"

#include <utility>

namespace platform {
namespace {

thread_local Call* current = nullptr;

}  // namespace

Call* Call::Current() { return current; }

CallScope::CallScope(Call& call) : outer_(std::exchange(current, &call)) {}

CallScope::~CallScope() { current = outer_; }

}  // namespace platform
