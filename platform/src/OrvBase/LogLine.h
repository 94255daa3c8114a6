#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "RealBackends.h"

namespace platform {

/// As text: "<UTC time with milliseconds>Z <level> <tag> <text>" with a line break at its end. A line break inside the
/// text is followed by a TAB; a text of more than 64 KiB is cut and marked as such. As JSON see JsonLogLine.h.
std::string LogLine(LogFormat format, int level, std::string_view tag, std::string_view text);

/// The line that tells how many lines were given up before `next`, which are such lines, with the time of the first.
std::string LossLine(LogFormat format, std::string_view next, std::size_t lost);

}  // namespace platform
