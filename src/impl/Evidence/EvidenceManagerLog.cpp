#include <algorithm>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/MultiLanguageMgr.h"
#include "OrvBase/Conversion.h"
#include "TarnPlatform/Authentication.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/StorableTexts.h"

namespace Evidence {
namespace {

constexpr char kNameLanguage[] = "en";
constexpr char kNameSection[] = "update_src_name";

}  // namespace

bool CEvidenceManager::WriteEvidenceLog(const std::vector<operation_record>& records, const std::string& session) {
  if (!EntryTest()) return false;
  if (!std::ranges::all_of(records, [](const auto& record) { return HasStorableTexts(record); })) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  std::int32_t client_type = -1;
  if (!session.empty()) {
    std::shared_ptr<TarnPlatform::Authentication::CUserSession> user_session;
    if (!TarnPlatform::Authentication::GetUserSession(user_session, session) || !user_session) {
      return Fail(kSessionNotFound);
    }
    client_type = user_session->GetValClientType();
  }
  if (store_->WriteEvidenceLog(records, client_type)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]WriteEvidenceLog failed.[%s(%d)]");
  return false;
}

bool CEvidenceManager::GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& reserved,
                                      std::int32_t evidence_id) {
  if (!EntryTest()) return false;
  if (store_->GetEvidenceLog(records, reserved, evidence_id)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]WriteEvidenceLog failed, evidenece_id[%d].[%s(%d)]", evidence_id);  // sic
  return false;
}

std::string CEvidenceManager::GetDataByKey(int kind, std::int32_t id) {
  std::string name;
  if (kind != kTypeNames && kind != kCustomNames) {
    EVIDENCE_LOG(kLogFailure, "[%s]not support type: %d.[%s(%d)]", kind);
  } else {
    std::string key;
    {
      const std::lock_guard lock(cache_lock_);
      const auto& keys = kind == kTypeNames ? type_key_map_ : custom_key_map_;
      if (const auto found = keys.find(id); found != keys.end()) key = found->second;
    }
    if (key.empty()) {
      EVIDENCE_LOG(kLogFailure, "[%s]not find id: %d in type: %d.[%s(%d)]", id, kind);
    } else {
      const std::string text =
          kelp::IMultiLanguageMgr::Instance()->GetString(kPluginId, key, kNameLanguage, kNameSection);
      if (!Orv::Base::Conversion::Convert(name, text, "UTF-8", "UTF-8")) {
        EVIDENCE_LOG(kLogFailure, "[%s]Conversion %s to UTF-8 failed.[%s(%d)]", key.c_str());
      }
    }
  }
  EVIDENCE_LOG(kLogTrace, "[%s]get name is: [%s], and input type: %d, id: %d.[%s(%d)]", name.c_str(), kind, id);
  return name;
}

}  // namespace Evidence
