#include "Barrier.h"
#include "DeskModule.h"

using desk::DeskModule;

/// Starts the plugin; the host calls it once. False: the plugin must not be used, and UnInit may follow.
extern "C" __attribute__((visibility("default"))) bool Init() {
  return desk::GuardEdge([] { return DeskModule::Instance().Start(); }, [] { return false; });
}

/// Stops the plugin, also one whose start failed; always true.
extern "C" __attribute__((visibility("default"))) bool UnInit() {
  desk::GuardEdge([] { DeskModule::Instance().Stop(); }, [] {});
  DESK_LOG(desk::kLogProgress, "Stopped");
  return true;
}
