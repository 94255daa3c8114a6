#pragma once

#include "OrvBase/Log.h"

namespace FileManager {

/// This plugin's key for the database manager and the inter-plugin bus, and the tag of its log lines.
inline constexpr char kPluginId[] = "filemanager.s";

using enum Orv::Base::LogLevel;

}  // namespace FileManager

/// Writes one log line; the arguments are a printf format literal and its values.
#define FILE_MANAGER_LOG(level, ...)                                                    \
  do {                                                                                  \
    if (Orv::Base::details::IsLogLevelOn(level)) {                                      \
      Orv::Base::details::ITarnFormatLog(level, ::FileManager::kPluginId, __VA_ARGS__); \
    }                                                                                   \
  } while (false)
