#include "usrservice/pdu/PduBatchLink.h"

#include <algorithm>

namespace pdu {
namespace {

bool AddEvidenceError(kelp::CRapidJsonProto& proto, Node* data, const SLinkEvidenceError& error) {
  Node* const node = proto.add_v(proto.add_list_v(data, "EvidenceErrorList", std::string()), "EvidenceError");
  if (node == nullptr) return false;
  proto.add_v(node, "EvidenceID", error.EvidenceID);
  proto.add_v(node, "EvidenceName", error.EvidenceName);
  for (const auto& file : error.ErrorList) {
    Node* const element = proto.add_list_v(node, "ErrorList", std::string());
    if (element == nullptr) return false;
    proto.add_v(element, "FileID", file.FileID);
    proto.add_v(element, "ErrorCode", file.ErrorCode);
    proto.add_v(element, "ErrorModule", file.ErrorModule);
  }
  return true;
}

}  // namespace

bool Decode(std::shared_ptr<SReqFileBatchLinkEvidences>& request, const std::string& body) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(body)) return false;
  request = std::make_shared<SReqFileBatchLinkEvidences>();
  ForEachElement(proto, "/Request/EvidenceList/Evidence", [&](const std::string& element) {
    request->EvidenceList.push_back({proto.get_int_v(element + "EvidenceID", -1)});
  });
  ForEachElement(proto, "/Request/FileList/File", [&](const std::string& element) {
    request->FileList.push_back(
        {proto.get_int_v(element + "FileID", -1), proto.get_v(element + "FileName", std::string())});
  });
  return true;
}

bool Encode(std::string& text, const std::shared_ptr<SRspFileBatchLinkEvidences>& response) {
  kelp::CRapidJsonProto proto;
  Node* const data = response ? AddData(proto, BeginResponse(proto, kResponseStatus, *response)) : nullptr;
  if (data == nullptr) return false;
  const bool written = std::ranges::all_of(response->EvidenceErrorList,
                                           [&](const auto& error) { return AddEvidenceError(proto, data, error); });
  if (written) text = proto.get_str();
  return written;
}

}  // namespace pdu
