#pragma once

#include <string>

#include "FileManagerSettings.h"

namespace FileManager {

/// The path under which other plugins tell which files an evidence holds; messages in LinkMessages.h.
inline constexpr char kApiLinkFile[] = "/API/FileManager/V1/LinkFile";

/// The plugin: it owns which files are linked to which evidence. Start and Stop on one thread, one after the other.
class CFileManagerModule {
 public:
  static CFileManagerModule& Instance();

  /// Reads the settings, makes the database pools and publishes kApiLinkFile. False, logged, when the settings cannot
  /// be used, the database is away, or the path is taken; what was done stays until Stop.
  [[nodiscard]] bool Start();

  /// Takes the path back, which waits for the calls inside, and closes the pools. Does nothing for what was not
  /// started.
  void Stop();

  /// The reply to one call; on any thread while started.
  [[nodiscard]] std::string LinkFile(const std::string& request_text) const;

 private:
  Settings settings_;
  bool has_pools_ = false;
  bool is_published_ = false;
};

}  // namespace FileManager
