#include "platform/RequestContext.h"

namespace platform {
namespace {

thread_local const RequestContext* current = nullptr;

}  // namespace

const RequestContext* RequestContext::Current() { return current; }

RequestScope::RequestScope(const RequestContext& context) : outer_(current) { current = &context; }

RequestScope::~RequestScope() { current = outer_; }

}  // namespace platform
