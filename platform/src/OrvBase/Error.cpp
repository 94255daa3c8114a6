#include "OrvBase/Error.h"

namespace Orv::Base::Error {
namespace {

thread_local ErrorCode last_error;

}  // namespace

void SetLastError(const ErrorCode& code) { last_error = code; }

ErrorCode GetLastError() { return last_error; }

}  // namespace Orv::Base::Error
