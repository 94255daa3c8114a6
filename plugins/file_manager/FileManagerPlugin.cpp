#include "Barrier.h"
#include "FileManagerModule.h"

using FileManager::CFileManagerModule;

/// Starts the plugin; the host calls it once. False: the plugin must not be used, and UnInit may follow.
extern "C" __attribute__((visibility("default"))) bool Init() {
  return FileManager::GuardEdge([] { return CFileManagerModule::Instance().Start(); }, [] { return false; });
}

/// Stops the plugin, also one whose start failed; always true.
extern "C" __attribute__((visibility("default"))) bool UnInit() {
  FileManager::GuardEdge([] { CFileManagerModule::Instance().Stop(); }, [] {});
  FILE_MANAGER_LOG(FileManager::kLogProgress, "Stopped");
  return true;
}
