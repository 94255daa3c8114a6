#include "impl/Evidence/EvidenceManager.h"

#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/ThreadManager.h"
#include "TarnPlatform/System.h"
#include "impl/Evidence/BuiltInEntries.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"

namespace Evidence {
namespace {

constexpr std::int32_t kUploadThreadCount = 25;
constexpr char kUploadLoopSuffix[] = ".upload_mobile_task";

}  // namespace

CEvidenceManager::CEvidenceManager() : CEvidenceManager(std::make_shared<CEvidenceMgrDBByPG>()) {}

CEvidenceManager::CEvidenceManager(std::shared_ptr<IEvidenceMgrDB> store, std::chrono::milliseconds progress_interval)
    : store_(std::move(store)), progress_interval_(progress_interval), upload_thread_count_(kUploadThreadCount) {}

bool CEvidenceManager::EntryTest() const {
  if (not_running_) return Fail(kNotRunning);
  if (!store_) return Fail(kObjectMissing);
  return true;
}

bool CEvidenceManager::Initialize() {
  if (!store_) return Fail(kObjectMissing);
  bool ok = true;
  bool loaded = false;
  if (!not_running_) {
    EVIDENCE_LOG(kLogProgress, "[%s]It's initialized.[%s(%d)]");
  } else {
    // Held during the reads: no reader may see a partial load.
    const std::lock_guard lock(cache_lock_);
    ok = loaded = LoadDictionaries();
    if (loaded) {
      if (!TakeElementApi()) return false;
    }
  }

  InitLogKeyMaps();
  if (loaded) NameBuiltInEntries();
  upload_thread_count_ = kUploadThreadCount;
  upload_loop_key_ = std::string(kPluginId) + kUploadLoopSuffix;
  if (!kelp::IThreadManager::Instance()->CreateMultiMessageLoop(upload_loop_key_, 1, upload_thread_count_, 1)) {
    EVIDENCE_LOG(kLogFailure, "[%s]CreateMultiMessageLoop failed, key : %s.[%s(%d)]", upload_loop_key_.c_str());
    return false;
  }
  not_running_ = !ok;
  const std::string system_guid = TarnPlatform::System::GetSystemGuid();
  EVIDENCE_LOG(kLogProgress, "[%s]Initial Evidence system guid : %s.[%s(%d)]", system_guid.c_str());
  EVIDENCE_LOG(kLogProgress, "[%s]Initial Evidence Mgr Module %s.[%s(%d)]", ok ? "Success" : "False");
  return ok;
}

bool CEvidenceManager::TakeElementApi() {
  auto api = kelp::IPlatformAdapterInterface::Instance()->GetElementApi(true);
  const std::lock_guard lock(element_lock_);
  element_api_ = std::move(api);
  return element_api_ != nullptr;
}

bool CEvidenceManager::LoadDictionaries(Operation operation) {
  std::list<EvidenceTypePtr> types;
  if (!store_->ReadAllEvidenceTypes(types)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get all evidence type failed.[%s(%d)]");
    return false;
  }
  type_cache_.clear();
  for (auto& type : types)
    type_cache_[type->type_id] = std::move(type);

  std::list<EvidenceCustomPtr> customs;
  if (!store_->ReadAllEvidenceCustoms(customs)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get all evidence custom failed.[%s(%d)]");
    return false;
  }
  if (!store_->ReadAllCustomOptions(customs)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get all evidence custom options failed.[%s(%d)]");
    return false;
  }
  custom_cache_.clear();
  for (auto& custom : customs)
    custom_cache_[custom->custom_id] = std::move(custom);
  EVIDENCE_LOG_OF(operation, kLogProgress, "[%s]Init evidence labels and camera_upload_task step 1.[%s(%d)]");
  EVIDENCE_LOG_OF(operation, kLogProgress, "[%s]Init evidence labels and camera_upload_task step 3.[%s(%d)]");
  return true;
}

void CEvidenceManager::InitLogKeyMaps() {
  const std::lock_guard lock(cache_lock_);
  for (const auto& [id, key] : kTypeKeys)
    type_key_map_.emplace(id, key);
  for (const auto& [id, key] : kCustomKeys)
    custom_key_map_.emplace(id, key);
}

void CEvidenceManager::NameBuiltInEntries() {
  std::map<std::int32_t, EvidenceTypePtr> types;
  std::map<std::int32_t, EvidenceCustomPtr> customs;
  {
    const std::lock_guard lock(cache_lock_);
    for (const auto& [id, type] : type_cache_) {
      if (IsUnnamedBuiltIn(id, type->type_name)) types[id] = std::make_shared<_tag_EvidenceType_>(*type);
    }
    for (const auto& [id, custom] : custom_cache_) {
      if (IsUnnamedBuiltIn(id, custom->custom_name)) customs[id] = std::make_shared<tag_EvidenceCustom_>(*custom);
    }
  }
  for (auto& [id, type] : types)
    type->type_name = GetDataByKey(kTypeNames, id);
  for (auto& [id, custom] : customs)
    custom->custom_name = GetDataByKey(kCustomNames, id);

  const std::lock_guard lock(cache_lock_);
  for (auto& [id, type] : types)
    type_cache_[id] = std::move(type);
  for (auto& [id, custom] : customs)
    custom_cache_[id] = std::move(custom);
}

bool CEvidenceManager::Finalize() {
  not_running_ = true;
  kelp::IThreadManager::Instance()->DestroyMultiMessageLoop(upload_loop_key_);
  {
    const std::lock_guard lock(cache_lock_);
    type_cache_.clear();
    type_key_map_.clear();
    custom_key_map_.clear();
  }
  {
    const std::lock_guard lock(element_lock_);
    element_api_.reset();
  }
  EVIDENCE_LOG(kLogProgress, "[%s]Finalize Evidence Mgr Success.[%s(%d)]");
  return true;
}

}  // namespace Evidence
