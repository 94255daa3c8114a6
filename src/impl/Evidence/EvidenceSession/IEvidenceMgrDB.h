#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The plugin's only access to its database. Each operation builds a statement text, runs it as one call and maps rows;
/// there are no retries and no rollback. A bool is false with the last error (0, 15) when the statement failed. A batch
/// is one text; an empty one returns true and sends nothing. Results are appended to lists. Stateless: any thread.
class IEvidenceMgrDB {
 public:
  virtual ~IEvidenceMgrDB() = default;

  // Settings
  [[nodiscard]] virtual bool GetFTPSettings(FTPSettingsPtr& settings) = 0;
  [[nodiscard]] virtual bool UpdateFTPSettings(const FTPSettingsPtr& settings) = 0;

  // Sequences: the next key of a table; -1 with (0, 15) on failure.
  [[nodiscard]] virtual std::int32_t QueryEvidenceSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceFileSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceTypeSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceSceneSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceOutcomeSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceCustomSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceCustomInfoSeqID() = 0;
  [[nodiscard]] virtual std::int32_t QueryEvidenceOptionSeqID() = 0;

  // Evidence, Query
  [[nodiscard]] virtual bool InsertEvidence(const EvidencePtr& evidence) = 0;
  [[nodiscard]] virtual bool UpdateEvidence(const EvidencePtr& evidence) = 0;
  /// Sets the type of every live evidence that has one of these types to -1.
  [[nodiscard]] virtual bool DeleteEvidenceTypeInEvidence(const IdVector& type_ids) = 0;
  [[nodiscard]] virtual bool DeleteEvidences(const IdList& evidence_ids) = 0;
  [[nodiscard]] virtual bool QueryEvidences(std::list<EvidencePtr>& evidences, page_info& page, bool& has_more,
                                            const EvidenceFilterPtr& filter) = 0;
  /// False, with the last error unchanged, when there is no live row with that id.
  [[nodiscard]] virtual bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t evidence_id) = 0;
  /// Records with id and name only.
  [[nodiscard]] virtual bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, const IdList& evidence_ids) = 0;
  /// False, with the last error unchanged, when there is no live row with that guid.
  [[nodiscard]] virtual bool GetEvidenceByGuid(EvidencePtr& evidence, const std::string& guid) = 0;
  [[nodiscard]] virtual bool GetEvidencesCount(std::int32_t& count) = 0;

  // Type
  /// Every live row.
  [[nodiscard]] virtual bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) = 0;
  [[nodiscard]] virtual bool InsertEvidenceTypes(const std::list<EvidenceTypePtr>& types) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceTypes(const std::list<EvidenceTypePtr>& types) = 0;
  /// Marks the rows deleted.
  [[nodiscard]] virtual bool DeleteEvidenceTypes(const IdList& type_ids) = 0;
  /// The name of a row, live or deleted; true with an empty name when there is no such row.
  [[nodiscard]] virtual bool QueryEvidenceTypeNameById(std::string& name, std::int32_t type_id) = 0;

  // Scene, outcome: as for types
  [[nodiscard]] virtual bool ReadAllEvidenceScenes(std::list<EvidenceScenePtr>& scenes) = 0;
  [[nodiscard]] virtual bool InsertEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceScenes(const std::list<EvidenceScenePtr>& scenes) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceScenes(const IdList& scene_ids) = 0;
  [[nodiscard]] virtual bool QueryEvidenceSceneNameById(std::string& name, std::int32_t scene_id) = 0;
  [[nodiscard]] virtual bool ReadAllEvidenceOutcomes(std::list<EvidenceOutcomePtr>& outcomes) = 0;
  [[nodiscard]] virtual bool InsertEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceOutcomes(const std::list<EvidenceOutcomePtr>& outcomes) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceOutcomes(const IdList& outcome_ids) = 0;
  [[nodiscard]] virtual bool QueryEvidenceOutcomeNameById(std::string& name, std::int32_t outcome_id) = 0;

  // Custom: definitions
  /// Every live row, without options.
  [[nodiscard]] virtual bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>& customs) = 0;
  /// Fills the options of each custom that can have any.
  [[nodiscard]] virtual bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>& customs) = 0;
  [[nodiscard]] virtual bool InsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceCustoms(const IdList& custom_ids) = 0;

  // Custom: values of evidences
  [[nodiscard]] virtual bool InsertEvidenceCustomInfo(const EvidencePtr& evidence) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceCustomInfo(const EvidencePtr& evidence) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceCustomInfo(const IdList& evidence_ids) = 0;
  [[nodiscard]] virtual bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>& customs,
                                                   const IdVector& evidence_ids) = 0;
  /// All values, reduced to one custom per evidence.
  [[nodiscard]] virtual bool GetEvidenceCustomInfo(std::map<std::int32_t, tag_EvidenceCustom_>& customs) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceCustomInfoByCustomID(const IdList& custom_ids) = 0;
  [[nodiscard]] virtual bool GetEvidenceCustomByID(std::list<EvidenceCustomPtr>& customs, std::int32_t evidence_id) = 0;
  [[nodiscard]] virtual bool QueryEvidenceCustomNameById(std::string& name, std::int32_t custom_id) = 0;

  // Custom: options
  /// Gets the key of each option from the sequence and sets it in the list.
  [[nodiscard]] virtual bool InsertOptionsByCustom(std::list<EvidenceCustomPtr>& customs) = 0;
  [[nodiscard]] virtual bool GetOptionsByCustom(std::vector<tag_EvidenceOption_>& options,
                                                const EvidenceCustomPtr& custom) = 0;
  [[nodiscard]] virtual bool DeleteOptionsByCustom(const IdList& custom_ids) = 0;
  [[nodiscard]] virtual bool InsertOptions(const std::vector<tag_EvidenceOption_>& options,
                                           const EvidenceCustomPtr& custom) = 0;
  [[nodiscard]] virtual bool UpdatetOptions(const std::vector<tag_EvidenceOption_>& options,  // sic
                                            const EvidenceCustomPtr& custom) = 0;
  [[nodiscard]] virtual bool DeleteOptions(const std::vector<tag_EvidenceOption_>& options,
                                           const EvidenceCustomPtr& custom) = 0;

  // File
  [[nodiscard]] virtual bool InsertEvidenceFiles(const std::list<EvidenceFilePtr>& files) = 0;
  /// Unlinks the files from the evidence.
  [[nodiscard]] virtual bool UpdateEvidenceFiles(const IdVector& file_ids, std::int32_t evidence_id) = 0;
  [[nodiscard]] virtual bool UpdateEvidenceFiles(const std::list<EvidenceFilePtr>& files) = 0;
  [[nodiscard]] virtual bool DeleteEvidenceFiles(const IdList& file_ids) = 0;
  [[nodiscard]] virtual bool ModiyfEvidenceFileDigest(const std::map<std::int32_t, std::string>& digests) = 0;  // sic
  [[nodiscard]] virtual bool DeleteEvidenceFilesByEvidenceId(std::int32_t evidence_id) = 0;
  [[nodiscard]] virtual bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                                                const IdVector& evidence_ids) = 0;
  [[nodiscard]] virtual bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id,
                                                const std::string& file_name, const std::string& guid) = 0;
  [[nodiscard]] virtual bool QueryUnRelatedEvidenceFiles(std::list<EvidenceFilePtr>& files,
                                                         const EvidenceFilterPtr& filter, std::int32_t& count) = 0;
  [[nodiscard]] virtual bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id) = 0;

  // Label
  [[nodiscard]] virtual bool GetEvidenceLabel(std::string& labels) = 0;

  // Log
  [[nodiscard]] virtual bool WriteEvidenceLog(const std::vector<operation_record>& records,
                                              std::int32_t client_type) = 0;
  /// `reserved` is ignored.
  [[nodiscard]] virtual bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList& reserved,
                                            std::int32_t evidence_id) = 0;

  // Evidence: uploads
  [[nodiscard]] virtual bool QueryAllEvidences(std::list<EvidencePtr>& evidences) = 0;
  [[nodiscard]] virtual bool UpdateCameraUploadStatus(std::int32_t evidence_id, std::int32_t status) = 0;
  [[nodiscard]] virtual bool UpdateCameraUploadSuccList(std::int32_t evidence_id, const std::string& camera_ids) = 0;

  // File: by type, by id
  [[nodiscard]] virtual bool QueryUnRelatedEvidenceFilesNum(std::map<std::int32_t, std::int32_t>& counts) = 0;
  [[nodiscard]] virtual bool GetEvidenceIDAndFileNameByFileID(
      std::map<std::int32_t, std::list<std::string>>& file_names, const IdVector& file_ids) = 0;
  [[nodiscard]] virtual bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids) = 0;
};

}  // namespace Evidence
