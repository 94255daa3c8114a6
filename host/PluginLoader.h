#pragma once

#include <string>
#include <vector>

#include "Backends.h"

namespace host {

/// Starts and stops plugins: shared libraries that export `extern "C" bool Init()` and `extern "C" bool
/// UnInit()`. Used from one thread.
class PluginLoader {
 public:
  explicit PluginLoader(RouteLedger& routes) : routes_(routes) {}
  /// Stops what still runs.
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  /// Loads the library and calls Init. False, with `fault` as one line, when the plugin is refused: it cannot be
  /// loaded, lacks one of the two functions, or its Init gives false or throws. A refused plugin's UnInit has been
  /// called if its Init was, and its routes are gone.
  [[nodiscard]] bool Start(const std::string& file, std::string& fault);

  /// Calls UnInit of the started plugins, last one first. No request may be inside a plugin any more.
  void StopAll();

 private:
  using Entry = bool (*)();
  struct Plugin {
    std::string file;
    void* library;
    Entry un_init;
  };

  RouteLedger& routes_;
  std::vector<Plugin> started_;
};

}  // namespace host
