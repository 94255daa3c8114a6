#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "KelpUtils/RapidJsonProto.h"
#include "OrvProto/JsonNode.h"
#include "impl/Evidence/Limits.h"
#include "usrservice/IEvidencePdu.h"
#include "usrservice/ReadList.h"

/// Helpers to read and write the messages of IEvidencePdu.
namespace Evidence::PduFrame {

using NodePtr = std::shared_ptr<xmlpacket::JsonNode>;
using ProtoPtr = std::shared_ptr<kelp::CRapidJsonProto>;

/// The parser of a decoder; null with (0, 2) when out of memory. `word` is the decoder named in the text of its log
/// line, in some cases a different one.
[[nodiscard]] ProtoPtr NewProto(const char* word, Operation operation = Operation::current());
/// The same with the parsed body; null with (0, 2) when the body cannot be parsed.
[[nodiscard]] ProtoPtr ParseBody(const char* word, const std::string& body, Operation operation = Operation::current());

/// Adds an object; `{}` until it has children.
NodePtr AddObject(const NodePtr& parent, const std::string& name);
/// Adds an element to the list `name` under `parent`.
NodePtr AddElement(const NodePtr& parent, const std::string& name);
/// The 32 bits as an unsigned number: -1 is written as 4294967295.
void AddUnsigned(const NodePtr& parent, const std::string& name, std::int32_t value);
void AddSigned(const NodePtr& parent, const std::string& name, std::int32_t value);
/// An id that may be missing: -1 is written as -1, every other value as an unsigned number.
void AddOptionalId(const NodePtr& parent, const std::string& name, std::int32_t value);
void AddText(const NodePtr& parent, const std::string& name, const std::string& value);

/// Adds `Error` with its two codes to a refused entry.
void AddError(const NodePtr& entry, std::int32_t main_code, std::int32_t sub_code);

/// Adds the fields of an evidence that all answers have, up to `CreateTime`. `add_type_id` writes the type's id.
void AddEvidenceHead(const NodePtr& node, const _tag_Evidence_& evidence, decltype(AddUnsigned)& add_type_id);

/// The envelope with its two codes; null when out of memory.
NodePtr NewEnvelope(const ResponseStatus& status);
NodePtr AddData(const NodePtr& envelope);
/// Renders into `response`; always true, so that an encoder can return it.
bool Render(const NodePtr& envelope, std::string& response);

/// `status`, or (0, 99999) instead when any entry has a nonzero code.
ResponseStatus BatchStatus(const ResponseStatus& status, const std::list<ErrorPtr>& errors);

/// Calls `read` with the path of each element of the list at `list_path`.
template <class Read>
void ForEachElement(const kelp::CRapidJsonProto& proto, const std::string& list_path, Read read) {
  ReadList::ForEachElement<ReadList::BySubscript>(proto, list_path, read);
}

/// A wire key and the field of `Record` that it fills.
template <class Record, class Value>
struct Key {
  const char* name;
  Value Record::*field;
};

/// Missing keys clear their fields.
template <class Record, std::size_t kCount>
void ReadTexts(Record& record, const kelp::CRapidJsonProto& proto, const std::string& path,
               const Key<Record, std::string> (&keys)[kCount]) {
  for (const auto& [name, field] : keys)
    record.*field = proto.get_v(path + name, std::string());
}

/// Missing keys set their fields to -1.
template <class Record, std::size_t kCount>
void ReadNumbers(Record& record, const kelp::CRapidJsonProto& proto, const std::string& path,
                 const Key<Record, std::int32_t> (&keys)[kCount]) {
  for (const auto& [name, field] : keys)
    record.*field = proto.get_int_v(path + name, -1);
}

/// Appends the ids of a comma list; a piece that is no number is 0. More than `limit` are refused with (0, 2) as soon
/// as they are counted, and none are left.
[[nodiscard]] bool ReadIds(IdList& ids, const kelp::CRapidJsonProto& proto, const std::string& path,
                           const Limits::Limit& limit, Operation operation = Operation::current());

}  // namespace Evidence::PduFrame
