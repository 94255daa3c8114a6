#pragma once

#include <string>

#include "FileIds.h"

namespace FileManager {

/// What an operator can set in FileManager.json.
struct Settings {
  /// "Connections": database connections, 1 to 1000.
  int connections = 4;
  /// "DeadlineSeconds": how long a statement may take, 1 to 60. What takes longer is undone and answered as failed.
  int deadline_s = 10;
  /// "RefusedFileIDs": files that this plugin refuses to link or unlink, so that a refusal can be tried out. A call
  /// that names one of them changes nothing. A list of numbers, or one number.
  FileIds refused_file_ids;
};

/// Reads the settings from `text`; absent keys keep their default, unknown ones are ignored. Returns "" or the fault;
/// `settings` must then be discarded.
[[nodiscard]] std::string ReadSettings(Settings& settings, const std::string& text);

/// ReadSettings on the file below the executable's folder. A missing file leaves the defaults.
[[nodiscard]] std::string ReadInstalledSettings(Settings& settings);

}  // namespace FileManager
