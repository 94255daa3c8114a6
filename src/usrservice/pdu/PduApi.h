#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "usrservice/pdu/PduEnvelope.h"
#include "usrservice/pdu/PduMessage.h"

/// Calls from other plugins: evidences to be created with their files, and the list of types. A request is under
/// "/Request", an answer under "/Response", with "/BinarySize" at the same level.
namespace pdu {

struct SAPIEvidenceFile {
  std::string BeginTime;
  std::string EndTime;
  std::string Name;
  std::string Path;
  std::int32_t Type = -1;
  std::string Guid;
  std::string Digest;
};

struct SAPIEvidence {
  std::string Guid;
  std::string Name;
  std::string Desc;
  std::int32_t Status = -1;
  std::string Label;
  std::string EvidenceBeginTime;
  std::string EvidenceEndTime;
  std::int32_t EvidenceTypeID = -1;
  std::int32_t SceneID = -1;
  std::int32_t OutcomeID = -1;
  std::vector<SAPIEvidenceFile> File;
};

struct SReqAPIEvidencePut {
  std::int32_t BinarySize = -1;
  std::vector<SAPIEvidence> Evidence;
};

struct SAPINamedID {
  std::int32_t ID = -1;
  std::string Name;
};

struct SAPIEvidenceResult : SAPINamedID {
  std::vector<SAPINamedID> File;
};

struct SRspAPIEvidencePut : Status {
  std::int32_t BinarySize = -1;
  std::vector<SAPIEvidenceResult> Evidence;
};

struct SReqAPIEvidenceTypePost {
  std::int32_t BinarySize = -1;
  std::int32_t PageIndex = -1;
  std::int32_t PageSize = -1;
  std::vector<std::int32_t> EvidenceTypeIDs;
};

struct SRspAPIEvidenceTypePost : Status {
  SRspAPIEvidenceTypePost() : Status{-1, -1, {}} {}
  /// A text here, a number in the answer about evidences; callers expect both as they are.
  std::string BinarySize;
  std::int32_t PageIndex = -1;
  std::int32_t PageSize = -1;
  std::int32_t TotalNum = -1;
  std::vector<SAPINamedID> EvidenceType;
};

[[nodiscard]] bool Decode(std::shared_ptr<SReqAPIEvidencePut>& request, const std::string& body);
[[nodiscard]] bool Encode(std::string& text, const std::shared_ptr<SRspAPIEvidencePut>& response);
[[nodiscard]] bool Decode(std::shared_ptr<SReqAPIEvidenceTypePost>& request, const std::string& body);
[[nodiscard]] bool Encode(std::string& text, const std::shared_ptr<SRspAPIEvidenceTypePost>& response);

using CAPIEvidencePutSvrPDU = CSvrPdu<SReqAPIEvidencePut, SRspAPIEvidencePut>;
using CAPIEvidenceTypePostSvrPDU = CSvrPdu<SReqAPIEvidenceTypePost, SRspAPIEvidenceTypePost>;

}  // namespace pdu
