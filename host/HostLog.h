#pragma once

#include "OrvBase/Log.h"

/// The host's own log lines, under the tag "host"; levels as in OrvBase/Log.h.
#define LogHost(level, ...)                                             \
  do {                                                                  \
    if (::Orv::Base::details::IsLogLevelOn(level)) {                    \
      ::Orv::Base::details::ITarnFormatLog(level, "host", __VA_ARGS__); \
    }                                                                   \
  } while (false)
