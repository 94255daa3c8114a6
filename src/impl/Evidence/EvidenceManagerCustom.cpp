#include <algorithm>
#include <utility>

#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/Batch.h"
#include "impl/Evidence/CustomChanges.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/Incre.h"
#include "impl/Evidence/StorableTexts.h"

namespace Evidence {
namespace {

using Batch::IdsOf;
using Batch::NamesOf;
using Batch::RefusedEntry;

constexpr auto kId = &tag_EvidenceCustom_::custom_id;

/// A batch that would bring the dictionary to this size is refused.
constexpr std::size_t kCustomLimitExceeded = 6;
constexpr std::size_t kMaxOptions = 1000;

constexpr int kLogAddCustom = 306014;
constexpr int kLogModifyCustom = 306015;
constexpr int kLogDeleteCustom = 306016;

const std::string& OwnName(const tag_EvidenceCustom_& custom) { return custom.custom_name; }

void RefuseAll(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs) {
  for (const auto& custom : customs)
    errors.push_back(RefusedEntry(custom->custom_id, custom->custom_name));
}

bool HasTooManyOptions(const tag_EvidenceCustom_& custom, Operation operation) {
  if (custom.custom_options.size() <= kMaxOptions) return false;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]option lst out limit: %lld.[%s(%d)]",
                  static_cast<long long>(custom.custom_options.size()));
  Orv::Base::Error::SetLastError({0, kTooManyCustoms});
  return true;
}

}  // namespace

bool CEvidenceManager::SetEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs,
                                          const std::string& session, LogFunction log, bool full_set) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  std::list<EvidenceCustomPtr> cached;
  Batch::FullSetChanges<tag_EvidenceCustom_> changes;
  if (full_set) {
    cached = CopyCachedEvidenceCustoms();
    changes = SplitCustomChanges(customs, cached);
  } else {
    changes.to_change = customs;
  }
  const auto write_log = [&log](const std::vector<std::string>& names, int log_type) {
    if (log) log(names, log_type);
  };

  bool ok = true;
  if (!changes.to_delete.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionDeleteCustom)) return false;
    const auto names = NamesOf(changes.to_delete, [this](const auto& custom) { return DisplayName(custom); });
    const bool done = DeleteEvidenceCustoms(errors, IdsOf<kId>(changes.to_delete));
    if (done) write_log(names, kLogDeleteCustom);
    ok = ok && done;
  }
  if (!changes.to_change.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionModifyCustom)) return false;
    DropUnchangedCustoms(changes.to_change, cached);
  }
  if (!changes.to_change.empty()) {
    const bool done = ModifyEvidenceCustoms(errors, changes.to_change);
    if (done) write_log(NamesOf(changes.to_change, OwnName), kLogModifyCustom);
    ok = ok && done;
  }
  if (!changes.to_add.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionAddCustom)) return false;
    const bool done = InsertEvidenceCustoms(errors, changes.to_add);
    if (done) write_log(NamesOf(changes.to_add, OwnName), kLogAddCustom);
    ok = ok && done;
  }
  return ok;
}

bool CEvidenceManager::CheckNewCustom(tag_EvidenceCustom_& custom, const std::set<std::string>& accepted_names,
                                      Operation operation) {
  if (!Batch::IsNameWithinRules(custom.custom_name) || custom.custom_name.empty() || !HasStorableTexts(custom)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  EvidenceCustomPtr same_name;
  if (GetEvidenceCustomByName(same_name, custom.custom_name)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence custom exists, evidence-custom-name[%s].[%s(%d)]",
                    custom.custom_name.c_str());
    return Fail(kCustomNameRepeated);
  }
  if (IsCustomNameInList(accepted_names, custom.custom_name)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence custom name repeat, evidence-custom-name[%s].[%s(%d)]",
                    custom.custom_name.c_str());
    return Fail(kCustomNameRepeated);
  }
  custom.custom_id = store_->QueryEvidenceCustomSeqID();
  if (custom.custom_id == -1) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get Last Seq ID Failed.[%s(%d)]");
    return Fail(kStatementFailed);
  }
  return !HasTooManyOptions(custom, operation);
}

bool CEvidenceManager::InsertEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  if (customs.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  if (customs.size() + CopyCachedEvidenceCustoms().size() >= kCustomLimitExceeded) {
    EVIDENCE_LOG(kLogFailure, "[%s]The number of evidence custom exceeds the limit.[%s(%d)]");
    return Fail(kTooManyCustoms);
  }
  std::list<EvidenceCustomPtr> accepted;
  std::set<std::string> accepted_names;
  for (const auto& custom : customs) {
    if (CheckNewCustom(*custom, accepted_names)) {
      accepted.push_back(custom);
      accepted_names.insert(custom->custom_name);
    } else {
      errors.push_back(RefusedEntry(custom->custom_id, custom->custom_name));
    }
  }

  const bool inserted = store_->InsertEvidenceCustoms(accepted);
  if (!inserted) {
    RefuseAll(errors, accepted);
    EVIDENCE_LOG(kLogFailure, "[%s]Insert evidences custom failed.[%s(%d)]");
  }
  if (!store_->InsertOptionsByCustom(accepted)) {
    RefuseAll(errors, accepted);
    EVIDENCE_LOG(kLogFailure, "[%s]Insert custom option failed.[%s(%d)]");
    return false;
  }
  // Options without their attribute are unreachable.
  if (!inserted) return false;
  CacheInsertEvidenceCustoms(accepted);
  NotifyCustoms(accepted, kIncreAdd);
  return true;
}

bool CEvidenceManager::CheckChangedCustom(const tag_EvidenceCustom_& custom,
                                          const std::set<std::string>& accepted_names, Operation operation) {
  if (!Batch::IsNameWithinRules(custom.custom_name) || custom.custom_id == -1 || !HasStorableTexts(custom)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  EvidenceCustomPtr stored;
  if (!GetEvidenceCustomById(stored, custom.custom_id)) {
    EVIDENCE_LOG_OF(operation, kLogFailure,
                    "[%s]The evidence custom not exists, evidence-outcome-id[%d].[%s(%d)]",  // sic
                    custom.custom_id);
    return false;
  }
  // Several built-in attributes may have no name.
  if (!custom.custom_name.empty()) {
    EvidenceCustomPtr same_name;
    const bool taken =
        GetEvidenceCustomByName(same_name, custom.custom_name) && same_name->custom_id != custom.custom_id;
    if (taken || IsCustomNameInList(accepted_names, custom.custom_name)) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence custom name repeat, evidence-custom-name[%s].[%s(%d)]",
                      custom.custom_name.c_str());
      return Fail(kCustomNameRepeated);
    }
  }
  return !HasTooManyOptions(custom, operation);
}

bool CEvidenceManager::ModifyEvidenceCustoms(std::list<ErrorPtr>& errors, const std::list<EvidenceCustomPtr>& customs) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  Batch::AcceptedChanges<kId, tag_EvidenceCustom_> changes;
  std::set<std::string> accepted_names;
  for (const auto& custom : customs) {
    if (CheckChangedCustom(*custom, accepted_names)) {
      changes.Add(custom);
      accepted_names.insert(custom->custom_name);
    } else {
      errors.push_back(RefusedEntry(custom->custom_id, custom->custom_name));
    }
  }
  const auto& accepted = changes.Entries();
  if (!store_->UpdateEvidenceCustoms(accepted)) {
    RefuseAll(errors, accepted);
    EVIDENCE_LOG(kLogFailure, "[%s]Update evidences custom failed.[%s(%d)]");
    return false;
  }
  for (const auto& custom : accepted) {
    if (StoreChangedOptions(custom)) continue;
    errors.push_back(RefusedEntry(custom->custom_id, custom->custom_name));
    return false;
  }
  CacheUpdateEvidenceCustoms(accepted);
  NotifyCustoms(accepted, kIncreModify);
  return true;
}

bool CEvidenceManager::StoreChangedOptions(const EvidenceCustomPtr& custom, Operation operation) {
  std::vector<tag_EvidenceOption_> current;
  (void)GetCustomOptionList(current, *custom);
  OptionChanges changes = SplitOptionChanges(current, custom->custom_options);
  for (auto& option : changes.kept) {
    if (option.option_id != -1) continue;
    option.option_id = store_->QueryEvidenceOptionSeqID();
    if (option.option_id == -1) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get Last Seq ID Failed.[%s(%d)]");
      return Fail(kStatementFailed);
    }
    changes.to_insert.push_back(option);
  }
  if (!changes.to_update.empty() && !store_->UpdatetOptions(changes.to_update, custom)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Update custom option failed.[%s(%d)]");
    return false;
  }
  if (!changes.to_delete.empty() && !store_->DeleteOptions(changes.to_delete, custom)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Delete custom option failed.[%s(%d)]");
    return false;
  }
  if (!changes.to_insert.empty() && !store_->InsertOptions(changes.to_insert, custom)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Insert custom option failed.[%s(%d)]");
    return false;
  }
  custom->custom_options = std::move(changes.kept);
  return true;
}

bool CEvidenceManager::DeleteEvidenceCustoms(std::list<ErrorPtr>& errors, const IdList& custom_ids) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  std::list<EvidenceCustomPtr> kept;
  if (custom_ids.empty()) {
    kept = CopyCachedEvidenceCustoms();
    kept.remove_if([](const auto& custom) { return custom->custom_id == 0; });
  }
  for (const std::int32_t id : custom_ids) {
    EvidenceCustomPtr custom;
    if (id == -1) {
      EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
      Orv::Base::Error::SetLastError({0, kBadInput});
      errors.push_back(RefusedEntry(id, std::string()));
    } else if (GetEvidenceCustomById(custom, id)) {
      kept.push_back(std::move(custom));
    } else {
      EVIDENCE_LOG(
          kLogProgress,
          "[%s]The evidence outcome not exists, Delete succeeded by default, evidence_custom_id[%d].[%s(%d)]",  // sic
          id);
    }
  }
  const IdList kept_ids = IdsOf<kId>(kept);
  if (!store_->DeleteEvidenceCustoms(kept_ids)) {
    RefuseAll(errors, kept);
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences customs failed.[%s(%d)]");
    return false;
  }
  if (!store_->DeleteOptionsByCustom(kept_ids)) {
    RefuseAll(errors, kept);
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences custom options failed.[%s(%d)]");
    return false;
  }
  const bool values_deleted = store_->DeleteEvidenceCustomInfoByCustomID(kept_ids);
  if (!values_deleted) {
    RefuseAll(errors, kept);
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences custom options failed.[%s(%d)]");
  }
  CacheRemoveEvidenceCustoms(kept);
  NotifyCustoms(kept, kIncreDelete);
  return values_deleted;
}

void CEvidenceManager::NotifyCustoms(const std::list<EvidenceCustomPtr>& customs, std::int32_t method,
                                     Operation operation) {
  for (const auto& custom : customs) {
    if (AddIncreResource(kIncreCustoms, custom->custom_id, method)) continue;
    const char* const name = custom->custom_name.c_str();
    if (method == kIncreAdd) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Notify IncreResource evidence-custom-name[%s] add failed.[%s(%d)]",
                      name);
    } else if (method == kIncreModify) {
      EVIDENCE_LOG_OF(operation, kLogFailure,
                      "[%s]Notify IncreResource evidence-custom-name[%s] modify failed.[%s(%d)]", name);
    } else {
      EVIDENCE_LOG_OF(operation, kLogFailure,
                      "[%s]Notify IncreResource evidence-custom-name[%s] delete failed.[%s(%d)]", name);
    }
  }
}

}  // namespace Evidence
