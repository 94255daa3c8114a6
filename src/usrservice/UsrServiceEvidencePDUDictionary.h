#pragma once

#include <list>
#include <memory>
#include <string>

#include "usrservice/UsrServiceEvidencePDUFrame.h"

/// The messages of the dictionaries of types, scenes and outcomes, which differ only in their keys. Decoders take a
/// parsed body.
namespace Evidence::PduFrame {

template <class Record>
struct Dictionary {
  std::int32_t Record::*id;
  /// Root of the query request.
  const char* query;
  /// Root of the whole dictionary, in the answer to a query and in a change request.
  const char* list;
  /// One entry, in a list or alone.
  const char* entry;
  const char* error_list;
  const char* error;
};

inline constexpr Dictionary<_tag_EvidenceType_> kTypes{&_tag_EvidenceType_::type_id, "EvidenceTypeQueryReq",
                                                       "EvidenceTypeList",           "EvidenceType",
                                                       "EvidenceTypeErrorList",      "EvidenceTypeError"};
inline constexpr Dictionary<tag_EvidenceScene_> kScenes{
    &tag_EvidenceScene_::scene_id, "SceneQueryReq", "SceneList", "Scene", "SceneErrorList", "ScenceError"};  // sic
inline constexpr Dictionary<tag_EvidenceOutcome_> kOutcomes{
    &tag_EvidenceOutcome_::outcome_id, "OutcomeQueryReq", "OutcomeList", "Outcome", "OutcomeErrorList", "OutcomeError"};

template <class Record>
void ReadQuery(page_info& page, std::int32_t& client_resource_version, const Dictionary<Record>& words,
               const kelp::CRapidJsonProto& proto) {
  const std::string root = std::string("/") + words.query + "/";
  page.PageIndex = proto.get_int_v(root + "PageIndex", -1);
  page.PageSize = proto.get_int_v(root + "PageSize", -1);
  client_resource_version = proto.get_int_v(root + "ClientResourceVersion", 0);
}

template <class Record>
[[nodiscard]] std::shared_ptr<Record> ReadEntry(const Dictionary<Record>& words, const kelp::CRapidJsonProto& proto,
                                                const std::string& path) {
  auto record = std::make_shared<Record>();
  (*record).*words.id = proto.get_int_v(path + "ID", -1);
  record->type_name = proto.get_v(path + "Name", std::string());
  return record;
}

template <class Record>
[[nodiscard]] std::shared_ptr<Record> ReadEntry(const Dictionary<Record>& words, const kelp::CRapidJsonProto& proto) {
  return ReadEntry(words, proto, std::string("/") + words.entry + "/");
}

template <class Record>
void ReadEntries(std::list<std::shared_ptr<Record>>& records, const Dictionary<Record>& words,
                 const kelp::CRapidJsonProto& proto) {
  ForEachElement(proto, std::string("/") + words.list + "/" + words.entry,
                 [&](const std::string& element) { records.push_back(ReadEntry(words, proto, element)); });
}

/// `methods` is parallel to `records`; entries beyond its end have no method.
template <class Record>
[[nodiscard]] bool WriteEntries(std::string& response, const Dictionary<Record>& words, const ResponseStatus& status,
                                const page_info& page, const std::list<std::shared_ptr<Record>>& records,
                                const std::list<std::int32_t>& methods) {
  const auto envelope = NewEnvelope(status);
  if (!envelope) return false;
  const auto data = AddData(envelope);
  if (page.total != -1) {
    AddUnsigned(data, "TotalNum", page.total);
  } else if (!methods.empty()) {
    AddUnsigned(data, "TotalNum", static_cast<std::int32_t>(methods.size()));
  }
  if (page.PageIndex != -1) AddUnsigned(data, "PageIndex", page.PageIndex);
  if (page.PageSize != -1) AddUnsigned(data, "PageSize", page.PageSize);
  const auto list = AddObject(data, words.list);
  auto method = methods.begin();
  for (const auto& record : records) {
    const auto element = AddElement(list, words.entry);
    AddUnsigned(element, "ID", (*record).*words.id);
    if (!record->type_name.empty()) AddText(element, "Name", record->type_name);
    if (method != methods.end()) AddUnsigned(element, "Method", *method++);
  }
  return Render(envelope, response);
}

template <class Record>
[[nodiscard]] bool WriteErrors(std::string& response, const Dictionary<Record>& words, const ResponseStatus& status,
                               const std::list<ErrorPtr>& errors) {
  const auto envelope = NewEnvelope(BatchStatus(status, errors));
  if (!envelope) return false;
  const auto list = AddObject(AddData(envelope), words.error_list);
  for (const auto& refused : errors) {
    const auto element = AddElement(list, words.error);
    if (refused->id != -1) AddUnsigned(element, "ID", refused->id);
    if (refused->id != 0) AddText(element, "Name", refused->name);
    AddError(element, refused->main_code, refused->sub_code);
  }
  return Render(envelope, response);
}

/// `record` may be null.
template <class Record>
[[nodiscard]] bool WriteEntry(std::string& response, const Dictionary<Record>& words, const ResponseStatus& status,
                              const std::shared_ptr<Record>& record) {
  const auto envelope = NewEnvelope(status);
  if (!envelope) return false;
  const auto data = AddData(envelope);
  if (record) {
    const auto node = AddObject(data, words.entry);
    const std::int32_t id = (*record).*words.id;
    AddUnsigned(node, "ID", id);
    if (id != 0 && !record->type_name.empty()) AddText(node, "Name", record->type_name);
  }
  return Render(envelope, response);
}

}  // namespace Evidence::PduFrame
