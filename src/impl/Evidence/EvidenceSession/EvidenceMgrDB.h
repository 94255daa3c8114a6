#pragma once

#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceSession/IEvidenceMgrDB.h"

namespace Evidence {

/// The store on PostgreSQL.
class CEvidenceMgrDBByPG final : public IEvidenceMgrDB, public Orv::Base::CNoncopyable {
 public:
  // Type
  std::int32_t QueryEvidenceTypeSeqID() override;
  bool DeleteEvidenceTypeInEvidence(const std::vector<std::int32_t>& type_ids) override;
  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) override;
  bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) override;
  bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) override;
  bool DeleteEvidenceTypes(const std::list<std::int32_t>& type_ids) override;
  bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) override;

  // Custom
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) override;
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) override;

 private:
  /// The next value of a sequence; -1 with (0, 15) on failure.
  std::int32_t QueryLastSeqID(const std::string& sequence);
};

}  // namespace Evidence
