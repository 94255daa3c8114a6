#include "usrservice/UsrServiceEvidencePDUFrame.h"

#include <algorithm>

#include "Common/TextList.h"

namespace Evidence::PduFrame {
namespace {

NodePtr AddNumber(const NodePtr& parent, const std::string& name, const std::string& digits) {
  auto node = parent->AddChild(name, digits, 0);
  node->value_kind = xmlpacket::JsonNode::kNumber;
  return node;
}

}  // namespace

ProtoPtr NewProto(const char* word, Operation operation) {
  auto proto = NewRecord<kelp::CRapidJsonProto>();
  if (!proto) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]%s failed, proto is null![%s(%d)]", word);
    Orv::Base::Error::SetLastError({0, kBadInput});
  }
  return proto;
}

ProtoPtr ParseBody(const char* word, const std::string& body, Operation operation) {
  auto proto = NewProto(word, operation);
  if (!proto || proto->set_str(body)) return proto;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Data Parse failed, data invalid![%s(%d)]");
  Orv::Base::Error::SetLastError({0, kBadInput});
  return nullptr;
}

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

void AddOptionalId(const NodePtr& parent, const std::string& name, std::int32_t value) {
  (value == -1 ? AddSigned : AddUnsigned)(parent, name, value);
}

void AddText(const NodePtr& parent, const std::string& name, const std::string& value) {
  parent->AddChild(name, value, 0);
}

void AddError(const NodePtr& entry, std::int32_t main_code, std::int32_t sub_code) {
  const auto error = AddObject(entry, "Error");
  AddUnsigned(error, "ErrorModule", main_code);
  AddUnsigned(error, "ErrorCode", sub_code);
}

void AddEvidenceHead(const NodePtr& node, const _tag_Evidence_& evidence, decltype(AddUnsigned)& add_type_id) {
  AddUnsigned(node, "ID", evidence.id);
  AddText(node, "Guid", evidence.guid);
  AddText(node, "Name", evidence.name);
  const auto type = AddObject(node, "EvidenceType");
  add_type_id(type, "ID", evidence.evidence_type.type_id);
  if (evidence.evidence_type.type_id != 0) AddText(type, "Name", evidence.evidence_type.type_name);
  AddText(node, "Desc", evidence.evidence_desc);
  AddUnsigned(node, "Status", evidence.evidence_status);
  const auto creator = AddObject(node, "Creator");
  AddUnsigned(creator, "ID", evidence.create_user.id);
  AddText(creator, "Name", evidence.create_user.name);
  AddText(node, "CreateTime", evidence.create_time);
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

bool ReadIds(IdList& ids, const kelp::CRapidJsonProto& proto, const std::string& path, const Limits::Limit& limit,
             Operation operation) {
  const bool read = ForEachPiece(proto.get_v(path, std::string()), ',', [&](std::string_view piece) {
    ids.push_back(ExtractDecimal(std::string(piece)));
    return Limits::Allows(limit, ids.size(), operation);
  });
  if (!read) ids.clear();
  return read;
}

}  // namespace Evidence::PduFrame
