#pragma once

#include <list>
#include <string>
#include <vector>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/IEvidenceMgrDB.h"

namespace evidence_test {

/// A store that refuses everything with (0, 15); tests override what they need.
class StoreStub : public Evidence::IEvidenceMgrDB {
 public:
  bool GetFTPSettings(Evidence::FTPSettingsPtr&) override { return Refuse(); }
  bool UpdateFTPSettings(const Evidence::FTPSettingsPtr&) override { return Refuse(); }
  std::int32_t QueryEvidenceSeqID() override { return -1; }
  std::int32_t QueryEvidenceFileSeqID() override { return -1; }
  std::int32_t QueryEvidenceTypeSeqID() override { return -1; }
  std::int32_t QueryEvidenceSceneSeqID() override { return -1; }
  std::int32_t QueryEvidenceOutcomeSeqID() override { return -1; }
  std::int32_t QueryEvidenceCustomSeqID() override { return -1; }
  std::int32_t QueryEvidenceCustomInfoSeqID() override { return -1; }
  std::int32_t QueryEvidenceOptionSeqID() override { return -1; }
  bool InsertEvidence(const Evidence::EvidencePtr&) override { return Refuse(); }
  bool UpdateEvidence(const Evidence::EvidencePtr&) override { return Refuse(); }
  bool DeleteEvidenceTypeInEvidence(const Evidence::IdVector&) override { return Refuse(); }
  bool DeleteEvidences(const Evidence::IdList&) override { return Refuse(); }
  bool QueryEvidences(std::list<Evidence::EvidencePtr>&, Evidence::page_info&, bool&,
                      const Evidence::EvidenceFilterPtr&) override {
    return Refuse();
  }
  bool GetEvidenceByID(Evidence::EvidencePtr&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceByIDs(std::list<Evidence::EvidencePtr>&, const Evidence::IdList&) override { return Refuse(); }
  bool GetEvidenceByGuid(Evidence::EvidencePtr&, const std::string&) override { return Refuse(); }
  bool GetEvidencesCount(std::int32_t&) override { return Refuse(); }
  bool ReadAllEvidenceTypes(std::list<Evidence::EvidenceTypePtr>&) override { return Refuse(); }
  bool InsertEvidenceTypes(const std::list<Evidence::EvidenceTypePtr>&) override { return Refuse(); }
  bool UpdateEvidenceTypes(const std::list<Evidence::EvidenceTypePtr>&) override { return Refuse(); }
  bool DeleteEvidenceTypes(const Evidence::IdList&) override { return Refuse(); }
  bool QueryEvidenceTypeNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceScenes(std::list<Evidence::EvidenceScenePtr>&) override { return Refuse(); }
  bool InsertEvidenceScenes(const std::list<Evidence::EvidenceScenePtr>&) override { return Refuse(); }
  bool UpdateEvidenceScenes(const std::list<Evidence::EvidenceScenePtr>&) override { return Refuse(); }
  bool DeleteEvidenceScenes(const Evidence::IdList&) override { return Refuse(); }
  bool QueryEvidenceSceneNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceOutcomes(std::list<Evidence::EvidenceOutcomePtr>&) override { return Refuse(); }
  bool InsertEvidenceOutcomes(const std::list<Evidence::EvidenceOutcomePtr>&) override { return Refuse(); }
  bool UpdateEvidenceOutcomes(const std::list<Evidence::EvidenceOutcomePtr>&) override { return Refuse(); }
  bool DeleteEvidenceOutcomes(const Evidence::IdList&) override { return Refuse(); }
  bool QueryEvidenceOutcomeNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool ReadAllEvidenceCustoms(std::list<Evidence::EvidenceCustomPtr>&) override { return Refuse(); }
  bool ReadAllCustomOptions(std::list<Evidence::EvidenceCustomPtr>&) override { return Refuse(); }
  bool InsertEvidenceCustoms(const std::list<Evidence::EvidenceCustomPtr>&) override { return Refuse(); }
  bool UpdateEvidenceCustoms(const std::list<Evidence::EvidenceCustomPtr>&) override { return Refuse(); }
  bool DeleteEvidenceCustoms(const Evidence::IdList&) override { return Refuse(); }
  bool InsertEvidenceCustomInfo(const Evidence::EvidencePtr&) override { return Refuse(); }
  bool UpdateEvidenceCustomInfo(const Evidence::EvidencePtr&) override { return Refuse(); }
  bool DeleteEvidenceCustomInfo(const Evidence::IdList&) override { return Refuse(); }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<Evidence::tag_EvidenceCustom_>>&,
                             const Evidence::IdVector&) override {
    return Refuse();
  }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, Evidence::tag_EvidenceCustom_>&) override { return Refuse(); }
  bool DeleteEvidenceCustomInfoByCustomID(const Evidence::IdList&) override { return Refuse(); }
  bool GetEvidenceCustomByID(std::list<Evidence::EvidenceCustomPtr>&, std::int32_t) override { return Refuse(); }
  bool QueryEvidenceCustomNameById(std::string&, std::int32_t) override { return Refuse(); }
  bool InsertOptionsByCustom(std::list<Evidence::EvidenceCustomPtr>&) override { return Refuse(); }
  bool GetOptionsByCustom(std::vector<Evidence::tag_EvidenceOption_>&, const Evidence::EvidenceCustomPtr&) override {
    return Refuse();
  }
  bool DeleteOptionsByCustom(const Evidence::IdList&) override { return Refuse(); }
  bool InsertOptions(const std::vector<Evidence::tag_EvidenceOption_>&, const Evidence::EvidenceCustomPtr&) override {
    return Refuse();
  }
  bool UpdatetOptions(const std::vector<Evidence::tag_EvidenceOption_>&, const Evidence::EvidenceCustomPtr&) override {
    return Refuse();
  }
  bool DeleteOptions(const std::vector<Evidence::tag_EvidenceOption_>&, const Evidence::EvidenceCustomPtr&) override {
    return Refuse();
  }
  bool InsertEvidenceFiles(const std::list<Evidence::EvidenceFilePtr>&) override { return Refuse(); }
  bool UpdateEvidenceFiles(const Evidence::IdVector&, std::int32_t) override { return Refuse(); }
  bool UpdateEvidenceFiles(const std::list<Evidence::EvidenceFilePtr>&) override { return Refuse(); }
  bool DeleteEvidenceFiles(const Evidence::IdList&) override { return Refuse(); }
  bool ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>&) override { return Refuse(); }
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t) override { return Refuse(); }
  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<Evidence::EvidenceFilePtr>>&,
                          const Evidence::IdVector&) override {
    return Refuse();
  }
  bool QueryEvidenceFiles(std::list<Evidence::EvidenceFilePtr>&, std::int32_t, const std::string&,
                          const std::string&) override {
    return Refuse();
  }
  bool QueryUnRelatedEvidenceFiles(std::list<Evidence::EvidenceFilePtr>&, const Evidence::EvidenceFilterPtr&,
                                   std::int32_t&) override {
    return Refuse();
  }
  bool GetEvidenceFilesCount(std::int32_t&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceLabel(std::string&) override { return Refuse(); }
  bool WriteEvidenceLog(const std::vector<Evidence::operation_record>&, std::int32_t) override { return Refuse(); }
  bool GetEvidenceLog(std::map<std::string, Evidence::operation_record>&, Evidence::IdList&, std::int32_t) override {
    return Refuse();
  }
  bool QueryAllEvidences(std::list<Evidence::EvidencePtr>&) override { return Refuse(); }
  bool UpdateCameraUploadStatus(std::int32_t, std::int32_t) override { return Refuse(); }
  bool UpdateCameraUploadSuccList(std::int32_t, const std::string&) override { return Refuse(); }
  bool QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>&) override { return Refuse(); }
  bool GetEvidenceIDAndFileNameByFileID(std::map<std::int32_t, std::list<std::string>>&,
                                        const Evidence::IdVector&) override {
    return Refuse();
  }
  bool GetEvidenceFileByFileID(std::list<Evidence::EvidenceFilePtr>&, const Evidence::IdVector&) override {
    return Refuse();
  }

 protected:
  static bool Refuse() {
    Orv::Base::Error::SetLastError({0, 15});
    return false;
  }
};

/// An error list as "id name main-sub".
inline std::vector<std::string> ErrorTexts(const std::list<Evidence::ErrorPtr>& errors) {
  std::vector<std::string> texts;
  for (const auto& error : errors) {
    texts.push_back(std::to_string(error->id) + " " + error->name + " " + std::to_string(error->main_code) + "-" +
                    std::to_string(error->sub_code));
  }
  return texts;
}

}  // namespace evidence_test
