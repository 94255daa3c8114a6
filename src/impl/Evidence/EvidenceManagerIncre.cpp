#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "TarnPlatform/IncreResource.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/Incre.h"

namespace Evidence {

using TarnPlatform::IncreResource::CIncreResourceStructInterface;

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
  std::vector<std::shared_ptr<CIncreResourceStructInterface>> changes;
  if (!TarnPlatform::IncreResource::GetIncreResourceBySourceType(
          changes, static_cast<std::uint32_t>(client_resource_version), kIncreTypes)) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]Get IncreResource evidence-types failed.[%s(%d)]");
    return false;
  }
  for (const auto& change : changes) {
    if (!change) {
      EVIDENCE_LOG(kLogAnomaly, "[%s]iter is null.[%s(%d)]");
      continue;
    }
    const int method = change->GetValEnumMethodType();
    const auto id = static_cast<std::int32_t>(change->GetValIdResource());
    EvidenceTypePtr type;
    if (method == kIncreDelete) {
      type = NewRecord<_tag_EvidenceType_>();
      if (!type) {
        EVIDENCE_LOG(kLogFailure, "[%s]Not enough storage.[%s(%d)]");
        continue;
      }
      type->type_id = id;
    } else if (!IsIncreOfLiveEntry(method) || !GetEvidenceTypeById(type, id)) {
      // Deleted since: a later entry of the list says so.
      continue;
    }
    types.push_back(std::move(type));
    methods.push_back(method);
  }
  return true;
}

}  // namespace Evidence
