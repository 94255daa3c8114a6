#include "PluginLoader.h"

#include <dlfcn.h>

#include "HostLog.h"
#include "platform/Guard.h"

namespace host {
namespace {

/// Calls a plugin's function. "" when it returned true, else what it did instead.
std::string CallEntry(bool (*entry)()) {
  return platform::Guard(
      [entry] { return std::string(entry() ? "" : "gave false"); },
      [](const char* reason) { return reason != nullptr ? std::string("threw: ") + reason : std::string("threw"); });
}

}  // namespace

PluginLoader::~PluginLoader() {
  StopAll([](const std::string&) {});
}

bool PluginLoader::Start(const std::string& file, std::string& fault) {
  const auto refuse = [&](const std::string& reason) {
    fault = "plugin " + file + " refused: " + reason;
    LogHost(kLogFatal, "%s", fault.c_str());
    return false;
  };
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return refuse(dlerror());
  const auto init = reinterpret_cast<Entry>(dlsym(library, "Init"));
  const auto un_init = reinterpret_cast<Entry>(dlsym(library, "UnInit"));
  if (init == nullptr || un_init == nullptr) {
    dlclose(library);
    return refuse(init == nullptr ? "it exports no Init" : "it exports no UnInit");
  }
  paths_.BeginPlugin();
  routes_.BeginPlugin();
  const auto failure = CallEntry(init);
  if (failure.empty()) {
    started_.push_back({file, library, un_init});
    LogHost(kLogProgress, "plugin %s started", file.c_str());
    return true;
  }
  const auto second_failure = CallEntry(un_init);
  if (!second_failure.empty()) LogHost(kLogFailure, "plugin %s: UnInit %s", file.c_str(), second_failure.c_str());
  paths_.DropPlugin();
  routes_.DropPlugin();
  // The library stays mapped: it may have left threads or objects behind that still need its code.
  return refuse("Init " + failure);
}

void PluginLoader::StopAll(const std::function<void(const std::string& file)>& before) {
  for (; !started_.empty(); started_.pop_back()) {
    const auto& plugin = started_.back();
    before(plugin.file);
    const auto failure = CallEntry(plugin.un_init);
    if (failure.empty()) {
      LogHost(kLogProgress, "plugin %s stopped", plugin.file.c_str());
    } else {
      LogHost(kLogFailure, "plugin %s: UnInit %s", plugin.file.c_str(), failure.c_str());
    }
    // Stays mapped until the process ends: objects that the plugin handed out may be destroyed later than this.
  }
}

}  // namespace host
