#include "platform/LongStatements.h"

namespace platform {
namespace {

thread_local int scopes = 0;

}  // namespace

LongStatements::LongStatements() { ++scopes; }

LongStatements::~LongStatements() { --scopes; }

bool LongStatements::AreAllowed() { return scopes > 0; }

}  // namespace platform
