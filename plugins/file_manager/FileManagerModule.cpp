#include "FileManagerModule.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>

#include "Barrier.h"
#include "FileManagerLog.h"
#include "KelpPlatform/DBManager.h"
#include "LinkMessages.h"
#include "LinkStore.h"
#include "plugin_comm/PluginCommManager.h"

namespace FileManager {
namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;

// This plugin does not use the log class; 1 is the minimum.
constexpr int kLogConnections = 1;

std::string TextOf(const std::shared_ptr<IPluginCommData>& request) {
  const auto data = std::dynamic_pointer_cast<CPluginCommData>(request);
  return data ? data->JsonTxt() : std::string();
}

FileIds InBoth(const FileIds& some, const FileIds& others) {
  FileIds common;
  std::ranges::set_intersection(some, others, std::inserter(common, common.end()));
  return common;
}

}  // namespace

CFileManagerModule& CFileManagerModule::Instance() {
  static CFileManagerModule instance;
  return instance;
}

bool CFileManagerModule::Start() {
  settings_ = {};
  const auto fault = ReadInstalledSettings(settings_);
  if (!fault.empty()) {
    FILE_MANAGER_LOG(kLogFatal, "Settings refused: %s", fault.c_str());
    return false;
  }
  has_pools_ = kelp::IDBManager::Instance()->Initialize(kPluginId, settings_.connections, kLogConnections, true);
  if (!has_pools_) {
    FILE_MANAGER_LOG(kLogFatal, "The database cannot be reached");
    return false;
  }
  // Without a host's table of routes there are only links.
  if (platform::IHttpRoutes::Instance() && !files_.emplace().Start()) return false;
  const auto serve = [this](const std::string&, const std::shared_ptr<IPluginCommData>& request,
                            std::shared_ptr<IPluginCommData>& response) {
    const auto reply = GuardEdge([&] { return LinkFile(TextOf(request)); }, [] { return EncodeReply(kUnexpected); });
    response = std::make_shared<CPluginCommData>(reply, nullptr, 0);
  };
  is_published_ = plugin_comm::IPluginCommManager::Instance()->PublishApi(kPluginId, kApiLinkFile, serve);
  if (!is_published_) {
    FILE_MANAGER_LOG(kLogFatal, "%s cannot be published", kApiLinkFile);
    return false;
  }
  FILE_MANAGER_LOG(kLogProgress, "Started; %zu file ids are refused", settings_.refused_file_ids.size());
  return true;
}

void CFileManagerModule::Stop() {
  if (is_published_ && !plugin_comm::IPluginCommManager::Instance()->RecoverApi(kPluginId, kApiLinkFile)) {
    FILE_MANAGER_LOG(kLogFailure, "%s cannot be taken back", kApiLinkFile);
  }
  is_published_ = false;
  files_.reset();
  if (has_pools_) kelp::IDBManager::Instance()->UnInitialize(kPluginId);
  has_pools_ = false;
}

std::string CFileManagerModule::LinkFile(const std::string& request_text) const {
  LinkRequest request;
  if (!DecodeLinkRequest(request, request_text)) {
    FILE_MANAGER_LOG(kLogFailure, "A link request cannot be read");
    return EncodeReply(kUnreadable);
  }
  // The caller treats a call with a refused file as failed, so the other files are left unchanged as well.
  FileIds refused = InBoth(request.file_ids, settings_.refused_file_ids);
  // Taking off is never refused for what has become of a file.
  const bool is_link = request.operation == Operation::kLink;
  if (is_link && files_ && !files_->Unlinkable(refused, request.file_ids)) {
    FILE_MANAGER_LOG(kLogFailure, "It is not known whether the files of evidence %d are whole", request.evidence_id);
    return EncodeReply(kNotStored);
  }
  if (!refused.empty()) request.file_ids.clear();
  if (!LinkStore::Apply(request, std::chrono::seconds(settings_.deadline_s))) {
    FILE_MANAGER_LOG(kLogFailure, "The links of evidence %d cannot be stored", request.evidence_id);
    return EncodeReply(kNotStored);
  }
  FILE_MANAGER_LOG(kLogTrace, "Evidence %d: operation %d on %zu files, %zu refused", request.evidence_id,
                   static_cast<int>(request.operation), request.file_ids.size(), refused.size());
  return refused.empty() ? EncodeReply(kDone) : EncodeRefusedReply(refused);
}

}  // namespace FileManager
