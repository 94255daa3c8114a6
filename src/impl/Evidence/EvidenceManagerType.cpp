#include <algorithm>
#include <set>
#include <utility>

#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpUtils/StringFunctions.h"
#include "impl/Evidence/Batch.h"
#include "impl/Evidence/BuiltInEntries.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/Incre.h"

namespace Evidence {
namespace {

using Batch::IdsOf;
using Batch::NamesOf;
using Batch::RefusedEntry;

constexpr auto kId = &_tag_EvidenceType_::type_id;

/// A batch that would bring the dictionary to this size is refused.
constexpr std::size_t kTypeLimitExceeded = 129;

constexpr int kLogAddType = 306011;
constexpr int kLogModifyType = 306012;
constexpr int kLogDeleteType = 306013;

bool IsValidTypeName(const std::string& name) { return Batch::IsNameWithinRules(name) && !name.empty(); }

void FilterEvidenceTypesByName(std::list<EvidenceTypePtr>& types, const std::string& part) {
  types.remove_if([&part](const auto& type) { return !kelp::StringFind(type->type_name, part); });
}

void FilterEvidenceTypesById(std::list<EvidenceTypePtr>& types, const std::vector<std::int32_t>& ids) {
  const std::set<std::int32_t> wanted(ids.begin(), ids.end());
  types.remove_if([&wanted](const auto& type) { return !wanted.contains(type->type_id); });
}

bool PageEvidenceTypes(std::list<EvidenceTypePtr>& types, const page_info& page) {
  if (page.PageIndex == -1 || page.PageSize == -1) return true;
  if (page.PageIndex == 0 || page.PageSize == 0) {
    types.clear();
    return Fail(kBadInput);
  }
  const std::int64_t last = std::int64_t{page.PageIndex} * page.PageSize;
  const std::int64_t before_first = last - page.PageSize;
  std::int64_t position = 0;
  types.remove_if([&](const auto&) {
    ++position;
    return position <= before_first || position > last;
  });
  return true;
}

/// Drops the entries that change nothing. A built-in entry without a name is shown under its localised name or under
/// none, so an empty name means "unchanged".
void DropUnchanged(std::list<EvidenceTypePtr>& types, const std::list<EvidenceTypePtr>& cached) {
  std::map<std::int32_t, const std::string*> names;
  for (const auto& type : cached)
    names[type->type_id] = &type->type_name;
  types.remove_if([&names](const auto& type) {
    const auto found = names.find(type->type_id);
    return found != names.end() &&
           (type->type_name == *found->second || IsUnnamedBuiltIn(type->type_id, type->type_name));
  });
}

const std::string& OwnName(const _tag_EvidenceType_& type) { return type.type_name; }

}  // namespace

std::list<EvidenceTypePtr> CEvidenceManager::CopyCachedEvidenceTypes() {
  std::list<EvidenceTypePtr> types;
  const std::lock_guard lock(cache_lock_);
  for (const auto& [id, type] : type_cache_)
    types.push_back(type);
  return types;
}

void CEvidenceManager::CacheInsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) {
  const std::lock_guard lock(cache_lock_);
  for (const auto& type : types)
    type_cache_[type->type_id] = std::make_shared<_tag_EvidenceType_>(*type);
}

void CEvidenceManager::CacheRenameEvidenceTypes(const std::list<EvidenceTypePtr>& types) {
  const std::lock_guard lock(cache_lock_);
  for (const auto& type : types) {
    const auto found = type_cache_.find(type->type_id);
    if (found != type_cache_.end()) found->second = std::make_shared<_tag_EvidenceType_>(*type);
  }
}

void CEvidenceManager::CacheRemoveEvidenceTypes(const std::list<EvidenceTypePtr>& types) {
  const std::lock_guard lock(cache_lock_);
  for (const auto& type : types)
    type_cache_.erase(type->type_id);
}

std::string CEvidenceManager::DisplayName(const _tag_EvidenceType_& type) {
  return IsUnnamedBuiltIn(type.type_id, type.type_name) ? GetDataByKey(kTypeNames, type.type_id) : type.type_name;
}

void CEvidenceManager::NotifyTypes(const std::list<EvidenceTypePtr>& types, std::int32_t method, Operation operation) {
  for (const auto& type : types) {
    if (AddIncreResource(kIncreTypes, type->type_id, method)) continue;
    const char* const name = type->type_name.c_str();
    if (method == kIncreAdd) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Notify IncreResource evidence-type-name[%s] add failed.[%s(%d)]",
                      name);
    } else if (method == kIncreModify) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Notify IncreResource evidence-type-name[%s] modify failed.[%s(%d)]",
                      name);
    } else {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Notify IncreResource evidence-type-name[%s] delete failed.[%s(%d)]",
                      name);
    }
  }
}

bool CEvidenceManager::GetEvidenceTypes(std::list<EvidenceTypePtr>& types, page_info& page,
                                        const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter) {
  if (not_running_) return Fail(kNotRunning);
  types = CopyCachedEvidenceTypes();
  if (filter) {
    if (!filter->name.empty()) FilterEvidenceTypesByName(types, filter->name);
    if (!filter->ids.empty()) FilterEvidenceTypesById(types, filter->ids);
  }
  page.total = static_cast<std::int32_t>(types.size());
  return PageEvidenceTypes(types, page);
}

bool CEvidenceManager::GetEvidenceTypeById(EvidenceTypePtr& type, std::int32_t type_id) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(cache_lock_);
  const auto found = type_cache_.find(type_id);
  if (found == type_cache_.end()) return Fail(kTypeNotFound);
  type = found->second;
  return true;
}

bool CEvidenceManager::GetEvidenceTypeByName(EvidenceTypePtr& type, const std::string& name) {
  if (!EntryTest()) return false;
  {
    const std::lock_guard lock(cache_lock_);
    const auto found =
        std::ranges::find_if(type_cache_, [&name](const auto& cached) { return cached.second->type_name == name; });
    if (found != type_cache_.end()) {
      type = found->second;
      return true;
    }
  }
  EVIDENCE_LOG(kLogAnomaly, "[%s]No evidence type found by name[%s].[%s(%d)]", name.c_str());
  return Fail(kTypeNotFound);
}

bool CEvidenceManager::SetEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types,
                                        const std::string& session, LogFunction log, bool full_set) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  std::list<EvidenceTypePtr> cached;
  Batch::FullSetChanges<_tag_EvidenceType_> changes;
  if (full_set) {
    cached = CopyCachedEvidenceTypes();
    changes = Batch::SplitFullSet<kId>(types, cached);
  } else {
    changes.to_change = types;
  }
  const auto write_log = [&log](const std::vector<std::string>& names, int log_type) {
    if (log) log(names, log_type);
  };

  bool ok = true;
  if (!changes.to_delete.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionDeleteType)) return false;
    const auto names = NamesOf(changes.to_delete, [this](const auto& type) { return DisplayName(type); });
    const bool done = DeleteEvidenceTypes(errors, IdsOf<kId>(changes.to_delete), nullptr);
    if (done) write_log(names, kLogDeleteType);
    ok = ok && done;
  }
  if (!changes.to_change.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionModifyType)) return false;
    DropUnchanged(changes.to_change, cached);
  }
  if (!changes.to_change.empty()) {
    const bool done = ModifyEvidenceTypes(errors, changes.to_change);
    if (done) write_log(NamesOf(changes.to_change, OwnName), kLogModifyType);
    ok = ok && done;
  }
  if (!changes.to_add.empty()) {
    if (!CTarnCommonFun::CheckConfigPermission(session, kPermissionAddType)) return false;
    const bool done = InsertEvidenceTypes(errors, changes.to_add);
    if (done) write_log(NamesOf(changes.to_add, OwnName), kLogAddType);
    ok = ok && done;
  }
  return ok;
}

bool CEvidenceManager::CheckNewType(const _tag_EvidenceType_& type, const std::set<std::string>& accepted_names,
                                    Operation operation) {
  if (!IsValidTypeName(type.type_name)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  EvidenceTypePtr same_name;
  if (GetEvidenceTypeByName(same_name, type.type_name) || accepted_names.contains(type.type_name)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence type name repeat, evidence-type-name[%s].[%s(%d)]",
                    type.type_name.c_str());
    return Fail(kTypeNameRepeated);
  }
  return true;
}

bool CEvidenceManager::InsertEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  if (types.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  if (types.size() + CopyCachedEvidenceTypes().size() >= kTypeLimitExceeded) {
    EVIDENCE_LOG(kLogFailure, "[%s]The number of evidence type exceeds the limit.[%s(%d)]");
    return Fail(kTooManyTypes);
  }

  std::list<EvidenceTypePtr> accepted;
  std::set<std::string> accepted_names;
  for (const auto& type : types) {
    bool ok = CheckNewType(*type, accepted_names);
    if (ok) {
      type->type_id = store_->QueryEvidenceTypeSeqID();
      if (type->type_id == -1) {
        EVIDENCE_LOG(kLogFailure, "[%s]Get Last Seq ID Failed.[%s(%d)]");
        ok = Fail(kStatementFailed);
      }
    }
    if (ok) {
      accepted.push_back(type);
      accepted_names.insert(type->type_name);
    } else {
      errors.push_back(RefusedEntry(-1, type->type_name));
    }
  }

  if (!store_->InsertEvidenceTypes(accepted)) {
    for (const auto& type : accepted)
      errors.push_back(RefusedEntry(-1, type->type_name));
    EVIDENCE_LOG(kLogFailure, "[%s]Insert evidences types failed.[%s(%d)]");
    return false;
  }
  CacheInsertEvidenceTypes(accepted);
  NotifyTypes(accepted, kIncreAdd);
  return true;
}

bool CEvidenceManager::CheckChangedType(const _tag_EvidenceType_& type, const std::set<std::string>& accepted_names,
                                        Operation operation) {
  if (!IsValidTypeName(type.type_name) || type.type_id == -1) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  EvidenceTypePtr stored;
  if (!GetEvidenceTypeById(stored, type.type_id)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence type not exists, evidence-type-id[%d].[%s(%d)]",
                    type.type_id);
    return false;
  }
  EvidenceTypePtr same_name;
  const bool taken = GetEvidenceTypeByName(same_name, type.type_name) && same_name->type_id != type.type_id;
  if (taken || accepted_names.contains(type.type_name)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence type name repeat, evidence-type-name[%s].[%s(%d)]",
                    type.type_name.c_str());
    return Fail(kTypeNameRepeated);
  }
  return true;
}

bool CEvidenceManager::ModifyEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<EvidenceTypePtr>& types) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  Batch::AcceptedChanges<kId, _tag_EvidenceType_> changes;
  std::set<std::string> accepted_names;
  for (const auto& type : types) {
    if (CheckChangedType(*type, accepted_names)) {
      changes.Add(type);
      accepted_names.insert(type->type_name);
    } else {
      errors.push_back(RefusedEntry(type->type_id, type->type_name));
    }
  }
  const auto& accepted = changes.Entries();
  if (!store_->UpdateEvidenceTypes(accepted)) {
    for (const auto& type : accepted)
      errors.push_back(RefusedEntry(type->type_id, type->type_name));
    EVIDENCE_LOG(kLogFailure, "[%s]Update evidences types failed.[%s(%d)]");
    return false;
  }
  CacheRenameEvidenceTypes(accepted);
  NotifyTypes(accepted, kIncreModify);
  return true;
}

bool CEvidenceManager::DeleteEvidenceTypes(std::list<ErrorPtr>& errors, const std::list<std::int32_t>& type_ids,
                                           const LogFunction& log) {
  if (!EntryTest()) return false;
  const std::lock_guard lock(dictionary_lock_);
  std::list<EvidenceTypePtr> kept;
  if (type_ids.empty()) kept = CopyCachedEvidenceTypes();
  for (const std::int32_t id : type_ids) {
    EvidenceTypePtr type;
    if (id == -1) {
      EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
      Orv::Base::Error::SetLastError({0, kBadInput});
      errors.push_back(RefusedEntry(id, std::string()));
    } else if (GetEvidenceTypeById(type, id)) {
      kept.push_back(std::move(type));
    } else {
      EVIDENCE_LOG(kLogProgress,
                   "[%s]The evidence type not exists, Delete succeeded by default, evidence-type-id[%d].[%s(%d)]", id);
    }
  }

  const IdList kept_ids = IdsOf<kId>(kept);
  if (!store_->DeleteEvidenceTypes(kept_ids)) {
    for (const auto& type : kept)
      errors.push_back(RefusedEntry(type->type_id, DisplayName(*type)));
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences types failed.[%s(%d)]");
    return false;
  }
  if (log) log(NamesOf(kept, [this](const auto& type) { return DisplayName(type); }), kLogDeleteType);
  CacheRemoveEvidenceTypes(kept);
  if (!store_->DeleteEvidenceTypeInEvidence({kept_ids.begin(), kept_ids.end()})) {
    EVIDENCE_LOG(kLogFailure, "[%s]delete evidence type in evidence failed.[%s(%d)]");
  }
  NotifyTypes(kept, kIncreDelete);
  return true;
}

bool CEvidenceManager::QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) {
  return EntryTest() && store_->QueryEvidenceTypeNameById(name, type_id);
}

}  // namespace Evidence
