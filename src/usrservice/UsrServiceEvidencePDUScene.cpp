// Messages of scenes and outcomes; some log lines name another operation, and operators rely on that.

#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUDictionary.h"

namespace Evidence {

bool CEvidencePduJson::DecodeEvidenceSceneGetReq(page_info& page,
                                                 const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& /*reserved*/,
                                                 std::int32_t& client_resource_version, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceSceneGetReq", body);
  if (!proto) return false;
  PduFrame::ReadQuery(page, client_resource_version, PduFrame::kScenes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceSceneGetRsp(std::string& response, const ResponseStatus& status,
                                                 const page_info& page, const std::list<EvidenceScenePtr>& scenes,
                                                 const std::list<std::int32_t>& methods) {
  return PduFrame::WriteEntries(response, PduFrame::kScenes, status, page, scenes, methods);
}

bool CEvidencePduJson::DecodeEvidenceScenePutReq(std::list<EvidenceScenePtr>& scenes, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceScenePostReq", body);  // sic
  if (!proto) return false;
  PduFrame::ReadEntries(scenes, PduFrame::kScenes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceScenePutRsp(std::string& response, const ResponseStatus& status,
                                                 const std::list<ErrorPtr>& errors) {
  return PduFrame::WriteErrors(response, PduFrame::kScenes, status, errors);
}

bool CEvidencePduJson::EncodeEvidenceSceneIDGetRsp(std::string& response, const ResponseStatus& status,
                                                   const EvidenceScenePtr& scene) {
  return PduFrame::WriteEntry(response, PduFrame::kScenes, status, scene);
}

bool CEvidencePduJson::DecodeEvidenceSceneIDPutReq(EvidenceScenePtr& scene, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceSceneIDPutReq", body);
  if (!proto) return false;
  scene = PduFrame::ReadEntry(PduFrame::kScenes, *proto);
  return true;
}

bool CEvidencePduJson::DecodeEvidenceOutcomeGetReq(
    page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& /*reserved*/,
    std::int32_t& client_resource_version, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceSceneGetReq", body);  // sic
  if (!proto) return false;
  PduFrame::ReadQuery(page, client_resource_version, PduFrame::kOutcomes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceOutcomeGetRsp(std::string& response, const ResponseStatus& status,
                                                   const page_info& page, const std::list<EvidenceOutcomePtr>& outcomes,
                                                   const std::list<std::int32_t>& methods) {
  return PduFrame::WriteEntries(response, PduFrame::kOutcomes, status, page, outcomes, methods);
}

bool CEvidencePduJson::DecodeEvidenceOutcomePutReq(std::list<EvidenceOutcomePtr>& outcomes, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceScenePostReq", body);  // sic
  if (!proto) return false;
  PduFrame::ReadEntries(outcomes, PduFrame::kOutcomes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceOutcomePutRsp(std::string& response, const ResponseStatus& status,
                                                   const std::list<ErrorPtr>& errors) {
  return PduFrame::WriteErrors(response, PduFrame::kOutcomes, status, errors);
}

bool CEvidencePduJson::EncodeEvidenceOutcomeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                     const EvidenceOutcomePtr& outcome) {
  return PduFrame::WriteEntry(response, PduFrame::kOutcomes, status, outcome);
}

bool CEvidencePduJson::DecodeEvidenceOutcomeIDPutReq(EvidenceOutcomePtr& outcome, const std::string& body) {
  const auto proto = PduFrame::ParseBody("EncodeEvidenceOutcomeIDPutRsp", body);  // sic
  if (!proto) return false;
  outcome = PduFrame::ReadEntry(PduFrame::kOutcomes, *proto);
  return true;
}

}  // namespace Evidence
