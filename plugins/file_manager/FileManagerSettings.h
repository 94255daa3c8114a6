#pragma once

#include <string>

#include "FileIds.h"

namespace FileManager {

/// What an operator can set in FileManager.json.
struct Settings {
  /// "Connections": database connections, 1 to 1000.
  int connections = 4;
  /// "RefusedFileIDs": files whose links this plugin neither makes nor takes back, so that a refusal can be tried out.
  /// A call that names one of them changes nothing. A list of numbers, or one number.
  FileIds refused_file_ids;
};

/// Reads the settings from `text`; keys that are not there keep their default, unknown ones are passed over. Returns ""
/// or why the text cannot be used, and then `settings` is to be thrown away.
[[nodiscard]] std::string ReadSettings(Settings& settings, const std::string& text);

/// ReadSettings on the file below the executable's folder. A missing file leaves the defaults.
[[nodiscard]] std::string ReadInstalledSettings(Settings& settings);

}  // namespace FileManager
