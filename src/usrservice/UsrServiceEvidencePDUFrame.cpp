#include "usrservice/UsrServiceEvidencePDUFrame.h"

#include <algorithm>

#include "Common/NewRecord.h"

namespace Evidence::PduFrame {
namespace {

NodePtr AddNumber(const NodePtr& parent, const std::string& name, const std::string& digits) {
  auto node = parent->AddChild(name, digits, 0);
  node->value_kind = xmlpacket::JsonNode::kNumber;
  return node;
}

}  // namespace

NodePtr AddObject(const NodePtr& parent, const std::string& name) {
  auto node = parent->AddChild(name, std::string(), 0);
  node->is_object = true;
  return node;
}

NodePtr AddElement(const NodePtr& parent, const std::string& name) {
  auto node = AddObject(parent, name);
  node->repeat = true;
  return node;
}

void AddUnsigned(const NodePtr& parent, const std::string& name, std::int32_t value) {
  AddNumber(parent, name, std::to_string(static_cast<std::uint32_t>(value)));
}

void AddSigned(const NodePtr& parent, const std::string& name, std::int32_t value) {
  AddNumber(parent, name, std::to_string(value));
}

void AddText(const NodePtr& parent, const std::string& name, const std::string& value) {
  parent->AddChild(name, value, 0);
}

NodePtr NewEnvelope(const ResponseStatus& status) {
  auto envelope = NewRecord<xmlpacket::JsonNode>("ResponseStatus", std::string());
  if (!envelope) return nullptr;
  AddUnsigned(envelope, "ErrorModule", status.main_code);
  AddUnsigned(envelope, "ErrorCode", status.sub_code);
  return envelope;
}

NodePtr AddData(const NodePtr& envelope) { return AddObject(envelope, "Data"); }

bool Render(const NodePtr& envelope, std::string& response) {
  response = envelope->Serialize(0);
  return true;
}

ResponseStatus BatchStatus(const ResponseStatus& status, const std::list<ErrorPtr>& errors) {
  const bool refused =
      std::ranges::any_of(errors, [](const ErrorPtr& error) { return error->main_code != 0 || error->sub_code != 0; });
  return refused ? ResponseStatus{0, kSomeEntriesFailed, {}} : status;
}

}  // namespace Evidence::PduFrame
