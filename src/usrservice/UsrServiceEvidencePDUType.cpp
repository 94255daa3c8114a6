#include "OrvBase/StringUtil.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {

bool CEvidencePduJson::DecodeEvidenceTypeGetReq(page_info& page,
                                                const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& /*reserved*/,
                                                std::int32_t& client_resource_version, const std::string& body) {
  EVIDENCE_PARSE_BODY(proto, "DecodeEvidenceTypeGetReq", body);
  const std::string root = "/EvidenceTypeQueryReq/";
  page.PageIndex = proto->get_int_v(root + "PageIndex", -1);
  page.PageSize = proto->get_int_v(root + "PageSize", -1);
  client_resource_version = proto->get_int_v(root + "ClientResourceVersion", 0);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status,
                                                const page_info& page, const std::list<EvidenceTypePtr>& types,
                                                const std::list<std::int32_t>& methods) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  if (page.total != -1) {
    PduFrame::AddUnsigned(data, "TotalNum", page.total);
  } else if (!methods.empty()) {
    PduFrame::AddUnsigned(data, "TotalNum", static_cast<std::int32_t>(methods.size()));
  }
  if (page.PageIndex != -1) PduFrame::AddUnsigned(data, "PageIndex", page.PageIndex);
  if (page.PageSize != -1) PduFrame::AddUnsigned(data, "PageSize", page.PageSize);
  const auto list = PduFrame::AddObject(data, "EvidenceTypeList");
  auto method = methods.begin();
  for (const auto& type : types) {
    const auto element = PduFrame::AddElement(list, "EvidenceType");
    PduFrame::AddUnsigned(element, "ID", type->type_id);
    if (!type->type_name.empty()) PduFrame::AddText(element, "Name", type->type_name);
    if (method != methods.end()) PduFrame::AddUnsigned(element, "Method", *method++);
  }
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) {
  EVIDENCE_PARSE_BODY(proto, "DecodeEvidenceTypePostReq", body);  // sic
  const std::string root = "/EvidenceTypeList/";
  const int count = proto->get_cnt(root + "EvidenceType");
  for (int n = 1; n <= count; ++n) {
    const std::string element = root + Orv::Base::StringUtil::str_fmt("EvidenceType[%d]/", n);
    auto type = std::make_shared<_tag_EvidenceType_>();
    type->type_id = proto->get_int_v(element + "ID", -1);
    type->type_name = proto->get_v(element + "Name", std::string());
    types.push_back(std::move(type));
  }
  return true;
}

bool CEvidencePduJson::EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                                const std::list<ErrorPtr>& errors) {
  const auto envelope = PduFrame::NewEnvelope(PduFrame::BatchStatus(status, errors));
  if (!envelope) return false;
  const auto list = PduFrame::AddObject(PduFrame::AddData(envelope), "EvidenceTypeErrorList");
  for (const auto& refused : errors) {
    const auto element = PduFrame::AddElement(list, "EvidenceTypeError");
    if (refused->id != -1) PduFrame::AddUnsigned(element, "ID", refused->id);
    if (refused->id != 0) PduFrame::AddText(element, "Name", refused->name);
    const auto error = PduFrame::AddObject(element, "Error");
    PduFrame::AddUnsigned(error, "ErrorModule", refused->main_code);
    PduFrame::AddUnsigned(error, "ErrorCode", refused->sub_code);
  }
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                  const EvidenceTypePtr& type) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  if (type) {
    const auto node = PduFrame::AddObject(data, "EvidenceType");
    PduFrame::AddUnsigned(node, "ID", type->type_id);
    if (type->type_id != 0 && !type->type_name.empty()) PduFrame::AddText(node, "Name", type->type_name);
  }
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) {
  EVIDENCE_PARSE_BODY(proto, "DecodeEvidenceTypePostReq", body);  // sic
  const std::string root = "/EvidenceType/";
  type = std::make_shared<_tag_EvidenceType_>();
  type->type_id = proto->get_int_v(root + "ID", -1);
  type->type_name = proto->get_v(root + "Name", std::string());
  return true;
}

}  // namespace Evidence
