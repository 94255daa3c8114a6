#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Backends.h"
#include "http/RouteTable.h"

namespace host {

/// Starts and stops plugins: shared libraries that export `extern "C" bool Init()` and `extern "C" bool UnInit()`. Not
/// thread-safe.
class PluginLoader {
 public:
  PluginLoader(RouteLedger& paths, RouteTable& routes) : paths_(paths), routes_(routes) {}
  /// Stops the plugins still running.
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  /// Loads the library and calls Init. False, with `fault` as one line, when the plugin is refused: it cannot be
  /// loaded, lacks one of the two functions, or its Init returns false or throws. A refused plugin's UnInit has been
  /// called if its Init was, and its routes are removed.
  [[nodiscard]] bool Start(const std::string& file, std::string& fault);

  /// Calls UnInit of the started plugins, in reverse order of their start, and `before` with each one's file ahead of
  /// it. No request may still be inside a plugin.
  void StopAll(const std::function<void(const std::string& file)>& before);

 private:
  using Entry = bool (*)();
  struct Plugin {
    std::string file;
    void* library;
    Entry un_init;
  };

  RouteLedger& paths_;
  RouteTable& routes_;
  std::vector<Plugin> started_;
};

}  // namespace host
