#include "EvidencePlugin.h"

#include <utility>

#include "DeskLog.h"
#include "KelpPlatform/MsgBus.h"
#include "platform/HttpRoutes.h"

namespace desk::EvidencePlugin {
namespace {

using platform::Json;

constexpr char kEvidences[] = "/TRELL/Halyard/Evidence/V1/Evidence";
constexpr char kTypes[] = "/TRELL/Halyard/Evidence/V1/Evidence/Type";
constexpr char kCustoms[] = "/TRELL/Halyard/Evidence/V1/Evidence/Custom";

constexpr ErrorPair kNotRunning{0, 1};

std::string PathOf(std::int32_t evidence_id) { return std::string(kEvidences) + "/" + std::to_string(evidence_id); }

Answer Call(int method_code, const std::string& path, const std::string& session, const Json& body) {
  Answer answer;
  const auto routes = platform::IHttpRoutes::Instance();
  const auto text = routes ? routes->CallPlugin(method_code, path, session, body.Text()) : std::nullopt;
  if (!text) {
    answer.pair = kNotRunning;
    return answer;
  }
  answer.is_empty = text->empty();
  if (answer.is_empty) return answer;
  std::string fault;
  const auto envelope = Json::Parse(*text, fault);
  const auto* const status = envelope ? envelope->Find("ResponseStatus") : nullptr;
  if (status == nullptr) {
    DESK_LOG(kLogFailure, "An answer of the evidence plugin cannot be read: %s", fault.c_str());
    answer.pair = kNotRunning;
    return answer;
  }
  answer.pair = {NumberIn(*status, "ErrorModule"), NumberIn(*status, "ErrorCode")};
  if (const auto* const data = status->Find("Data")) answer.data = *data;
  return answer;
}

Json ValuesMessage(const std::vector<Value>& values) {
  Json::List list;
  for (const auto& value : values) {
    list.push_back(
        Json::Object{{"ID", value.attribute_id}, {"CustomOptionID", value.option_id}, {"CustomText", value.text}});
  }
  return Json::Object{{"EvidenceCustom", std::move(list)}};
}

bool IsSent(Settable settable, Settable most) {
  return settable == Settable::kAlways || (settable == Settable::kAtCreation && most == Settable::kAtCreation);
}

/// The body of a change or, for kAtCreation, of a creation.
Json Message(const Record& record, Settable most) {
  Json::Object evidence;
  for (const auto& field : kTexts)
    if (IsSent(field.settable, most)) evidence.emplace_back(field.wire, record.*field.member);
  for (const auto& field : kNumbers)
    if (IsSent(field.settable, most)) evidence.emplace_back(field.wire, record.*field.member);
  for (const auto& field : kEntries)
    evidence.emplace_back(field.wire, Json::Object{{"ID", record.*field.member}});
  evidence.emplace_back("EvidenceCustomList", ValuesMessage(record.values));
  return Json::Object{{"Evidence", std::move(evidence)}};
}

}  // namespace

Answer ReadOne(const std::string& session, std::int32_t evidence_id) {
  return Call(kelp::kMethodGet, PathOf(evidence_id), session, Json::Object());
}

Answer Search(const std::string& session, Json query) {
  return Call(kelp::kMethodGet, kEvidences, session, Json::Object{{"EvidenceQueryReq", std::move(query)}});
}

Answer Change(const std::string& session, const Record& record) {
  return Call(kelp::kMethodPut, PathOf(record.id), session, Message(record, Settable::kAlways));
}

Answer Create(const std::string& session, const Record& record) {
  return Call(kelp::kMethodPost, kEvidences, session, Message(record, Settable::kAtCreation));
}

std::optional<std::map<std::int32_t, std::string>> ReadTypes(Answer& answer, const std::string& session) {
  answer = Call(kelp::kMethodGet, kTypes, session, Json::Object());
  if (!answer.Succeeded()) return std::nullopt;
  std::map<std::int32_t, std::string> names;
  for (const auto& type : ListIn(answer.data, "EvidenceTypeList", "EvidenceType"))
    names[NumberIn(type, "ID")] = TextIn(type, "Name");
  return names;
}

std::optional<Attributes> ReadAttributes(Answer& answer, const std::string& session) {
  answer = Call(kelp::kMethodGet, kCustoms, session, Json::Object());
  Attributes attributes;
  if (answer.is_empty) return attributes;  // that is: there are none
  if (!answer.Succeeded()) return std::nullopt;
  for (const auto& custom : ListIn(answer.data, "CustomList", "Custom")) {
    auto& attribute = attributes[NumberIn(custom, "ID")];
    attribute.name = TextIn(custom, "Name");
    for (const auto& option : ListIn(custom, "CustomOptionList", "CustomOption"))
      attribute.options[NumberIn(option, "OptionID")] = TextIn(option, "OptionName");
  }
  return attributes;
}

std::string TextIn(const Json& object, std::string_view name) {
  const auto* const value = object.Find(name);
  const auto* const text = value == nullptr ? nullptr : value->String();
  return text == nullptr ? std::string() : *text;
}

std::int32_t NumberIn(const Json& object, std::string_view name) {
  const auto* const value = object.Find(name);
  const auto* const number = value == nullptr ? nullptr : value->Integer();
  // Negative numbers are written as unsigned ones.
  return number == nullptr ? -1 : static_cast<std::int32_t>(static_cast<std::uint32_t>(*number));
}

const Json::List& ListIn(const Json& data, std::string_view outer, std::string_view inner) {
  static const Json::List kEmpty;
  const auto* const object = data.Find(outer);
  const auto* const list = object == nullptr ? nullptr : object->Find(inner);
  return list == nullptr || list->Elements() == nullptr ? kEmpty : *list->Elements();
}

}  // namespace desk::EvidencePlugin
