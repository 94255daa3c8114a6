#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "usrservice/pdu/PduEnvelope.h"
#include "usrservice/pdu/PduMessage.h"

/// Writing and reading the history of evidences.
namespace pdu {

/// What a client writes.
struct SOperationLogDetail {
  std::int32_t Type = -1;
  std::string Name;
};

struct SOperationLogEntry {
  std::int32_t EvidenceID = -1;
  std::string UserName;
  std::string UserIP;
  std::int32_t OperationType = -1;
  std::vector<SOperationLogDetail> Details;
};

struct SReqOperationLogPost {
  std::vector<SOperationLogEntry> OperationLog;
};

struct SRspOperationLogPost : Status {};

/// The id of the evidence is in the path; no body is read.
struct SReqOperationLogGet {};

/// What a client reads: before and after of one change, or a name alone.
struct SOperationInfo {
  std::int32_t Type = -1;
  std::int32_t NameID = -1;
  std::string Name;
  std::int32_t NameUpdatedID = -1;
  std::string NameUpdated;
};

struct SOperatorInfo {
  std::int32_t Type = 0;
  std::string Name;
  std::string AdditionName;
  std::string IP;
  std::int32_t ClientType = -1;
};

struct SOperationLogItem {
  std::string Time;
  std::int32_t OperationType = -1;
  SOperatorInfo OperatorInfo;
  std::vector<SOperationInfo> OperationDetails;
};

struct SRspOperationLogGet : Status {
  std::vector<SOperationLogItem> OperationLogList;
};

[[nodiscard]] bool Decode(std::shared_ptr<SReqOperationLogPost>& request, const std::string& body);
[[nodiscard]] bool Encode(std::string& text, const std::shared_ptr<SRspOperationLogPost>& response);
[[nodiscard]] bool Decode(std::shared_ptr<SReqOperationLogGet>& request, const std::string& body);
[[nodiscard]] bool Encode(std::string& text, const std::shared_ptr<SRspOperationLogGet>& response);

using COperationLogPostSvrPDU = CSvrPdu<SReqOperationLogPost, SRspOperationLogPost>;
using COperationLogGetSvrPDU = CSvrPdu<SReqOperationLogGet, SRspOperationLogGet>;

}  // namespace pdu
