#include "Common/EvidenceLog.h"
#include "KelpPlatform/MultiLanguageMgr.h"
#include "OrvBase/Conversion.h"
#include "impl/Evidence/EvidenceManager.h"

namespace Evidence {
namespace {

constexpr char kNameLanguage[] = "en";
constexpr char kNameSection[] = "update_src_name";

}  // namespace

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
