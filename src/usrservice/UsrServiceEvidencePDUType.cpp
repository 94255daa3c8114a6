#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUDictionary.h"

namespace Evidence {

bool CEvidencePduJson::DecodeEvidenceTypeGetReq(page_info& page,
                                                const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& /*reserved*/,
                                                std::int32_t& client_resource_version, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceTypeGetReq", body);
  if (!proto) return false;
  PduFrame::ReadQuery(page, client_resource_version, PduFrame::kTypes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status,
                                                const page_info& page, const std::list<EvidenceTypePtr>& types,
                                                const std::list<std::int32_t>& methods) {
  return PduFrame::WriteEntries(response, PduFrame::kTypes, status, page, types, methods);
}

bool CEvidencePduJson::DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceTypePostReq", body);  // sic
  if (!proto) return false;
  PduFrame::ReadEntries(types, PduFrame::kTypes, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                                const std::list<ErrorPtr>& errors) {
  return PduFrame::WriteErrors(response, PduFrame::kTypes, status, errors);
}

bool CEvidencePduJson::EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                  const EvidenceTypePtr& type) {
  return PduFrame::WriteEntry(response, PduFrame::kTypes, status, type);
}

bool CEvidencePduJson::DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceTypePostReq", body);  // sic
  if (!proto) return false;
  type = PduFrame::ReadEntry(PduFrame::kTypes, *proto);
  return true;
}

}  // namespace Evidence
