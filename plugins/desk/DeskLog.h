#pragma once

#include "OrvBase/Log.h"

namespace desk {

/// This plugin's key for the database manager, and the tag of its log lines.
inline constexpr char kPluginId[] = "desk.s";

using enum Orv::Base::LogLevel;

}  // namespace desk

/// Writes one log line; the arguments are a printf format literal and its values.
#define DESK_LOG(level, ...)                                                     \
  do {                                                                           \
    if (Orv::Base::details::IsLogLevelOn(level)) {                               \
      Orv::Base::details::ITarnFormatLog(level, ::desk::kPluginId, __VA_ARGS__); \
    }                                                                            \
  } while (false)
