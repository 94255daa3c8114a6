#include "DeskModule.h"

#include "DeskLog.h"
#include "KelpPlatform/DBManager.h"
#include "ListRoute.h"
#include "RecordRoutes.h"
#include "Statistics.h"
#include "platform/HttpRoutes.h"

namespace desk {
namespace {

/// A request holds one for a statement of some milliseconds, between longer ones of the evidence plugin's.
constexpr int kConnections = 5;
// This plugin does not use the log class; 1 is the minimum.
constexpr int kLogConnections = 1;

}  // namespace

DeskModule& DeskModule::Instance() {
  static DeskModule instance;
  return instance;
}

bool DeskModule::Start() {
  const auto routes = platform::IHttpRoutes::Instance();
  if (!routes) {
    DESK_LOG(kLogFatal, "The host has no table of routes");
    return false;
  }
  has_pools_ = kelp::IDBManager::Instance()->Initialize(kPluginId, kConnections, kLogConnections, true);
  if (!has_pools_) {
    DESK_LOG(kLogFatal, "The database cannot be reached");
    return false;
  }
  if (!RegisterRecordRoutes(*routes) || !RegisterListRoute(*routes) || !Statistics::RegisterRoute(*routes)) {
    DESK_LOG(kLogFatal, "The routes cannot be registered");
    return false;
  }
  DESK_LOG(kLogProgress, "Started");
  return true;
}

void DeskModule::Stop() {
  if (has_pools_) kelp::IDBManager::Instance()->UnInitialize(kPluginId);
  has_pools_ = false;
}

}  // namespace desk
