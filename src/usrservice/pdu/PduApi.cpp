#include "usrservice/pdu/PduApi.h"

namespace pdu {
namespace {

constexpr char kBinarySize[] = "/BinarySize";
constexpr char kResponse[] = "/Response";

SAPIEvidenceFile ReadFile(const kelp::CRapidJsonProto& proto, const std::string& path) {
  SAPIEvidenceFile file;
  file.BeginTime = proto.get_v(path + "BeginTime", std::string());
  file.EndTime = proto.get_v(path + "EndTime", std::string());
  file.Name = proto.get_v(path + "Name", std::string());
  file.Path = proto.get_v(path + "Path", std::string());
  file.Type = proto.get_int_v(path + "Type", -1);
  file.Guid = proto.get_v(path + "Guid", std::string());
  file.Digest = proto.get_v(path + "Digest", std::string());
  return file;
}

SAPIEvidence ReadEvidence(const kelp::CRapidJsonProto& proto, const std::string& path) {
  SAPIEvidence evidence;
  evidence.Guid = proto.get_v(path + "Guid", std::string());
  evidence.Name = proto.get_v(path + "Name", std::string());
  evidence.EvidenceTypeID = proto.get_int_v(path + "EvidenceType/ID", -1);
  evidence.SceneID = proto.get_int_v(path + "Scene/ID", -1);
  evidence.OutcomeID = proto.get_int_v(path + "Outcome/ID", -1);
  evidence.Desc = proto.get_v(path + "Desc", std::string());
  evidence.Status = proto.get_int_v(path + "Status", -1);
  evidence.Label = proto.get_v(path + "Label", std::string());
  evidence.EvidenceBeginTime = proto.get_v(path + "EvidenceBeginTime", std::string());
  evidence.EvidenceEndTime = proto.get_v(path + "EvidenceEndTime", std::string());
  ForEachElement(proto, path + "File",
                 [&](const std::string& file) { evidence.File.push_back(ReadFile(proto, file)); });
  return evidence;
}

bool AddNamedID(kelp::CRapidJsonProto& proto, Node* element, const SAPINamedID& entry) {
  return proto.add_v(element, "ID", entry.ID) != nullptr && proto.add_v(element, "Name", entry.Name) != nullptr;
}

}  // namespace

bool Decode(std::shared_ptr<SReqAPIEvidencePut>& request, const std::string& body) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(body)) return false;
  request = std::make_shared<SReqAPIEvidencePut>();
  request->BinarySize = proto.get_int_v(kBinarySize, -1);
  ForEachElement(proto, "/Request/Evidence",
                 [&](const std::string& evidence) { request->Evidence.push_back(ReadEvidence(proto, evidence)); });
  return true;
}

bool Encode(std::string& text, const std::shared_ptr<SRspAPIEvidencePut>& response) {
  if (!response) return false;
  kelp::CRapidJsonProto proto;
  if (!proto.set_v(kBinarySize, response->BinarySize)) return false;
  Node* const data = AddData(proto, BeginResponse(proto, kResponse, *response));
  if (data == nullptr) return false;
  for (const auto& evidence : response->Evidence) {
    Node* const element = proto.add_list_v(data, "Evidence", std::string());
    if (!AddNamedID(proto, element, evidence)) return false;
    for (const auto& file : evidence.File) {
      if (!AddNamedID(proto, proto.add_list_v(element, "File", std::string()), file)) return false;
    }
  }
  text = proto.get_str();
  return true;
}

bool Decode(std::shared_ptr<SReqAPIEvidenceTypePost>& request, const std::string& body) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(body)) return false;
  request = std::make_shared<SReqAPIEvidenceTypePost>();
  request->BinarySize = proto.get_int_v(kBinarySize, -1);
  request->PageIndex = proto.get_int_v("/Request/PageIndex", -1);
  request->PageSize = proto.get_int_v("/Request/PageSize", -1);
  ForEachElement(proto, "/Request/SearchCriteria/EvidenceTypeIDs",
                 [&](const std::string& id) { request->EvidenceTypeIDs.push_back(proto.get_int_v(id, -1)); });
  return true;
}

bool Encode(std::string& text, const std::shared_ptr<SRspAPIEvidenceTypePost>& response) {
  if (!response) return false;
  kelp::CRapidJsonProto proto;
  if (!proto.set_v(kBinarySize, response->BinarySize)) return false;
  Node* const data = AddData(proto, BeginResponse(proto, kResponse, *response));
  Node* const list = proto.add_v(data, "EvidenceTypeList");
  if (list == nullptr) return false;
  for (const auto& type : response->EvidenceType) {
    if (!AddNamedID(proto, proto.add_list_v(list, "EvidenceType", std::string()), type)) return false;
  }
  const bool written = proto.add_v(data, "PageIndex", response->PageIndex) != nullptr &&
                       proto.add_v(data, "PageSize", response->PageSize) != nullptr &&
                       proto.add_v(data, "TotalNum", response->TotalNum) != nullptr;
  if (written) text = proto.get_str();
  return written;
}

}  // namespace pdu
