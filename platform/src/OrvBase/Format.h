#pragma once

#include <cstdarg>
#include <string>

namespace Orv::Base {

/// The formatted text, whatever its length; "" when it cannot be encoded or would be longer than INT_MAX bytes.
/// `arguments` is consumed.
std::string FormatList(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace Orv::Base
