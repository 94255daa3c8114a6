#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "usrservice/LogTypes.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

Orv::Base::Error::ErrorCode ErrorOf(const ResponseStatus& status) { return {status.main_code, status.sub_code}; }

}  // namespace

void CUsrServiceEvidence::DeleteConfirmed(Deletion& deletion, const CEvidenceUserInterface& user_interface,
                                          const IdList& evidence_ids, const std::list<UserPtr>& users,
                                          const std::string& session, const std::function<void()>& read,
                                          Operation operation) {
  if (!CheckUsersDelEvidencePerm(deletion.remain_count, deletion.lock_type, deletion.user_name, users, session)) {
    TakeLastError(deletion.status);
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The user does not have permission to remove evidence.[%s(%d)]");
    return;
  }
  read();
  if (!user_interface.DelEvidences(evidence_ids)) TakeLastError(deletion.status);
}

bool CUsrServiceEvidence::ProcEvidenceDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  Deletion deletion;
  IdList evidence_ids;
  std::list<UserPtr> users;
  std::list<EvidencePtr> evidences;
  if (!pdu_->DecodeEvidenceDeleteReq(evidence_ids, users, request.request_body)) {
    TakeLastError(deletion.status);
  } else {
    DeleteConfirmed(deletion, *user_interface, evidence_ids, users, session, [&] {
      if (!evidence_ids.empty()) (void)user_interface->GetEvidenceByIDs(evidences, evidence_ids);
    });
  }
  if (!evidence_ids.empty()) {
    std::vector<std::string> names;
    for (const auto& evidence : evidences)
      names.push_back(evidence->name);
    WriteLog(session, kLogEvidenceDeleted, -1, names, ErrorOf(deletion.status), std::string());
    std::vector<operation_record> records;
    (void)DelEvidenceLog(records, kHistoryDeleted, evidence_ids, session);
    (void)user_interface->WriteEvidenceLog(records, session);
  }
  return Answered(response, pdu_->EncodeEvidenceDeleteRsp(response.response_body, deletion.remain_count,
                                                          deletion.lock_type, deletion.user_name, deletion.status));
}

bool CUsrServiceEvidence::ProcEvidenceIDDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  const std::int32_t evidence_id = request.url_ids.front();
  Deletion deletion;
  std::list<UserPtr> users;
  EvidencePtr evidence;
  if (!pdu_->DecodeEvidenceIDDeleteReq(users, request.request_body)) {
    TakeLastError(deletion.status);
  } else {
    DeleteConfirmed(deletion, *user_interface, {evidence_id}, users, session,
                    [&] { (void)user_interface->GetEvidenceByID(evidence, evidence_id); });
  }
  WriteLog(session, kLogEvidenceDeleted, evidence_id, evidence ? evidence->name : std::string(),
           ErrorOf(deletion.status), std::string());
  std::vector<operation_record> records;
  (void)DelEvidenceLog(records, kHistoryDeleted, {evidence_id}, session);
  (void)user_interface->WriteEvidenceLog(records, session);
  return Answered(response, pdu_->EncodeEvidenceIDDeleteRsp(response.response_body, deletion.remain_count,
                                                            deletion.lock_type, deletion.user_name, deletion.status));
}

}  // namespace Evidence
