#include <algorithm>
#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "impl/Evidence/Batch.h"
#include "impl/Evidence/CameraIds.h"
#include "impl/Evidence/EvidenceChanges.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "impl/Evidence/Limits.h"
#include "impl/Evidence/StorableTexts.h"

namespace Evidence {
namespace {

constexpr std::size_t kDescMaxChars = 20'000;
constexpr std::int64_t kMaxEvidences = 100'000;

constexpr std::uint32_t kNotBegun = 0;
constexpr std::uint32_t kNotAdded = 0xFFFFFFFF;

bool IsStatus(std::int32_t status) { return status == 0 || status == 1; }

/// The field rules for new and changed evidences.
bool IsWithinRules(const _tag_Evidence_& evidence) {
  using namespace Orv::Base::StringUtil;
  return Batch::IsNameWithinRules(evidence.guid) && Batch::IsNameWithinRules(evidence.name) &&
         str_len(evidence.evidence_desc, kCodePageUtf8) <= kDescMaxChars &&
         !ContainsIllegalCharacters(evidence.evidence_desc) && !evidence.guid.empty() &&
         IsStatus(evidence.evidence_status) && HasStorableTexts(evidence);
}

std::size_t CountCameras(const _tag_Evidence_& evidence) {
  std::size_t count = 0;
  ForEachPiece(evidence.releated_camera_ids, kCameraSeparator, [&count](std::string_view) { return ++count != 0; });
  return count;
}

}  // namespace

std::uint32_t CEvidenceManager::AddEvidence(const EvidencePtr& evidence) {
  const auto begun = [&] {
    if (not_running_) return Fail(kNotRunning);
    if (!evidence) return Fail(kBadInput);
    return store_ ? true : Fail(kObjectMissing);
  };
  if (!begun()) return kNotBegun;
  if (!CheckNewEvidence(evidence) || !StoreNewEvidence(evidence)) return kNotAdded;
  AddLabelsToMap(evidence->id, evidence->label);
  return static_cast<std::uint32_t>(evidence->id);
}

bool CEvidenceManager::CheckNewEvidence(const EvidencePtr& evidence, Operation operation) {
  if (!IsWithinRules(*evidence) || !CheckEvidenceAddMode(evidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  if (!Limits::Allows(Limits::kValuesOfEvidence, evidence->evidence_customs.size(), operation) ||
      !Limits::Allows(Limits::kCamerasOfEvidence, CountCameras(*evidence), operation)) {
    return false;
  }
  const char* const cameras = evidence->releated_camera_ids.c_str();
  if (HasRoamlinkCamera(evidence->releated_camera_ids)) {
    EVIDENCE_LOG_OF(operation, kLogFailure,
                    "[%s]Has Roamlink device camera, except mobilesurveillance , cameras : %s.[%s(%d)]", cameras);
    return Fail(kRoamlinkCamera);
  }
  if (NeedsOneDevice(*evidence) && !IsCamerasInSameDevice(evidence->releated_camera_ids)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]WIFI upload not in same device, cameras : %s.[%s(%d)]", cameras);
    return Fail(kCamerasOnSeveralDevices);
  }
  EvidencePtr stored;
  if (GetEvidenceByGuid(stored, evidence->guid)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence already exists, evidence-guid[%s].[%s(%d)]",
                    evidence->guid.c_str());
    return Fail(kEvidenceRepeated);
  }
  std::int32_t count = 0;
  if (!GetEvidencesCount(count)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get Evidence count failed.[%s(%d)]");
    return false;
  }
  if (std::int64_t{count} + 1 > kMaxEvidences) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The number of evidences exceeds the limit, count : %d.[%s(%d)]",
                    count);
    return Fail(kTooManyEvidences);
  }
  return CheckLabels(-1, evidence->label, operation);
}

bool CEvidenceManager::CheckLabels(std::int32_t evidence_id, const std::string& label_text, Operation operation) {
  const auto labels = SplitLabels(label_text);
  if (Limits::Allows(Limits::kLabelsOfEvidence, labels.size(), operation) &&
      !IsLabelCountExceeded(evidence_id, labels)) {
    return true;
  }
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The number of labels exceeds the limit, labels_in : %s.[%s(%d)]",
                  label_text.c_str());
  return Fail(kTooManyLabels);
}

bool CEvidenceManager::StoreNewEvidence(const EvidencePtr& evidence, Operation operation) {
  evidence->id = store_->QueryEvidenceSeqID();
  if (!store_->InsertEvidence(evidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Insert Evidence failed.[%s(%d)]");
    return false;
  }
  if (!evidence->evidence_customs.empty() && !store_->InsertEvidenceCustomInfo(evidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Insert Evidence custom info failed.[%s(%d)]");
    return false;
  }
  return true;
}

bool CEvidenceManager::UpdateEvidence(const EvidencePtr& evidence, operation_record& record) {
  if (not_running_) return Fail(kNotRunning);
  if (!evidence) return Fail(kBadInput);
  if (!store_) return Fail(kObjectMissing);
  if (!IsWithinRules(*evidence)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error, guid[%s], name[%s], desc[%s], status[%d].[%s(%d)]",
                 evidence->guid.c_str(), evidence->name.c_str(), evidence->evidence_desc.c_str(),
                 evidence->evidence_status);
    return Fail(kBadInput);
  }
  if (!Limits::Allows(Limits::kValuesOfEvidence, evidence->evidence_customs.size())) return false;
  const EvidenceTurn turn({evidence->id});
  if (!turn.IsGranted()) return false;
  EvidencePtr stored;
  if (!GetEvidenceByID(stored, evidence->id)) {
    EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence->id);
    return false;
  }
  auto& changes = record.change_items;
  Changes::AddFields(changes, *stored, *evidence);
  const auto option_name = [this](std::int32_t option_id, std::int32_t custom_id) {
    tag_EvidenceOption_ option;
    (void)GetCustomOptionById(option, option_id, custom_id);
    return option.option_name;
  };
  Changes::AddCustoms(changes, *stored, *evidence, option_name);
  EvidencePtr holder;
  if (GetEvidenceByGuid(holder, evidence->guid) && holder->id != stored->id) {
    EVIDENCE_LOG(kLogFailure, "[%s]The evidence already exists, evidence-guid[%s].[%s(%d)]", evidence->guid.c_str());
    return Fail(kEvidenceRepeated);
  }
  AddTypeChange(changes, stored->evidence_type.type_id, evidence->evidence_type.type_id);
  return CheckLabels(evidence->id, evidence->label) && StoreChangedEvidence(evidence);
}

void CEvidenceManager::AddTypeChange(std::vector<change_item>& changes, std::int32_t before_id, std::int32_t after_id,
                                     Operation operation) {
  EvidenceTypePtr after;
  (void)GetEvidenceTypeById(after, after_id);  // an unknown type is allowed and has no name
  if (after_id == before_id) return;
  EvidenceTypePtr before;
  if (!GetEvidenceTypeById(before, before_id)) {
    EVIDENCE_LOG_OF(operation, kLogAnomaly, "[%s]Get before evidence type failed, evidence-type-id[%d].[%s(%d)]",
                    before_id);
  }
  const auto name_of = [](const EvidenceTypePtr& type) { return type ? type->type_name : std::string(); };
  changes.push_back(Changes::TypeChange(before_id, name_of(before), after_id, name_of(after)));
}

bool CEvidenceManager::StoreChangedEvidence(const EvidencePtr& evidence, Operation operation) {
  if (!store_->UpdateEvidence(evidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Insert Evidence failed.[%s(%d)]");  // sic
    return false;
  }
  if (!store_->UpdateEvidenceCustomInfo(evidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Insert Evidence custom info failed.[%s(%d)]");  // sic
    return false;
  }
  AddLabelsToMap(evidence->id, evidence->label);
  return true;
}

bool CEvidenceManager::UpdateEvidences(std::list<EvidenceErrInfoPtr>& results, const std::list<EvidencePtr>& evidences,
                                       std::vector<operation_record>& records) {
  if (!EntryTest()) return false;
  if (!Limits::Allows(Limits::kChangedEvidences, evidences.size())) return false;
  bool all = true;
  for (const auto& evidence : evidences) {
    EvidencePtr stored;
    const bool changed = ChangeStatus(stored, *evidence, records);
    const auto result = std::make_shared<_tag_EvidenceErrInfo_>();
    result->id = evidence->id;
    if (stored) {
      result->guid = stored->guid;
      result->name = stored->name;
    }
    if (!changed) {
      all = false;
      result->sub_code = Orv::Base::Error::GetLastError().SubCode();
    }
    results.push_back(result);
  }
  return all;
}

bool CEvidenceManager::ChangeStatus(EvidencePtr& stored, const _tag_Evidence_& wanted,
                                    std::vector<operation_record>& records, Operation operation) {
  if (!IsStatus(wanted.evidence_status)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  const EvidenceTurn turn({wanted.id});
  if (!turn.IsGranted(operation)) return false;
  if (!GetEvidenceByID(stored, wanted.id)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", wanted.id);
    return false;
  }
  if (stored->evidence_status == wanted.evidence_status) return true;
  operation_record& record = records.emplace_back();
  record.evidence_id = wanted.id;
  record.change_items.push_back(Changes::StatusChange(stored->evidence_status, wanted.evidence_status));
  stored->evidence_status = wanted.evidence_status;
  if (store_->UpdateEvidence(stored)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Update Evidence failed.[%s(%d)]");
  return false;
}

}  // namespace Evidence
