#pragma once

#include <memory>
#include <utility>

#include "Common/ErrorCodes.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceManager.h"

namespace Evidence {

/// The manager as seen by the request service: each operation forwards to the manager's of the same name, result and
/// errors unchanged. When the manager is gone, (0, 1) and the result 0 (false). Stateless; any thread.
class CEvidenceUserInterface : public Orv::Base::CNoncopyable {
 public:
  explicit CEvidenceUserInterface(std::weak_ptr<CEvidenceManager> manager) : manager_(std::move(manager)) {}

#define EVIDENCE_FORWARD(operation)                                                             \
  template <class... Args>                                                                      \
  auto operation(Args&&... args) const {                                                        \
    return Call([&](auto& manager) { return manager.operation(std::forward<Args>(args)...); }); \
  }

  // Evidence
  EVIDENCE_FORWARD(AddEvidence)
  EVIDENCE_FORWARD(UpdateEvidence)
  EVIDENCE_FORWARD(UpdateEvidences)
  EVIDENCE_FORWARD(GetEvidenceByID)
  EVIDENCE_FORWARD(GetEvidenceByIDs)
  // Delete
  EVIDENCE_FORWARD(DelEvidences)
  // Query
  EVIDENCE_FORWARD(QueryEvidences)
  // File; QueryEvidenceFiles has two forms
  EVIDENCE_FORWARD(InsertEvidenceFiles)
  EVIDENCE_FORWARD(UpdateEvidenceFiles)
  EVIDENCE_FORWARD(GetEvidenceFileByFileID)
  EVIDENCE_FORWARD(QueryEvidenceFiles)
  // Type
  EVIDENCE_FORWARD(GetEvidenceTypes)
  EVIDENCE_FORWARD(GetIncreEvidenceTypes)
  EVIDENCE_FORWARD(GetEvidenceTypeById)
  EVIDENCE_FORWARD(SetEvidenceTypes)
  EVIDENCE_FORWARD(DeleteEvidenceTypes)
  EVIDENCE_FORWARD(QueryEvidenceTypeNameById)
  // Custom
  EVIDENCE_FORWARD(GetEvidenceCustoms)
  EVIDENCE_FORWARD(GetIncreEvidenceCustoms)
  EVIDENCE_FORWARD(SetEvidenceCustoms)
  // Log
  EVIDENCE_FORWARD(WriteEvidenceLog)
  EVIDENCE_FORWARD(GetEvidenceLog)

#undef EVIDENCE_FORWARD

 private:
  template <class Work>
  auto Call(Work work) const -> decltype(work(std::declval<CEvidenceManager&>())) {
    const auto manager = manager_.lock();
    if (manager) return work(*manager);
    Orv::Base::Error::SetLastError({0, kObjectMissing});
    return {};
  }

  const std::weak_ptr<CEvidenceManager> manager_;
};

}  // namespace Evidence
