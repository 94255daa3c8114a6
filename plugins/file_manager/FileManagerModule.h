#pragma once

#include <optional>
#include <string>

#include "FileManagerSettings.h"
#include "store/FileService.h"

namespace FileManager {

/// The path under which other plugins report which files an evidence holds; messages in LinkMessages.h.
inline constexpr char kApiLinkFile[] = "/API/FileManager/V1/LinkFile";

/// The plugin: it owns the files and the links between them and evidences. Start and Stop are not thread-safe.
class CFileManagerModule {
 public:
  static CFileManagerModule& Instance();

  /// Reads the settings, creates the database pools and publishes kApiLinkFile. False, logged, when the settings are
  /// invalid, the database is unreachable, or the path is taken; what was done remains until Stop.
  [[nodiscard]] bool Start();

  /// Withdraws the path, which waits for calls in progress, and closes the pools. Skips what was not started.
  void Stop();

  /// The reply to one call; thread-safe while started.
  [[nodiscard]] std::string LinkFile(const std::string& request_text) const;

 private:
  Settings settings_;
  std::optional<FileService> files_;
  bool has_pools_ = false;
  bool is_published_ = false;
};

}  // namespace FileManager
