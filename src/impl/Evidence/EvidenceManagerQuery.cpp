#include <algorithm>
#include <optional>
#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "OrvBase/StringUtil.h"
#include "impl/Evidence/CameraIds.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/Limits.h"
#include "impl/Evidence/StorableTexts.h"

namespace Evidence {
namespace {

/// A value for an evidence, its options named from `known` where found.
tag_EvidenceCustom_ NamedValue(const tag_EvidenceCustom_& value, const std::vector<tag_EvidenceOption_>& known) {
  tag_EvidenceCustom_ named;
  named.custom_id = value.custom_id;
  named.custom_options = value.custom_options;
  for (auto& option : named.custom_options) {
    const auto found = std::ranges::find(known, option.option_id, &tag_EvidenceOption_::option_id);
    if (found != known.end()) option.option_name = found->option_name;
  }
  return named;
}

}  // namespace

void CEvidenceManager::ResolveCameras(_tag_Evidence_& evidence, Operation operation) {
  const auto api = [this] {
    const std::lock_guard lock(element_lock_);
    return element_api_;
  }();
  if (!api) return;
  for (const auto& piece : SplitText(evidence.releated_camera_ids, kCameraSeparator)) {
    const std::int32_t camera_id = ExtractDecimal(piece);
    kelp::SElementBaseInfo element;
    if (!api->GetElementInfo(element, camera_id, 0)) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]GetPyIDByEleID not find element ele_id = %d[%s(%d)]", camera_id);
    } else if (element.device_base) {
      evidence.camera_infos.push_back({camera_id, element.device_base->device_name, element.element_name, {}});
    }
  }
}

bool CEvidenceManager::GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id) {
  if (!EntryTest()) return false;
  if (evidence_id == -1) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  std::list<EvidenceCustomPtr> values;
  if (!store_->GetEvidenceByID(evidence, evidence_id) || !store_->GetEvidenceCustomByID(values, evidence_id)) {
    EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence_id);
    return Fail(kEvidenceNotFound);
  }
  ResolveCameras(*evidence);
  AddValues(*evidence, values);
  return true;
}

void CEvidenceManager::AddValues(_tag_Evidence_& evidence, const std::list<EvidenceCustomPtr>& values,
                                 Operation operation) {
  // The options of an attribute are read once, however many values the evidence has of it.
  std::map<std::int32_t, std::vector<tag_EvidenceOption_>> options_by_custom;
  for (const auto& value : values) {
    const auto [known, first] = options_by_custom.try_emplace(value->custom_id);
    if (first && !store_->GetOptionsByCustom(known->second, value)) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]get custom option failed, evidence-id[%d].[%s(%d)]", evidence.id);
      known->second.clear();
    }
    evidence.evidence_customs.push_back(NamedValue(*value, known->second));
  }
}

bool CEvidenceManager::GetEvidenceByIDs(std::list<EvidencePtr>& evidences, IdList evidence_ids) {
  if (!EntryTest() || !Limits::Allows(Limits::kReadEvidences, evidence_ids.size())) return false;
  if (std::ranges::find(evidence_ids, -1) != evidence_ids.end()) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    Orv::Base::Error::SetLastError({0, kBadInput});
  }
  if (store_->GetEvidenceByIDs(evidences, evidence_ids)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]GetEvidenceByID failed.[%s(%d)]");
  return Fail(kEvidenceNotFound);
}

bool CEvidenceManager::GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid) {
  if (!EntryTest()) return false;
  if (guid.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  if (store_->GetEvidenceByGuid(evidence, guid)) return true;
  EVIDENCE_LOG(kLogTrace, "[%s]The evidence not exists, evidence-guid[%s].[%s(%d)]", guid.c_str());
  return Fail(kEvidenceNotFound);
}

bool CEvidenceManager::GetEvidencesCount(std::int32_t& count) {
  if (!EntryTest()) return false;
  if (store_->GetEvidencesCount(count)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence files count failed.[%s(%d)]");  // sic
  return false;
}

bool CEvidenceManager::QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                                      const EvidenceFilterPtr& filter, const IdList& evidence_ids) {
  if (!EntryTest()) return false;
  if (!filter) return Fail(kObjectMissing);
  if (!Limits::Allows(Limits::kReadEvidences, evidence_ids.size())) return false;
  if (evidence_ids.empty()) {
    using namespace Orv::Base::StringUtil;
    if (!Limits::Allows(Limits::kKeywordChars, str_len(filter->keyword, kCodePageUtf8))) return false;
    if (!Limits::Allows(Limits::kGuidPartChars, str_len(filter->guid, kCodePageUtf8))) return false;
    if (!HasStorableTexts(*filter)) {
      EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
      return Fail(kBadInput);
    }
    EVIDENCE_LOG(kLogTrace, "[%s]begin QueryEvidences.[%s(%d)]");
    const bool read = store_->QueryEvidences(evidences, page, has_more, filter);
    EVIDENCE_LOG(kLogTrace, "[%s]end QueryEvidences.[%s(%d)]");
    if (!read) {
      EVIDENCE_LOG(kLogFailure, "[%s]Query evidences failed.[%s(%d)]");
      return false;
    }
  } else if (!store_->GetEvidenceByIDs(evidences, evidence_ids)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Get evidences by ids failed.[%s(%d)]");
    return false;
  }
  EVIDENCE_LOG(kLogTrace, "[%s]begin GetEvidenceCustom.[%s(%d)]");
  AddValuesFromCache(evidences);
  EVIDENCE_LOG(kLogTrace, "[%s]end GetEvidenceCustom.[%s(%d)]");
  return true;
}

void CEvidenceManager::AddValuesFromCache(const std::list<EvidencePtr>& evidences, Operation operation) {
  IdVector ids;
  for (const auto& evidence : evidences)
    ids.push_back(evidence->id);
  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> values;
  if (!store_->GetEvidenceCustomInfo(values, ids))
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]get custom infos err.[%s(%d)]");

  static const std::vector<tag_EvidenceOption_> kNoOptions;
  // One copy of each attribute's options serves the whole page; none when the attribute is not cached.
  std::map<std::int32_t, std::optional<std::vector<tag_EvidenceOption_>>> options_by_custom;
  const auto options_of = [&](const tag_EvidenceCustom_& custom) -> const auto& {
    const auto [entry, first] = options_by_custom.try_emplace(custom.custom_id);
    std::vector<tag_EvidenceOption_> options;
    if (first && GetCustomOptionList(options, custom)) entry->second = std::move(options);
    return entry->second;
  };
  for (const auto& evidence : evidences) {
    const auto found = values.find(evidence->id);
    if (found == values.end()) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence->id);
      Orv::Base::Error::SetLastError({0, kEvidenceNotFound});
      continue;
    }
    ResolveCameras(*evidence);
    for (const auto& value : found->second) {
      const auto& known = options_of(value);
      if (!known) {
        EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]get evidence custom name failed, evidence-id[%d].[%s(%d)]",
                        evidence->id);
      }
      evidence->evidence_customs.push_back(NamedValue(value, known ? *known : kNoOptions));
    }
  }
}

}  // namespace Evidence
