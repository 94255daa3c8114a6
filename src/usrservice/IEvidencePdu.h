#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The (main, sub) pair that an answer reports; (0, 0) is success.
struct ResponseStatus {
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
  std::string text;
};

/// Converts JSON bodies to records and back. One stateless object serves all requests on any thread. A decoder takes
/// the body last and returns false with the last error set, (0, 2) for a body that is not JSON; the records are then
/// invalid. Decoders append to lists and maps; a missing key keeps its default. An encoder takes the response text
/// first and replaces it.
/// The order of the operations is part of the interface.
class IEvidencePdu {
 public:
  virtual ~IEvidencePdu() = default;

  // Settings, in two generations
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeFTPSettingsGetReq(const std::string& body) = 0;
  /// The password is encrypted for the client of `session`; when that fails the status is 252 and the password empty.
  /// Without settings only the codes are written.
  [[nodiscard]] virtual bool EncodeFTPSettingsGetRsp(std::string& response, const std::string& session,
                                                     const ResponseStatus& status, const FTPSettingsPtr& settings) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceSettingsGetRsp(std::string& response, const std::string& session,
                                                          const ResponseStatus& status,
                                                          const FTPSettingsPtr& settings) = 0;
  /// Decrypts the password with the key of `session`: (0, 253) when that fails. An invalid value is (0, 2).
  [[nodiscard]] virtual bool DecodeFTPSettingsPutReq(FTPSettingsPtr& settings, const std::string& session,
                                                     const std::string& body) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceSettingsPutReq(FTPSettingsPtr& settings, const std::string& session,
                                                          const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeSettingsPutRsp(std::string& response, const ResponseStatus& status) = 0;

  // Type
  /// `reserved` is ignored. `client_resource_version` is 0 when the whole dictionary is requested.
  [[nodiscard]] virtual bool DecodeEvidenceTypeGetReq(
      page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
      std::int32_t& client_resource_version, const std::string& body) = 0;
  /// `methods` is parallel to `types` in an incremental answer and empty in a full one. A total of -1 means the number
  /// of methods.
  [[nodiscard]] virtual bool EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status,
                                                      const page_info& page, const std::list<EvidenceTypePtr>& types,
                                                      const std::list<std::int32_t>& methods) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) = 0;
  /// Reports (0, 99999) when any entry has a nonzero code.
  [[nodiscard]] virtual bool EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                                      const std::list<ErrorPtr>& errors) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDGetReq(std::int32_t& type_id, const std::string& body) = 0;
  /// `type` may be null.
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                        const EvidenceTypePtr& type) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDPutRsp(std::string& response, const ResponseStatus& status) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDDeleteReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDDeleteRsp(std::string& response, const ResponseStatus& status) = 0;

  // Scene
  /// As for types, with other keys.
  [[nodiscard]] virtual bool DecodeEvidenceSceneGetReq(
      page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
      std::int32_t& client_resource_version, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceSceneGetRsp(std::string& response, const ResponseStatus& status,
                                                       const page_info& page, const std::list<EvidenceScenePtr>& scenes,
                                                       const std::list<std::int32_t>& methods) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceScenePutReq(std::list<EvidenceScenePtr>& scenes,
                                                       const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceScenePutRsp(std::string& response, const ResponseStatus& status,
                                                       const std::list<ErrorPtr>& errors) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceSceneIDGetReq(std::int32_t& scene_id, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceSceneIDGetRsp(std::string& response, const ResponseStatus& status,
                                                         const EvidenceScenePtr& scene) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceSceneIDPutReq(EvidenceScenePtr& scene, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceSceneIDPutRsp(std::string& response, const ResponseStatus& status) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceSceneIDDeleteReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceSceneIDDeleteRsp(std::string& response, const ResponseStatus& status) = 0;

  // Outcome
  [[nodiscard]] virtual bool DecodeEvidenceOutcomeGetReq(
      page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
      std::int32_t& client_resource_version, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceOutcomeGetRsp(std::string& response, const ResponseStatus& status,
                                                         const page_info& page,
                                                         const std::list<EvidenceOutcomePtr>& outcomes,
                                                         const std::list<std::int32_t>& methods) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceOutcomePutReq(std::list<EvidenceOutcomePtr>& outcomes,
                                                         const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceOutcomePutRsp(std::string& response, const ResponseStatus& status,
                                                         const std::list<ErrorPtr>& errors) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceOutcomeIDGetReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceOutcomeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                           const EvidenceOutcomePtr& outcome) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceOutcomeIDPutReq(EvidenceOutcomePtr& outcome, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceOutcomeIDPutRsp(std::string& response, const ResponseStatus& status) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceOutcomeIDDeleteReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceOutcomeIDDeleteRsp(std::string& response, const ResponseStatus& status) = 0;

  // Label
  [[nodiscard]] virtual bool EncodeEvidenceLabelGetRsp(std::string& response, const ResponseStatus& status,
                                                       const std::string& label) = 0;

  // Evidence
  /// Always reports (0, 0).
  [[nodiscard]] virtual bool EncodeEvidenceGUIDGetRsp(std::string& response, const std::string& guid) = 0;
  /// A new record; its creator is the user of `session`, (0, 200) when that session is unknown.
  [[nodiscard]] virtual bool DecodeEvidencePostReq(EvidencePtr& evidence, const std::string& session,
                                                   const std::string& body) = 0;
  /// `evidence` may be null. Its type name and creator name are refreshed, here and in the answers to queries.
  [[nodiscard]] virtual bool EncodeEvidencePostRsp(std::string& response, const ResponseStatus& status,
                                                   const EvidencePtr& evidence) = 0;

  // Query
  /// `filter` stays null when the body has none; the sort type is lost with it.
  [[nodiscard]] virtual bool DecodeEvidenceGetReq(page_info& page, EvidenceFilterPtr& filter, std::string& field,
                                                  IdList& evidence_ids, const std::string& body) = 0;
  /// `has_more`: more rows follow this page. `field` is the comma-separated list of the request; `FileList` in it adds
  /// the ids of the files. (0, 1) when the user interface is gone, here and in the answer for one evidence.
  [[nodiscard]] virtual bool EncodeEvidenceGetRsp(std::string& response, const ResponseStatus& status,
                                                  const page_info& page, bool has_more,
                                                  const std::list<EvidencePtr>& evidences,
                                                  const std::string& field) = 0;
  /// The users are those who confirm the deletion.
  [[nodiscard]] virtual bool DecodeEvidenceDeleteReq(IdList& evidence_ids, std::list<UserPtr>& users,
                                                     const std::string& body) = 0;
  /// Reports the remaining tries of `user_name` unless `remain_times` is -1.
  [[nodiscard]] virtual bool EncodeEvidenceDeleteRsp(std::string& response, std::int32_t remain_times,
                                                     std::int32_t remain_type, const std::string& user_name,
                                                     const ResponseStatus& status) = 0;

  // Evidence
  /// Reads only `id` and `evidence_status`. (0, 2) when the list is missing or empty.
  [[nodiscard]] virtual bool DecodeEvidencePutReq(std::list<EvidencePtr>& evidences, const std::string& body) = 0;
  /// The sub code is 99999 when any entry has a nonzero code.
  [[nodiscard]] virtual bool EncodeEvidencePutRsp(std::string& response, const ResponseStatus& status,
                                                  const std::list<EvidenceErrInfoPtr>& results) = 0;

  // Query
  [[nodiscard]] virtual bool DecodeEvidenceIDGetReq(std::string& field, const std::string& body) = 0;
  /// As one entry of the list, without its label. `evidence` may be null.
  [[nodiscard]] virtual bool EncodeEvidenceIDGetRsp(std::string& response, const ResponseStatus& status,
                                                    const EvidencePtr& evidence, const std::string& field) = 0;

  // Evidence
  [[nodiscard]] virtual bool DecodeEvidenceIDPutReq(EvidencePtr& evidence, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceIDPutRsp(std::string& response, const ResponseStatus& status) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceIDDeleteReq(std::list<UserPtr>& users, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceIDDeleteRsp(std::string& response, std::int32_t remain_times,
                                                       std::int32_t remain_type, const std::string& user_name,
                                                       const ResponseStatus& status) = 0;

  // Api: bodies of calls between plugins
  /// `reserved` is ignored, here and below.
  [[nodiscard]] virtual bool DecodeAPIEvidencePUTReq(EvidenceFilesMap& evidences, std::string& reserved,
                                                     const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeAPIEvidencePutRsp(std::string& response, const ResponseStatus& status,
                                                     const EvidenceFilesMap& evidences) = 0;
  /// `filter` stays null without ids.
  [[nodiscard]] virtual bool DecodeAPIEvidenceTypePostReq(page_info& page,
                                                          std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter,
                                                          std::string& reserved, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeAPIEvidenceTypePostRsp(std::string& response, const page_info& page,
                                                          const ResponseStatus& status,
                                                          const std::list<EvidenceTypePtr>& types) = 0;

  // Custom
  /// The version is 0 when the whole dictionary is requested.
  [[nodiscard]] virtual bool DecodeEvidenceCustomGetReq(std::int32_t& client_resource_version,
                                                        const std::string& body) = 0;
  /// `methods` as for types. `response` is unchanged when `customs` is empty.
  [[nodiscard]] virtual bool EncodeEvidenceCustomGetRsp(std::string& response, const ResponseStatus& status,
                                                        const std::list<EvidenceCustomPtr>& customs,
                                                        const std::list<std::int32_t>& methods) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceCustomPutReq(std::list<EvidenceCustomPtr>& customs,
                                                        const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceCustomPutRsp(std::string& response, const ResponseStatus& status) = 0;

  // File
  [[nodiscard]] virtual bool DecodeEvidenceIDFilesPostReq(std::list<EvidenceFilePtr>& files,
                                                          const std::string& body) = 0;
  /// Reports (0, 99999) when any entry has a nonzero code.
  [[nodiscard]] virtual bool EncodeEvidenceIDFilesPostRsp(std::string& response, const ResponseStatus& status,
                                                          const std::list<ErrorPtr>& errors) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceIDFilesGetReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceIDFilesGetRsp(std::string& response, const ResponseStatus& status,
                                                         const std::list<EvidenceFilePtr>& files) = 0;
  /// Files that belong to no evidence. (0, 2) unless both paging keys are present.
  [[nodiscard]] virtual bool DecodeUnrelatedFilesGetReq(EvidenceFilterPtr& filter, const std::string& body) = 0;

  // Log
  /// Appends one entry by the user of `session`, (0, 200) when that session is unknown.
  [[nodiscard]] virtual bool DecodeWriteEvidenceLogPostReq(std::vector<operation_record>& records,
                                                           const std::string& session, std::int32_t evidence_id,
                                                           const std::string& body) = 0;
  /// Always true; writes nothing.
  [[nodiscard]] virtual bool EncodeWriteEvidenceLogPostRsp() = 0;

  // File
  /// Guids in request order, duplicates included.
  [[nodiscard]] virtual bool DecodeUploadCancelReq(std::list<std::string>& guids, const std::string& body) = 0;
  /// Files by descending id. `statistics` is the number of files by file type.
  [[nodiscard]] virtual bool EncodeUnrelatedFilesGetRsp(std::string& response, const ResponseStatus& status,
                                                        const std::list<EvidenceFilePtr>& files, const page_info& page,
                                                        const std::map<std::int32_t, std::int32_t>& statistics,
                                                        std::int32_t total) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceFilesDeleteReq(IdList& file_ids, const std::string& body) = 0;
  /// For a repeated id the first digest is used.
  [[nodiscard]] virtual bool DecodeModifyEvidenceFilesDigestPutReq(std::map<std::int32_t, std::string>& digests,
                                                                   const std::string& body) = 0;
  /// Reports (0, 99999) when any entry has a nonzero code.
  [[nodiscard]] virtual bool EncodeEvidenceFilesRsp(std::string& response, const ResponseStatus& status,
                                                    const std::list<ErrorPtr>& errors) = 0;

  // Every route
  /// An answer with only the thread's last error.
  [[nodiscard]] virtual bool EncodeBaseErrorRsp(std::string& response) = 0;

  // File
  /// For a repeated guid the last chunk is used.
  [[nodiscard]] virtual bool DecodeUploadStatusGetReq(std::map<std::string, std::int32_t>& chunks,
                                                      const std::string& body) = 0;
};

}  // namespace Evidence
