#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

void ReportUndecoded(ResponseStatus& status, Operation operation = Operation::current()) {
  TakeLastError(status);
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Decode Req Failed,iMainCode[%d],iSubCode[%d].[%s(%d)]", status.main_code,
                  status.sub_code);
}

}  // namespace

bool CUsrServiceEvidence::ProcEvidenceCustomGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  std::int32_t client_resource_version = 0;
  std::list<EvidenceCustomPtr> customs;
  std::list<std::int32_t> methods;
  if (!pdu_->DecodeEvidenceCustomGetReq(client_resource_version, request.request_body)) {
    ReportUndecoded(status);
  } else if (!(client_resource_version == 0
                   ? user_interface->GetEvidenceCustoms(customs, nullptr)
                   : user_interface->GetIncreEvidenceCustoms(customs, methods, client_resource_version))) {
    TakeLastError(status);
  }
  // An empty list is encoded as no body, which must not hide a failure.
  if (customs.empty() && (status.main_code != 0 || status.sub_code != kSuccess)) {
    EncodeBaseErrorRsp(response);
    return true;
  }
  return pdu_->EncodeEvidenceCustomGetRsp(response.response_body, status, customs, methods);
}

bool CUsrServiceEvidence::ProcEvidenceCustomPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  std::list<EvidenceCustomPtr> customs;
  std::list<ErrorPtr> errors;
  if (!pdu_->DecodeEvidenceCustomPutReq(customs, request.request_body)) {
    ReportUndecoded(status);
  } else if (!user_interface->SetEvidenceCustoms(errors, customs, request.session_id,
                                                 LogFunctionFor(request.session_id), true)) {
    TakeLastError(status);
    EVIDENCE_LOG(kLogFailure, "[%s]Update evidence custom failed,iMainCode[%d],iSubCode[%d].[%s(%d)]", status.main_code,
                 status.sub_code);
  }
  return pdu_->EncodeEvidenceCustomPutRsp(response.response_body, PduFrame::BatchStatus(status, errors));
}

}  // namespace Evidence
