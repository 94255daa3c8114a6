#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "TarnPlatform/IncreResource.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/Incre.h"

namespace Evidence {

using TarnPlatform::IncreResource::CIncreResourceStructInterface;
using Changes = std::vector<std::shared_ptr<CIncreResourceStructInterface>>;

namespace {

[[nodiscard]] bool ReadChanges(Changes& changes, std::int32_t client_resource_version, std::int32_t source_type) {
  return TarnPlatform::IncreResource::GetIncreResourceBySourceType(
      changes, static_cast<std::uint32_t>(client_resource_version), source_type);
}

/// Turns changes of a dictionary into its records. `find` looks a live entry up by its id.
template <auto kId, class Record, class Find>
void AppendChanged(std::list<std::shared_ptr<Record>>& records, std::list<std::int32_t>& methods,
                   const Changes& changes, const Find& find, Operation operation = Operation::current()) {
  for (const auto& change : changes) {
    if (!change) {
      EVIDENCE_LOG_OF(operation, kLogAnomaly, "[%s]iter is null.[%s(%d)]");
      continue;
    }
    const int method = change->GetValEnumMethodType();
    const auto id = static_cast<std::int32_t>(change->GetValIdResource());
    std::shared_ptr<Record> record;
    if (method == kIncreDelete) {
      record = NewRecord<Record>();
      if (!record) {
        EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Not enough storage.[%s(%d)]");
        continue;
      }
      (*record).*kId = id;
    } else if (!IsIncreOfLiveEntry(method) || !find(record, id)) {
      // Deleted since: a later entry of the list reports it.
      continue;
    }
    records.push_back(std::move(record));
    methods.push_back(method);
  }
}

}  // namespace

bool CEvidenceManager::AddIncreResource(std::int32_t resource_type, std::int64_t resource_id, std::int32_t method) {
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetSystemAndLogApi(true);
  if (!api) return Fail(kObjectMissing);
  if (api->AddIncreResouce(resource_type, static_cast<std::uint64_t>(resource_id), method)) return true;
  EVIDENCE_LOG(
      kLogFailure,
      "[%s]Failed to add incremental resources, resource-type[%d], resource-id[%lld], incre-method[%d].[%s(%d)]",
      resource_type, static_cast<long long>(resource_id), method);
  return false;
}

bool CEvidenceManager::GetIncreEvidenceTypes(std::list<EvidenceTypePtr>& types, std::list<std::int32_t>& methods,
                                             std::int32_t client_resource_version) {
  if (not_running_) return Fail(kNotRunning);
  Changes changes;
  if (!ReadChanges(changes, client_resource_version, kIncreTypes)) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]Get IncreResource evidence-types failed.[%s(%d)]");
    return false;
  }
  AppendChanged<&_tag_EvidenceType_::type_id>(types, methods, changes, [this](EvidenceTypePtr& type, std::int32_t id) {
    return GetEvidenceTypeById(type, id);
  });
  return true;
}

bool CEvidenceManager::GetIncreEvidenceCustoms(std::list<EvidenceCustomPtr>& customs, std::list<std::int32_t>& methods,
                                               std::int32_t client_resource_version) {
  if (not_running_) return Fail(kNotRunning);
  Changes changes;
  if (!ReadChanges(changes, client_resource_version, kIncreCustoms)) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]Get IncreResource evidence-customs failed.[%s(%d)]");
    return false;
  }
  AppendChanged<&tag_EvidenceCustom_::custom_id>(
      customs, methods, changes,
      [this](EvidenceCustomPtr& custom, std::int32_t id) { return GetEvidenceCustomById(custom, id); });
  return true;
}

}  // namespace Evidence
