#pragma once

#include <list>
#include <string>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/IEvidenceMgrDB.h"

namespace evidence_test {

using namespace Evidence;

/// A store that refuses everything with (0, 15); tests override what they need.
class StoreStub : public IEvidenceMgrDB {
 public:
  bool GetFTPSettings(FTPSettingsPtr&) override { return Refuse(); }
  bool UpdateFTPSettings(const FTPSettingsPtr&) override { return Refuse(); }
  std::int32_t QueryEvidenceSeqID() override { return -1; }
  std::int32_t QueryEvidenceFileSeqID() override { return -1; }
  std::int32_t QueryEvidenceTypeSeqID() override { return -1; }
  std::int32_t QueryEvidenceSceneSeqID() override { return -1; }
  std::int32_t QueryEvidenceOutcomeSeqID() override { return -1; }
  std::int32_t QueryEvidenceCustomSeqID() override { return -1; }
  std::int32_t QueryEvidenceCustomInfoSeqID() override { return -1; }
  std::int32_t QueryEvidenceOptionSeqID() override { return -1; }
  bool InsertEvidence(const EvidencePtr&) override { return Refuse(); }
  bool UpdateEvidence(const EvidencePtr&) override { return Refuse(); }
  bool DeleteEvidenceTypeInEvidence(const IdVector&) override { return Refuse(); }
  bool DeleteEvidences(const IdList&) override { return Refuse(); }
  bool QueryEvidences(std::list<EvidencePtr>&, page_info&, bool&, const EvidenceFilterPtr&) override {
    return Refuse();
  }
  bool GetEvidenceByID(EvidencePtr&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceByIDs(std::list<EvidencePtr>&, const IdList&) override { return Refuse(); }
  bool GetEvidenceByGuid(EvidencePtr&, const std::string&) override { return Refuse(); }
  bool GetEvidencesCount(std::int32_t&) override { return Refuse(); }
  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>&) override { return Refuse(); }
  bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>&) override { return Refuse(); }
  bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>&) override { return Refuse(); }
  bool DeleteEvidenceTypes(const IdList&) override { return Refuse(); }
  bool QueryEvidenceTypeNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceScenes(std::list<EvidenceScenePtr>&) override { return Refuse(); }
  bool InsertEvidenceScenes(const std::list<EvidenceScenePtr>&) override { return Refuse(); }
  bool UpdateEvidenceScenes(const std::list<EvidenceScenePtr>&) override { return Refuse(); }
  bool DeleteEvidenceScenes(const IdList&) override { return Refuse(); }
  bool QueryEvidenceSceneNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceOutcomes(std::list<EvidenceOutcomePtr>&) override { return Refuse(); }
  bool InsertEvidenceOutcomes(const std::list<EvidenceOutcomePtr>&) override { return Refuse(); }
  bool UpdateEvidenceOutcomes(const std::list<EvidenceOutcomePtr>&) override { return Refuse(); }
  bool DeleteEvidenceOutcomes(const IdList&) override { return Refuse(); }
  bool QueryEvidenceOutcomeNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>&) override { return Refuse(); }
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>&) override { return Refuse(); }
  bool InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>&) override { return Refuse(); }
  bool UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>&) override { return Refuse(); }
  bool DeleteEvidenceCustoms(const IdList&) override { return Refuse(); }
  bool InsertEvidenceCustomInfo(const EvidencePtr&) override { return Refuse(); }
  bool UpdateEvidenceCustomInfo(const EvidencePtr&) override { return Refuse(); }
  bool DeleteEvidenceCustomInfo(const IdList&) override { return Refuse(); }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>&, const IdVector&) override {
    return Refuse();
  }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, tag_EvidenceCustom_>&) override { return Refuse(); }
  bool DeleteEvidenceCustomInfoByCustomID(const IdList&) override { return Refuse(); }
  bool GetEvidenceCustomByID(std::list<EvidenceCustomPtr>&, std::int32_t) override { return Refuse(); }
  bool QueryEvidenceCustomNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool InsertOptionsByCustom(std::list<EvidenceCustomPtr>&) override { return Refuse(); }
  bool GetOptionsByCustom(std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) override { return Refuse(); }
  bool DeleteOptionsByCustom(const IdList&) override { return Refuse(); }
  bool InsertOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) override { return Refuse(); }
  bool UpdatetOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) override { return Refuse(); }
  bool DeleteOptions(const std::vector<tag_EvidenceOption_>&, const EvidenceCustomPtr&) override { return Refuse(); }
  bool InsertEvidenceFiles(const std::list<EvidenceFilePtr>&) override { return Refuse(); }
  bool UpdateEvidenceFiles(const IdVector&, std::int32_t) override { return Refuse(); }
  bool UpdateEvidenceFiles(const std::list<EvidenceFilePtr>&) override { return Refuse(); }
  bool DeleteEvidenceFiles(const IdList&) override { return Refuse(); }
  bool ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>&) override { return Refuse(); }
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t) override { return Refuse(); }
  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>&, const IdVector&) override {
    return Refuse();
  }
  bool QueryEvidenceFiles(std::list<EvidenceFilePtr>&, std::int32_t, const std::string&, const std::string&) override {
    return Refuse();
  }
  bool QueryUnRelatedEvidenceFiles(std::list<EvidenceFilePtr>&, const EvidenceFilterPtr&, std::int32_t&) override {
    return Refuse();
  }
  bool GetEvidenceFilesCount(std::int32_t&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceLabel(std::string&) override { return Refuse(); }
  bool WriteEvidenceLog(const std::vector<operation_record>&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceLog(std::map<std::string, operation_record>&, IdList&, std::int32_t) override { return Refuse(); }
  bool QueryAllEvidences(std::list<EvidencePtr>&) override { return Refuse(); }
  bool UpdateCameraUploadStatus(std::int32_t, std::int32_t) override { return Refuse(); }
  bool UpdateCameraUploadSuccList(std::int32_t, const std::string&) override { return Refuse(); }
  bool QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>&) override { return Refuse(); }
  bool GetEvidenceIDAndFileNameByFileID(std::map<std::int32_t, std::list<std::string>>&, const IdVector&) override {
    return Refuse();
  }
  bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>&, const IdVector&) override { return Refuse(); }

 protected:
  static bool Refuse() {
    Orv::Base::Error::SetLastError({0, 15});
    return false;
  }
};

}  // namespace evidence_test
