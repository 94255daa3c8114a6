#include "TarnPlatform/Authentication.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {

bool CEvidencePduJson::DecodeWriteEvidenceLogPostReq(std::vector<operation_record>& records, const std::string& session,
                                                     std::int32_t evidence_id, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidencePostReq", body);  // sic
  if (!proto) return false;
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> user;
  if (!TarnPlatform::Authentication::GetUserSession(user, session) || !user) {
    EVIDENCE_LOG(kLogFailure, "[%s]GetUserSession failed.[%s(%d)]");
    return Fail(kSessionNotFound);
  }
  const std::string root = "/OperationLog/";
  operation_record record;
  record.evidence_id = evidence_id;
  record.user_ip = user->GetValLoginAddress();
  record.user_name = user->GetValUserName();
  record.operation_type = proto->get_int_v(root + "OperationType", -1);
  change_item item;
  // Both, so that the name is read back for every type.
  item.file_name = proto->get_v(root + "FileName", std::string());
  item.before_mod = item.file_name;
  record.change_items.push_back(std::move(item));
  records.push_back(std::move(record));
  return true;
}

}  // namespace Evidence
