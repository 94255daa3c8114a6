#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "usrservice/FileChange.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {

bool CUsrServiceEvidence::LogFileChange(const FileChange& change, std::int32_t evidence_id, const EvidencePtr& evidence,
                                        const std::list<EvidenceFilePtr>& files, const std::string& session,
                                        Operation operation) {
  std::vector<std::string> names;
  for (const auto& file : files)
    names.push_back(file->file_name);
  WriteLog(session, change.log_type, evidence_id, names, {}, evidence ? evidence->name : std::string());
  std::vector<operation_record> records;
  const bool recorded = ParseEvidenceLog(records, files, change.history_type, evidence, session);
  if (!recorded)
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]ParseEvidenceLog failed, evidence-id[%d].[%s(%d)]", evidence_id);
  const auto user_interface = LockUserInterface();
  if (user_interface && user_interface->WriteEvidenceLog(records, session)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]WriteEvidenceLog failed.[%s(%d)]");
  return false;
}

bool CUsrServiceEvidence::ProcEvidenceIDFilesPost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const std::string& session = request.session_id;
  const std::int32_t evidence_id = request.url_ids.front();
  ResponseStatus status;
  std::list<EvidenceFilePtr> files;
  std::list<EvidenceFilePtr> linked;
  std::list<EvidenceFilePtr> unlinked;
  std::list<ErrorPtr> failures;
  const auto change = [&] {
    if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionChangeEvidence) ||
        !pdu_->DecodeEvidenceIDFilesPostReq(files, request.request_body)) {
      return false;
    }
    for (const auto& file : files) {
      file->evidence_id = evidence_id;
      (file->delete_flag == kUnlinkFlag ? unlinked : linked).push_back(file);
    }
    return user_interface->InsertEvidenceFiles(failures, files);
  };
  if (!change()) {
    TakeLastError(status);
  } else {
    EvidencePtr evidence;
    (void)user_interface->GetEvidenceByID(evidence, evidence_id);
    if (evidence) WriteLog(session, kLogEvidenceChanged, evidence_id, evidence->name, {}, std::string());
    if (!linked.empty() && !LogFileChange(kFilesLinked, evidence_id, evidence, linked, session)) return false;
    if (!unlinked.empty() && !LogFileChange(kFilesUnlinked, evidence_id, evidence, unlinked, session)) return false;
  }
  return pdu_->EncodeEvidenceIDFilesPostRsp(response.response_body, status, failures);
}

}  // namespace Evidence
