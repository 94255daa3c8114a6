#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "usrservice/pdu/PduEnvelope.h"
#include "usrservice/pdu/PduMessage.h"

/// Linking several files with several evidences.
namespace pdu {

struct SLinkEvidence {
  std::int32_t EvidenceID = -1;
};

struct SLinkFile {
  std::int32_t FileID = -1;
  std::string FileName;
};

struct SReqFileBatchLinkEvidences {
  std::vector<SLinkEvidence> EvidenceList;
  std::vector<SLinkFile> FileList;
};

/// A file that could not be linked with an evidence or unlinked from it.
struct SLinkFileError {
  std::int32_t FileID = -1;
  std::int32_t ErrorCode = 0;
  std::int32_t ErrorModule = 0;
};

struct SLinkEvidenceError {
  std::int32_t EvidenceID = -1;
  std::string EvidenceName;
  std::vector<SLinkFileError> ErrorList;
};

struct SRspFileBatchLinkEvidences : Status {
  SRspFileBatchLinkEvidences() : Status{-1, -1, {}} {}
  std::vector<SLinkEvidenceError> EvidenceErrorList;
};

[[nodiscard]] bool Decode(std::shared_ptr<SReqFileBatchLinkEvidences>& request, const std::string& body);
[[nodiscard]] bool Encode(std::string& text, const std::shared_ptr<SRspFileBatchLinkEvidences>& response);

}  // namespace pdu
