#include "platform/SmallRows.h"

namespace platform {
namespace {

thread_local int scopes = 0;

}  // namespace

SmallRows::SmallRows() { ++scopes; }

SmallRows::~SmallRows() { --scopes; }

bool SmallRows::AreExpected() { return scopes > 0; }

}  // namespace platform
