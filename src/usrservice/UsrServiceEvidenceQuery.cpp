#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/Limits.h"
#include "usrservice/LogTypes.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
bool CUsrServiceEvidence::ProcEvidenceGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  page_info asked;
  page_info answered;
  EvidenceFilterPtr filter;
  std::string field;
  IdList evidence_ids;
  bool has_more = false;
  std::list<EvidencePtr> evidences;
  if (!pdu_->DecodeEvidenceGetReq(asked, filter, field, evidence_ids, request.request_body)) {
    TakeLastError(status);
  } else {
    answered.PageIndex = asked.PageIndex;
    answered.PageSize = asked.PageSize;
    if (user_interface->QueryEvidences(evidences, asked, has_more, filter, evidence_ids)) {
      answered.total = asked.total;
    } else {
      TakeLastError(status);
    }
  }
  WriteLog(request.session_id, kLogEvidenceQueried, -1, std::string(), {}, std::string());
  return Answered(response,
                  pdu_->EncodeEvidenceGetRsp(response.response_body, status, answered, has_more, evidences, field));
}

bool CUsrServiceEvidence::ProcEvidenceIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  std::string field;
  EvidencePtr evidence;
  if (!pdu_->DecodeEvidenceIDGetReq(field, request.request_body) ||
      !user_interface->GetEvidenceByID(evidence, request.url_ids.front())) {
    TakeLastError(status);
  }
  return Answered(response, pdu_->EncodeEvidenceIDGetRsp(response.response_body, status, evidence, field));
}

}  // namespace Evidence
