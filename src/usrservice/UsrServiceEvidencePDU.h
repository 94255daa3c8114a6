#pragma once

#include <memory>
#include <utility>

#include "Common/ErrorCodes.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceUserInterface.h"
#include "usrservice/IEvidencePdu.h"

namespace Evidence {

class CEvidencePduJson final : public IEvidencePdu, public Orv::Base::CNoncopyable {
 public:
  /// Encoders that look something up go through `user_interface`; when it is gone they fail with (0, 1).
  explicit CEvidencePduJson(std::weak_ptr<CEvidenceUserInterface> user_interface)
      : user_interface_(std::move(user_interface)) {}

  // Settings
  bool DecodeFTPSettingsGetReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeFTPSettingsGetRsp(std::string& response, const std::string& session, const ResponseStatus& status,
                               const FTPSettingsPtr& settings) override;
  bool EncodeEvidenceSettingsGetRsp(std::string& response, const std::string& session, const ResponseStatus& status,
                                    const FTPSettingsPtr& settings) override;
  bool DecodeFTPSettingsPutReq(FTPSettingsPtr& settings, const std::string& session, const std::string& body) override;
  bool DecodeEvidenceSettingsPutReq(FTPSettingsPtr& settings, const std::string& session,
                                    const std::string& body) override;
  bool EncodeSettingsPutRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }

  // Type
  bool DecodeEvidenceTypeGetReq(page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
                                std::int32_t& client_resource_version, const std::string& body) override;
  bool EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status, const page_info& page,
                                const std::list<EvidenceTypePtr>& types,
                                const std::list<std::int32_t>& methods) override;
  bool DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) override;
  bool EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                const std::list<ErrorPtr>& errors) override;
  bool DecodeEvidenceTypeIDGetReq(std::int32_t&, const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                  const EvidenceTypePtr& type) override;
  bool DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) override;
  bool EncodeEvidenceTypeIDPutRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }
  bool DecodeEvidenceTypeIDDeleteReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceTypeIDDeleteRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }

  // Scene
  bool DecodeEvidenceSceneGetReq(page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
                                 std::int32_t& client_resource_version, const std::string& body) override;
  bool EncodeEvidenceSceneGetRsp(std::string& response, const ResponseStatus& status, const page_info& page,
                                 const std::list<EvidenceScenePtr>& scenes,
                                 const std::list<std::int32_t>& methods) override;
  bool DecodeEvidenceScenePutReq(std::list<EvidenceScenePtr>& scenes, const std::string& body) override;
  bool EncodeEvidenceScenePutRsp(std::string& response, const ResponseStatus& status,
                                 const std::list<ErrorPtr>& errors) override;
  bool DecodeEvidenceSceneIDGetReq(std::int32_t&, const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceSceneIDGetRsp(std::string& response, const ResponseStatus& status,
                                   const EvidenceScenePtr& scene) override;
  bool DecodeEvidenceSceneIDPutReq(EvidenceScenePtr& scene, const std::string& body) override;
  bool EncodeEvidenceSceneIDPutRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }
  bool DecodeEvidenceSceneIDDeleteReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceSceneIDDeleteRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }

  // Outcome
  bool DecodeEvidenceOutcomeGetReq(page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
                                   std::int32_t& client_resource_version, const std::string& body) override;
  bool EncodeEvidenceOutcomeGetRsp(std::string& response, const ResponseStatus& status, const page_info& page,
                                   const std::list<EvidenceOutcomePtr>& outcomes,
                                   const std::list<std::int32_t>& methods) override;
  bool DecodeEvidenceOutcomePutReq(std::list<EvidenceOutcomePtr>& outcomes, const std::string& body) override;
  bool EncodeEvidenceOutcomePutRsp(std::string& response, const ResponseStatus& status,
                                   const std::list<ErrorPtr>& errors) override;
  bool DecodeEvidenceOutcomeIDGetReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceOutcomeIDGetRsp(std::string& response, const ResponseStatus& status,
                                     const EvidenceOutcomePtr& outcome) override;
  bool DecodeEvidenceOutcomeIDPutReq(EvidenceOutcomePtr& outcome, const std::string& body) override;
  bool EncodeEvidenceOutcomeIDPutRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }
  bool DecodeEvidenceOutcomeIDDeleteReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceOutcomeIDDeleteRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }

  // Label
  bool EncodeEvidenceLabelGetRsp(std::string& response, const ResponseStatus& status,
                                 const std::string& label) override;

  // Evidence
  bool EncodeEvidenceGUIDGetRsp(std::string& response, const std::string& guid) override;
  bool DecodeEvidencePostReq(EvidencePtr& evidence, const std::string& session, const std::string& body) override;
  bool EncodeEvidencePostRsp(std::string& response, const ResponseStatus& status, const EvidencePtr& evidence) override;

  // Query
  bool DecodeEvidenceGetReq(page_info& page, EvidenceFilterPtr& filter, std::string& field, IdList& evidence_ids,
                            const std::string& body) override;
  bool EncodeEvidenceGetRsp(std::string& response, const ResponseStatus& status, const page_info& page, bool has_more,
                            const std::list<EvidencePtr>& evidences, const std::string& field) override;
  bool DecodeEvidenceDeleteReq(IdList& evidence_ids, std::list<UserPtr>& users, const std::string& body) override;
  bool EncodeEvidenceDeleteRsp(std::string& response, std::int32_t remain_times, std::int32_t remain_type,
                               const std::string& user_name, const ResponseStatus& status) override;

  // Evidence
  bool DecodeEvidencePutReq(std::list<EvidencePtr>& evidences, const std::string& body) override;
  bool EncodeEvidencePutRsp(std::string& response, const ResponseStatus& status,
                            const std::list<EvidenceErrInfoPtr>& results) override;

  // Query
  bool DecodeEvidenceIDGetReq(std::string& field, const std::string& body) override;
  bool EncodeEvidenceIDGetRsp(std::string& response, const ResponseStatus& status, const EvidencePtr& evidence,
                              const std::string& field) override;

  // Evidence
  bool DecodeEvidenceIDPutReq(EvidencePtr& evidence, const std::string& body) override;
  bool EncodeEvidenceIDPutRsp(std::string& response, const ResponseStatus& status) override {
    return EncodeRspBase(response, status);
  }
  bool DecodeEvidenceIDDeleteReq(std::list<UserPtr>& users, const std::string& body) override;
  bool EncodeEvidenceIDDeleteRsp(std::string& response, std::int32_t remain_times, std::int32_t remain_type,
                                 const std::string& user_name, const ResponseStatus& status) override {
    return EncodeEvidenceDeleteRsp(response, remain_times, remain_type, user_name, status);
  }

  // Api
  bool DecodeAPIEvidencePUTReq(EvidenceFilesMap& evidences, std::string& reserved, const std::string& body) override;
  bool EncodeAPIEvidencePutRsp(std::string& response, const ResponseStatus& status,
                               const EvidenceFilesMap& evidences) override;
  bool DecodeAPIEvidenceTypePostReq(page_info& page, std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter,
                                    std::string& reserved, const std::string& body) override;
  bool EncodeAPIEvidenceTypePostRsp(std::string& response, const page_info& page, const ResponseStatus& status,
                                    const std::list<EvidenceTypePtr>& types) override;

  // Custom
  bool DecodeEvidenceCustomGetReq(std::int32_t& client_resource_version, const std::string& body) override;
  bool EncodeEvidenceCustomGetRsp(std::string& response, const ResponseStatus& status,
                                  const std::list<EvidenceCustomPtr>& customs,
                                  const std::list<std::int32_t>& methods) override;
  bool DecodeEvidenceCustomPutReq(std::list<EvidenceCustomPtr>& customs, const std::string& body) override;
  bool EncodeEvidenceCustomPutRsp(std::string& response, const ResponseStatus& status) override;

  // File
  bool DecodeEvidenceIDFilesPostReq(std::list<EvidenceFilePtr>& files, const std::string& body) override;
  bool EncodeEvidenceIDFilesPostRsp(std::string& response, const ResponseStatus& status,
                                    const std::list<ErrorPtr>& errors) override;
  bool DecodeEvidenceIDFilesGetReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceIDFilesGetRsp(std::string& response, const ResponseStatus& status,
                                   const std::list<EvidenceFilePtr>& files) override;
  bool DecodeUnrelatedFilesGetReq(EvidenceFilterPtr& filter, const std::string& body) override;

  // Log
  bool DecodeWriteEvidenceLogPostReq(std::vector<operation_record>& records, const std::string& session,
                                     std::int32_t evidence_id, const std::string& body) override;
  bool EncodeWriteEvidenceLogPostRsp() override { return true; }

  // File
  bool DecodeUploadCancelReq(std::list<std::string>& guids, const std::string& body) override;
  bool EncodeUnrelatedFilesGetRsp(std::string& response, const ResponseStatus& status,
                                  const std::list<EvidenceFilePtr>& files, const page_info& page,
                                  const std::map<std::int32_t, std::int32_t>& statistics, std::int32_t total) override;
  bool DecodeEvidenceFilesDeleteReq(IdList& file_ids, const std::string& body) override;
  bool DecodeModifyEvidenceFilesDigestPutReq(std::map<std::int32_t, std::string>& digests,
                                             const std::string& body) override;
  bool EncodeEvidenceFilesRsp(std::string& response, const ResponseStatus& status,
                              const std::list<ErrorPtr>& errors) override;

  // Every route
  bool EncodeBaseErrorRsp(std::string& response) override;

  // File
  bool DecodeUploadStatusGetReq(std::map<std::string, std::int32_t>& chunks, const std::string& body) override;

 private:
  /// The bare envelope.
  bool EncodeRspBase(std::string& response, const ResponseStatus& status);

  /// Null with (0, 1) when it is gone.
  std::shared_ptr<CEvidenceUserInterface> LockUserInterface() const;

  /// Refreshes the names of type and creator in the record. A type that never existed gets the name ""; a creator that
  /// cannot be queried keeps the one in the record. Failures may leave their pair in the last error.
  void UpdateEvidenceInfo(const EvidencePtr& evidence);
  /// The same for one record of many: names that are only in the table are read once for all of them.
  using TypeNames = std::map<std::int32_t, std::string>;
  void UpdateEvidenceInfo(const EvidencePtr& evidence, TypeNames& names_from_table);

  const std::weak_ptr<CEvidenceUserInterface> user_interface_;
};

}  // namespace Evidence
