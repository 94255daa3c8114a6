#pragma once

#include "OrvBase/Log.h"

namespace host {

using enum Orv::Base::LogLevel;

}  // namespace host

/// The host's own log lines, under the tag "host".
#define LogHost(level, ...)                                             \
  do {                                                                  \
    if (::Orv::Base::details::IsLogLevelOn(level)) {                    \
      ::Orv::Base::details::ITarnFormatLog(level, "host", __VA_ARGS__); \
    }                                                                   \
  } while (false)
