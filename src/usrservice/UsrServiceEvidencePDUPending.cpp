#include "usrservice/UsrServiceEvidencePDU.h"

namespace Evidence {

bool CEvidencePduJson::EncodeFTPSettingsGetRsp(std::string&, const std::string&, const ResponseStatus&,
                                               const FTPSettingsPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceSettingsGetRsp(std::string&, const std::string&, const ResponseStatus&,
                                                    const FTPSettingsPtr&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeFTPSettingsPutReq(FTPSettingsPtr&, const std::string&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceSettingsPutReq(FTPSettingsPtr&, const std::string&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceSceneGetReq(page_info&, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>&,
                                                 std::int32_t&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceSceneGetRsp(std::string&, const ResponseStatus&, const page_info&,
                                                 const std::list<EvidenceScenePtr>&, const std::list<std::int32_t>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceScenePutReq(std::list<EvidenceScenePtr>&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceScenePutRsp(std::string&, const ResponseStatus&, const std::list<ErrorPtr>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceSceneIDGetRsp(std::string&, const ResponseStatus&, const EvidenceScenePtr&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceSceneIDPutReq(EvidenceScenePtr&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceOutcomeGetReq(page_info&,
                                                   const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>&,
                                                   std::int32_t&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceOutcomeGetRsp(std::string&, const ResponseStatus&, const page_info&,
                                                   const std::list<EvidenceOutcomePtr>&,
                                                   const std::list<std::int32_t>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceOutcomePutReq(std::list<EvidenceOutcomePtr>&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceOutcomePutRsp(std::string&, const ResponseStatus&, const std::list<ErrorPtr>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceOutcomeIDGetRsp(std::string&, const ResponseStatus&, const EvidenceOutcomePtr&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceOutcomeIDPutReq(EvidenceOutcomePtr&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeAPIEvidencePUTReq(EvidenceFilesMap&, std::string&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeAPIEvidencePutRsp(std::string&, const ResponseStatus&, const EvidenceFilesMap&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeAPIEvidenceTypePostReq(page_info&, std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>&,
                                                    std::string&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeAPIEvidenceTypePostRsp(std::string&, const page_info&, const ResponseStatus&,
                                                    const std::list<EvidenceTypePtr>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceCustomGetReq(std::int32_t&, const std::string&) { return Fail(kObjectMissing); }

bool CEvidencePduJson::EncodeEvidenceCustomGetRsp(std::string&, const ResponseStatus&,
                                                  const std::list<EvidenceCustomPtr>&, const std::list<std::int32_t>&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::DecodeEvidenceCustomPutReq(std::list<EvidenceCustomPtr>&, const std::string&) {
  return Fail(kObjectMissing);
}

bool CEvidencePduJson::EncodeEvidenceCustomPutRsp(std::string&, const ResponseStatus&) { return Fail(kObjectMissing); }

}  // namespace Evidence
