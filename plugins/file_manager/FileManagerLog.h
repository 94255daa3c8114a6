#pragma once

#include "OrvBase/Log.h"

namespace FileManager {

/// Key of this plugin at the database manager and the inter-plugin bus, and tag of its log lines.
inline constexpr char kPluginId[] = "filemanager.s";

using enum Orv::Base::LogLevel;

}  // namespace FileManager

/// Writes one log line; `text` is one literal.
#define FILE_MANAGER_LOG(level, ...)                                                    \
  do {                                                                                  \
    if (Orv::Base::details::IsLogLevelOn(level)) {                                      \
      Orv::Base::details::ITarnFormatLog(level, ::FileManager::kPluginId, __VA_ARGS__); \
    }                                                                                   \
  } while (false)
