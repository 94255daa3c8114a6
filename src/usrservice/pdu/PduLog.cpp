#include "usrservice/pdu/PduLog.h"

#include <algorithm>

namespace pdu {
namespace {

SOperationLogEntry ReadEntry(const kelp::CRapidJsonProto& proto, const std::string& path) {
  SOperationLogEntry entry;
  entry.EvidenceID = proto.get_int_v(path + "EvidenceID", -1);
  entry.UserName = proto.get_v(path + "UserName", std::string());
  entry.UserIP = proto.get_v(path + "UserIP", std::string());
  entry.OperationType = proto.get_int_v(path + "OperationType", -1);
  ForEachElement(proto, path + "Details", [&](const std::string& detail) {
    entry.Details.push_back({proto.get_int_v(detail + "Type", -1), proto.get_v(detail + "Name", std::string())});
  });
  return entry;
}

bool AddOperator(kelp::CRapidJsonProto& proto, Node* item, const SOperatorInfo& info) {
  Node* const node = proto.add_v(item, "OperatorInfo");
  if (node == nullptr) return false;
  proto.add_v(node, "Type", info.Type);
  proto.add_v(node, "Name", info.Name);
  proto.add_v(node, "AdditionName", info.AdditionName);
  proto.add_v(node, "IP", info.IP);
  proto.add_v(node, "ClientType", info.ClientType);
  return true;
}

bool AddDetail(kelp::CRapidJsonProto& proto, Node* item, const SOperationInfo& info) {
  Node* const node = proto.add_v(proto.add_list_v(item, "OperationDetails", std::string()), "OperationInfo");
  if (node == nullptr) return false;
  proto.add_v(node, "Type", info.Type);
  proto.add_v(node, "NameID", info.NameID);
  proto.add_v(node, "Name", info.Name);
  proto.add_v(node, "NameUpdatedID", info.NameUpdatedID);
  proto.add_v(node, "NameUpdated", info.NameUpdated);
  return true;
}

bool AddItem(kelp::CRapidJsonProto& proto, Node* data, const SOperationLogItem& item) {
  Node* const node = proto.add_list_v(data, "OperationLogList", std::string());
  if (node == nullptr) return false;
  proto.add_v(node, "Time", item.Time);
  if (!AddOperator(proto, node, item.OperatorInfo)) return false;
  proto.add_v(node, "OperationType", item.OperationType);
  return std::ranges::all_of(item.OperationDetails, [&](const auto& detail) { return AddDetail(proto, node, detail); });
}

}  // namespace

bool Decode(std::shared_ptr<SReqOperationLogPost>& request, const std::string& body) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(body)) return false;
  request = std::make_shared<SReqOperationLogPost>();
  ForEachElement(proto, "/OperationLog",
                 [&](const std::string& entry) { request->OperationLog.push_back(ReadEntry(proto, entry)); });
  return true;
}

bool Encode(std::string& text, const std::shared_ptr<SRspOperationLogPost>& response) {
  kelp::CRapidJsonProto proto;
  if (!response || BeginResponse(proto, kResponseStatus, *response) == nullptr) return false;
  text = proto.get_str();
  return true;
}

bool Decode(std::shared_ptr<SReqOperationLogGet>& request, const std::string& body) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(body)) return false;
  request = std::make_shared<SReqOperationLogGet>();
  return true;
}

bool Encode(std::string& text, const std::shared_ptr<SRspOperationLogGet>& response) {
  kelp::CRapidJsonProto proto;
  Node* const data = response ? AddData(proto, BeginResponse(proto, kResponseStatus, *response)) : nullptr;
  if (data == nullptr) return false;
  const bool written =
      std::ranges::all_of(response->OperationLogList, [&](const auto& item) { return AddItem(proto, data, item); });
  if (written) text = proto.get_str();
  return written;
}

}  // namespace pdu
