// Operations that are not built yet: (0, 1).

#include "Common/ErrorCodes.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"

namespace Evidence {

bool CEvidenceMgrDBByPG::GetFTPSettings(FTPSettingsPtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateFTPSettings(const FTPSettingsPtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::InsertEvidence(const EvidencePtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateEvidence(const EvidencePtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::DeleteEvidences(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::QueryEvidences(std::list<EvidencePtr>&, page_info&, bool&, const EvidenceFilterPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceByIDs(std::list<EvidencePtr>&, const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::GetEvidencesCount(std::int32_t&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::DeleteEvidenceCustoms(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::InsertEvidenceCustomInfo(const EvidencePtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateEvidenceCustomInfo(const EvidencePtr&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::DeleteEvidenceCustomInfo(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>&,
                                               const IdVector&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceCustomInfo(std::map<std::int32_t, tag_EvidenceCustom_>&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::DeleteEvidenceCustomInfoByCustomID(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::GetEvidenceCustomByID(std::list<EvidenceCustomPtr>&, std::int32_t) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::QueryEvidenceCustomNameById(std::string&, std::int32_t) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::InsertOptionsByCustom(std::list<EvidenceCustomPtr>&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::GetOptionsByCustom(std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::DeleteOptionsByCustom(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::InsertOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::UpdatetOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::DeleteOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::InsertEvidenceFiles(const std::list<EvidenceFilePtr>&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateEvidenceFiles(const IdVector&, std::int32_t) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateEvidenceFiles(const std::list<EvidenceFilePtr>&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::DeleteEvidenceFiles(const IdList&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::DeleteEvidenceFilesByEvidenceId(std::int32_t) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>&, const IdVector&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::QueryEvidenceFiles(std::list<EvidenceFilePtr>&, std::int32_t, const std::string&,
                                            const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::QueryUnRelatedEvidenceFiles(std::list<EvidenceFilePtr>&, const EvidenceFilterPtr&,
                                                     std::int32_t&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceFilesCount(std::int32_t&, std::int32_t) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::GetEvidenceLabel(std::string&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::WriteEvidenceLog(const std::vector<operation_record>&, std::int32_t) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceLog(std::map<std::string, operation_record>&, IdList&, std::int32_t) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::UpdateCameraUploadStatus(std::int32_t, std::int32_t) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::UpdateCameraUploadSuccList(std::int32_t, const std::string&) { return Fail(kObjectMissing); }

bool CEvidenceMgrDBByPG::QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceIDAndFileNameByFileID(std::map<std::int32_t, std::list<std::string>>&,
                                                          const IdVector&) {
  return Fail(kObjectMissing);
}

bool CEvidenceMgrDBByPG::GetEvidenceFileByFileID(std::list<EvidenceFilePtr>&, const IdVector&) {
  return Fail(kObjectMissing);
}

}  // namespace Evidence
