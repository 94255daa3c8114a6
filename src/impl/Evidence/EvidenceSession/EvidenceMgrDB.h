#pragma once

#include "Common/Operation.h"
#include "KelpPlatform/DBManager.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceSession/IEvidenceMgrDB.h"

namespace Evidence {

/// The store on PostgreSQL.
class CEvidenceMgrDBByPG final : public IEvidenceMgrDB, public Orv::Base::CNoncopyable {
 public:
  // Settings
  bool GetFTPSettings(FTPSettingsPtr& settings) override;
  bool UpdateFTPSettings(const FTPSettingsPtr& settings) override;

  // Sequences
  std::int32_t QueryEvidenceSeqID() override;
  std::int32_t QueryEvidenceFileSeqID() override;
  std::int32_t QueryEvidenceTypeSeqID() override;
  std::int32_t QueryEvidenceSceneSeqID() override;
  std::int32_t QueryEvidenceOutcomeSeqID() override;
  std::int32_t QueryEvidenceCustomSeqID() override;
  std::int32_t QueryEvidenceCustomInfoSeqID() override;
  std::int32_t QueryEvidenceOptionSeqID() override;

  // Evidence, Query
  bool InsertEvidence(const EvidencePtr& evidence) override;
  bool UpdateEvidence(const EvidencePtr& evidence) override;
  bool DeleteEvidenceTypeInEvidence(const IdVector& type_ids) override;
  bool DeleteEvidences(const IdList& evidence_ids) override;
  bool QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                      const EvidenceFilterPtr& filter) override;
  bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id) override;
  bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, const IdList& evidence_ids) override;
  bool GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid) override;
  bool GetEvidencesCount(std::int32_t& count) override;

  // Type
  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) override;
  bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) override;
  bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) override;
  bool DeleteEvidenceTypes(const IdList& type_ids) override;
  bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) override;

  // Scene, outcome
  bool ReadAllEvidenceScenes(std::list<EvidenceScenePtr>& scenes) override;
  bool InsertEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) override;
  bool UpdateEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) override;
  bool DeleteEvidenceScenes(const IdList& scene_ids) override;
  bool QueryEvidenceSceneNameById(std::string& name, std::int32_t scene_id) override;
  bool ReadAllEvidenceOutcomes(std::list<EvidenceOutcomePtr>& outcomes) override;
  bool InsertEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) override;
  bool UpdateEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) override;
  bool DeleteEvidenceOutcomes(const IdList& outcome_ids) override;
  bool QueryEvidenceOutcomeNameById(std::string& name, std::int32_t outcome_id) override;

  // Custom: definitions
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) override;
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) override;
  bool InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) override;
  bool UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) override;
  bool DeleteEvidenceCustoms(const IdList& custom_ids) override;

  // Custom: values of evidences
  bool InsertEvidenceCustomInfo(const EvidencePtr& evidence) override;
  bool UpdateEvidenceCustomInfo(const EvidencePtr& evidence) override;
  bool DeleteEvidenceCustomInfo(const IdList& evidence_ids) override;
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>& customs,
                             const IdVector& evidence_ids) override;
  bool GetEvidenceCustomInfo(std::map<std::int32_t, tag_EvidenceCustom_>& customs) override;
  bool DeleteEvidenceCustomInfoByCustomID(const IdList& custom_ids) override;
  bool GetEvidenceCustomByID(std::list<EvidenceCustomPtr>& customs, std::int32_t evidence_id) override;
  bool QueryEvidenceCustomNameById(std::string& name, std::int32_t custom_id) override;

  // Custom: options
  bool InsertOptionsByCustom(std::list<EvidenceCustomPtr>& customs) override;
  bool GetOptionsByCustom(std::vector<tag_EvidenceOption_>& options, const EvidenceCustomPtr& custom) override;
  bool DeleteOptionsByCustom(const IdList& custom_ids) override;
  bool InsertOptions(const std::vector<tag_EvidenceOption_>& options, const EvidenceCustomPtr& custom) override;
  bool UpdatetOptions(const std::vector<tag_EvidenceOption_>& options,  // sic
                      const EvidenceCustomPtr& custom) override;
  bool DeleteOptions(const std::vector<tag_EvidenceOption_>& options, const EvidenceCustomPtr& custom) override;

  // File
  bool InsertEvidenceFiles(const std::list<EvidenceFilePtr>& files) override;
  bool UpdateEvidenceFiles(const IdVector& file_ids, std::int32_t evidence_id) override;
  bool UpdateEvidenceFiles(const std::list<EvidenceFilePtr>& files) override;
  bool DeleteEvidenceFiles(const IdList& file_ids) override;
  bool ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>& digests) override;  // sic
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t evidence_id) override;
  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                          const IdVector& evidence_ids) override;
  bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id, const std::string& file_name,
                          const std::string& guid) override;
  bool QueryUnRelatedEvidenceFiles(std::list<EvidenceFilePtr>& files, const EvidenceFilterPtr& filter,
                                   std::int32_t& count) override;
  bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id) override;

  // Label
  bool GetEvidenceLabel(std::string& labels) override;

  // Log
  bool WriteEvidenceLog(const std::vector<operation_record>& records, std::int32_t client_type) override;
  bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& reserved,
                      std::int32_t evidence_id) override;

  // Evidence: uploads
  bool QueryAllEvidences(std::list<EvidencePtr>& evidences) override;
  bool UpdateCameraUploadStatus(std::int32_t evidence_id, std::int32_t status) override;
  bool UpdateCameraUploadSuccList(std::int32_t evidence_id, const std::string& camera_ids) override;

  // File: by type, by id
  bool QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>& counts) override;
  bool GetEvidenceIDAndFileNameByFileID(std::map<std::int32_t, std::list<std::string>>& file_names,
                                        const IdVector& file_ids) override;
  bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids) override;

 private:
  /// The next value of a sequence; -1 with (0, 15) on failure.
  std::int32_t QueryLastSeqID(const std::string& sequence);

  /// The cursor's row as an evidence, without names and customs. False: (0, 15) without a cursor, (0, 1) without
  /// memory.
  [[nodiscard]] static bool ConvertToEvidenceStruct(EvidencePtr& evidence, const kelp::IDBResultSet* row);

  /// Appends every row; one that cannot be converted is logged and skipped.
  static void ReadEvidenceRows(std::list<EvidencePtr>& evidences, kelp::IDBResultSet* rows,
                               Operation operation = Operation::current());

  enum class SingleRow { kRead, kNone, kNoCursor, kNotConverted };
  /// Reads the first row, if any; sets the pair of the two failures, and logs the first.
  static SingleRow ReadSingleEvidence(EvidencePtr& evidence, const kelp::IDBResultSet* rows,
                                      Operation operation = Operation::current());
};

}  // namespace Evidence
