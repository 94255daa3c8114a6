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
#include "usrservice/IEvidencePdu.h"

/// What the messages of IEvidencePdu are read and written with.
namespace Evidence::PduFrame {

using NodePtr = std::shared_ptr<xmlpacket::JsonNode>;

/// A child that takes children of its own; `{}` until it has any.
NodePtr AddObject(const NodePtr& parent, const std::string& name);
/// One element of the list `name` under `parent`.
NodePtr AddElement(const NodePtr& parent, const std::string& name);
/// The 32 bits as an unsigned number: -1 is written as 4294967295.
void AddUnsigned(const NodePtr& parent, const std::string& name, std::int32_t value);
void AddSigned(const NodePtr& parent, const std::string& name, std::int32_t value);
void AddText(const NodePtr& parent, const std::string& name, const std::string& value);

/// The envelope with its two codes; null when there is no memory for it.
NodePtr NewEnvelope(const ResponseStatus& status);
NodePtr AddData(const NodePtr& envelope);
/// Renders into `response`; always true, so that it ends an encoder.
bool Render(const NodePtr& envelope, std::string& response);

/// `status`, or (0, 99999) in its place when any entry holds a code.
ResponseStatus BatchStatus(const ResponseStatus& status, const std::list<ErrorPtr>& errors);

}  // namespace Evidence::PduFrame

/// Opens a decoder: declares `proto`, holding the parsed `body`, or leaves the function with false and
/// (0, 2). `word` is the name that the decoder's log line carries, as one literal.
#define EVIDENCE_PARSE_BODY(proto, word, body)                                             \
  const auto proto = ::Evidence::NewRecord<kelp::CRapidJsonProto>();                       \
  if (!proto) {                                                                            \
    EVIDENCE_LOG(::Evidence::kLogFailure, "[%s]" word " failed, proto is null![%s(%d)]");  \
    return ::Evidence::Fail(::Evidence::kBadInput);                                        \
  }                                                                                        \
  if (!proto->set_str(body)) {                                                             \
    EVIDENCE_LOG(::Evidence::kLogFailure, "[%s]Data Parse failed, data invalid![%s(%d)]"); \
    return ::Evidence::Fail(::Evidence::kBadInput);                                        \
  }                                                                                        \
  static_assert(true)
