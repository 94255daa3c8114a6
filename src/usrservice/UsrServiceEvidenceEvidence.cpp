#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "OrvBase/GuidUtil.h"
#include "usrservice/LogTypes.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {

bool CUsrServiceEvidence::ProcEvidencePost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  ResponseStatus status;
  EvidencePtr evidence;
  if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionAddEvidence) ||
      !pdu_->DecodeEvidencePostReq(evidence, session, request.request_body) ||
      !IsEvidenceId(user_interface->AddEvidence(evidence))) {
    TakeLastError(status);
    evidence.reset();
  }
  if (evidence) {
    WriteLog(session, kLogEvidenceCreated, evidence->id, evidence->name, {}, std::string());
    std::vector<operation_record> records;
    (void)ParseEvidenceLog(records, {}, kHistoryCreated, evidence, session);
    if (!user_interface->WriteEvidenceLog(records, session)) {
      EVIDENCE_LOG(kLogFailure, "[%s]WriteEvidenceLog failed.[%s(%d)]");
      return false;
    }
  }
  return Answered(response, pdu_->EncodeEvidencePostRsp(response.response_body, status, evidence));
}

bool CUsrServiceEvidence::ProcEvidencePut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  ResponseStatus status;
  std::list<EvidencePtr> evidences;
  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionChangeEvidence) ||
      !pdu_->DecodeEvidencePutReq(evidences, request.request_body) ||
      !user_interface->UpdateEvidences(results, evidences, records)) {
    TakeLastError(status);
  }
  for (const auto& result : results)
    if (result->id != -1) WriteLog(session, kLogEvidenceChanged, -1, result->name, {}, std::string());
  operation_record user;
  if (!TakeUser(user, session)) return false;
  for (operation_record& record : records) {
    record.user_ip = user.user_ip;
    record.user_name = user.user_name;
    record.operation_type = kHistoryChanged;
  }
  if (!user_interface->WriteEvidenceLog(records, session)) {
    EVIDENCE_LOG(kLogFailure, "[%s]WriteEvidenceLog failed.[%s(%d)]");
  }
  return Answered(response, pdu_->EncodeEvidencePutRsp(response.response_body, status, results));
}

bool CUsrServiceEvidence::ProcEvidenceIDPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  ResponseStatus status;
  EvidencePtr evidence;
  operation_record record;
  if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionChangeEvidence) ||
      !pdu_->DecodeEvidenceIDPutReq(evidence, request.request_body) || !evidence) {
    TakeLastError(status);
    evidence.reset();
  } else {
    evidence->id = request.url_ids.front();
    // An unknown user does not prevent the change.
    (void)ParsePutEvidenceLog(record, evidence->id, session);
    if (!user_interface->UpdateEvidence(evidence, record)) TakeLastError(status);
  }
  WriteLog(session, kLogEvidenceChanged, -1, evidence ? evidence->name : std::string(), {}, std::string());
  if (!record.change_items.empty()) {
    const std::string guid = Orv::Base::GuidUtil::CreateGuid();
    for (change_item& change : record.change_items)
      change.guid = guid;
    if (!user_interface->WriteEvidenceLog(std::vector{record}, session)) {
      EVIDENCE_LOG(kLogFailure, "[%s]WriteEvidenceLog failed when ProcEvidenceIDPut.[%s(%d)]");
    }
  }
  return Answered(response, pdu_->EncodeEvidenceIDPutRsp(response.response_body, status));
}

bool CUsrServiceEvidence::ProcEvidenceGUIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest&) {
  if (!pdu_) return Fail(kObjectMissing);
  return Answered(response, pdu_->EncodeEvidenceGUIDGetRsp(response.response_body, Orv::Base::GuidUtil::CreateGuid()));
}

}  // namespace Evidence
