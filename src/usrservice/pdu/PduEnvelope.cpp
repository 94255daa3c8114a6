#include "usrservice/pdu/PduEnvelope.h"

namespace pdu {

Node* BeginResponse(kelp::CRapidJsonProto& proto, const std::string& root, const Status& status) {
  if (!proto.set_v(root, std::string())) return nullptr;
  Node* const node = proto.get_node(root);
  if (node == nullptr) return nullptr;
  const bool written = proto.add_v(node, "ErrorModule", status.main_code) != nullptr &&
                       proto.add_v(node, "ErrorCode", status.sub_code) != nullptr &&
                       proto.add_v(node, "CascadingErrorInfo", status.cascading_error_info) != nullptr;
  return written ? node : nullptr;
}

Node* AddData(kelp::CRapidJsonProto& proto, Node* root) { return proto.add_v(root, "Data"); }

}  // namespace pdu
