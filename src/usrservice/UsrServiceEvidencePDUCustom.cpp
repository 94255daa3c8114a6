#include "Common/TextList.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

/// `custom_type` of an attribute whose answer lists its options.
constexpr std::int32_t kChoice = 0;

std::vector<tag_EvidenceOption_> ReadOptions(const kelp::CRapidJsonProto& proto, const std::string& custom) {
  std::vector<tag_EvidenceOption_> options;
  PduFrame::ForEachElement(proto, custom + "CustomOptionList/CustomOption", [&](const std::string& element) {
    options.push_back({proto.get_int_v(element + "OptionID", -1), proto.get_v(element + "OptionName", std::string())});
  });
  return options;
}

void AddOptions(const PduFrame::NodePtr& element, const tag_EvidenceCustom_& custom) {
  const auto list = PduFrame::AddObject(element, "CustomOptionList");
  for (const auto& option : custom.custom_options) {
    const auto node = PduFrame::AddElement(list, "CustomOption");
    PduFrame::AddUnsigned(node, "OptionID", option.option_id);
    PduFrame::AddText(node, "OptionName", option.option_name);
  }
}

}  // namespace

bool CEvidencePduJson::DecodeEvidenceCustomGetReq(std::int32_t& client_resource_version, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceCustomGetReq", body);
  if (!proto) return false;
  client_resource_version = ExtractDecimal(proto->get_v("/CustomQueryReq/ClientResourceVersion", std::string()));
  return true;
}

bool CEvidencePduJson::EncodeEvidenceCustomGetRsp(std::string& response, const ResponseStatus& status,
                                                  const std::list<EvidenceCustomPtr>& customs,
                                                  const std::list<std::int32_t>& methods) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto list = PduFrame::AddObject(PduFrame::AddData(envelope), "CustomList");
  auto method = methods.begin();
  for (const auto& custom : customs) {
    const auto element = PduFrame::AddElement(list, "Custom");
    PduFrame::AddUnsigned(element, "ID", custom->custom_id);
    if (custom->custom_id != 0 && !custom->custom_name.empty()) {
      PduFrame::AddText(element, "Name", custom->custom_name);
    }
    if (method != methods.end()) {
      EVIDENCE_LOG(kLogProgress, "[%s]incre_methods[%d][%s(%d)]", *method);
      PduFrame::AddUnsigned(element, "Method", *method++);
    }
    PduFrame::AddSigned(element, "CustomType", custom->custom_type);
    if (custom->custom_type == kChoice) AddOptions(element, *custom);
  }
  // Clients expect an empty body, not an empty list, when there are no attributes.
  return customs.empty() || PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceCustomPutReq(std::list<EvidenceCustomPtr>& customs, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceCustomPostReq", body);  // sic
  if (!proto) return false;
  PduFrame::ForEachElement(*proto, "/EvidenceCustomList/EvidenceCustom", [&](const std::string& element) {
    auto custom = std::make_shared<tag_EvidenceCustom_>();
    custom->custom_id = proto->get_int_v(element + "ID", -1);
    custom->modify_type = proto->get_int_v(element + "ModifyType", -1);
    custom->custom_name = proto->get_v(element + "Name", std::string());
    custom->custom_type = proto->get_int_v(element + "CustomType", -1);
    custom->custom_options = ReadOptions(*proto, element);
    customs.push_back(std::move(custom));
  });
  return true;
}

bool CEvidencePduJson::EncodeEvidenceCustomPutRsp(std::string& response, const ResponseStatus& status) {
  const auto envelope = PduFrame::NewEnvelope(status);
  return envelope && PduFrame::Render(envelope, response);
}

}  // namespace Evidence
