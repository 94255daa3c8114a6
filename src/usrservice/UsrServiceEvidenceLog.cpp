#include <algorithm>
#include <ctime>
#include <map>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/GuidUtil.h"
#include "OrvBase/TimeUtil.h"
#include "TarnPlatform/Authentication.h"
#include "TarnPlatform/Log.h"
#include "impl/Evidence/Limits.h"
#include "usrservice/LogTypes.h"
#include "usrservice/UsrSericeSTDFlowTemplate.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/pdu/PduLog.h"

namespace Evidence {
namespace {

/// A line of joined names ends before it reaches this many bytes; a longer name has a line of its own.
constexpr std::size_t kJoinedNamesBytes = 256;

bool WriteSuccess(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                  const std::string& description, Operation operation = Operation::current()) {
  TarnPlatform::Log::COperationLogStruct record;
  record.SetVallog_type(log_type);
  record.SetValelement_name(object_name);
  record.SetValdescription(description);
  if (TarnPlatform::Log::WriteLog(session, record)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure,
                  "[%s]Failed to record operation log, session-id[%s], log-type[%d], object-id[%lld], "
                  "object-name[%s].[%s(%d)]",
                  session.c_str(), log_type, static_cast<long long>(object_id), object_name.c_str());
  return Fail(kNoPermission);
}

bool WriteFailure(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                  const Orv::Base::Error::ErrorCode& error, Operation operation = Operation::current()) {
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetSystemAndLogApi(true);
  if (!api) return Fail(kObjectMissing);
  if (api->WriteOperatorLog(session, log_type, object_id, object_name, -1, std::string(), error.MainCode(),
                            error.SubCode()) == 0) {
    return true;
  }
  EVIDENCE_LOG_OF(operation, kLogFailure,
                  "[%s]Failed to record operation log, session-id[%s], log-type[%d], object-id[%lld], "
                  "object-name[%s], error: [%d-%d].[%s(%d)]",
                  session.c_str(), log_type, static_cast<long long>(object_id), object_name.c_str(), error.MainCode(),
                  error.SubCode());
  return Fail(kNoPermission);
}

std::string JoinedNames(const std::list<EvidenceFilePtr>& files) {
  std::string text;
  for (const auto& file : files) {
    if (file != files.front()) text += '|';
    text += file->file_name;
  }
  return text;
}

/// Whether the rows of the entries are within the limits. Each row holds the name and the address of its entry twice.
bool IsWritable(const std::vector<pdu::SOperationLogEntry>& entries, Operation operation = Operation::current()) {
  std::size_t rows = 0;
  std::size_t bytes = 0;
  for (const auto& entry : entries) {
    const auto rows_of_entry = std::max<std::size_t>(entry.Details.size(), 1);
    rows += rows_of_entry;
    bytes += rows_of_entry * 2 * (entry.UserName.size() + entry.UserIP.size());
  }
  return Limits::Allows(Limits::kWrittenEntries, rows, operation) &&
         Limits::Allows(Limits::kWrittenUserBytes, bytes, operation);
}

operation_record RecordOf(const pdu::SOperationLogEntry& entry) {
  operation_record record;
  record.evidence_id = entry.EvidenceID;
  record.operation_type = entry.OperationType;
  record.occur_time = Orv::Base::TimeUtil::TimeT2StrDatetime(std::time(nullptr));
  record.user_name = entry.UserName;
  record.user_ip = entry.UserIP;
  const std::string guid = Orv::Base::GuidUtil::CreateGuid();
  for (const auto& detail : entry.Details) {
    change_item& item = record.change_items.emplace_back();
    item.mod_type = detail.Type;
    // Which of the two is read back depends on the type.
    item.file_name = detail.Name;
    item.before_mod = detail.Name;
    item.guid = guid;
  }
  return record;
}

pdu::SOperationLogItem ItemOf(const operation_record& record) {
  pdu::SOperationLogItem item;
  item.Time = record.occur_time;
  item.OperationType = record.operation_type;
  item.OperatorInfo = {record.is_device, record.user_name, record.dev_name, record.user_ip, record.client_type};
  return item;
}

pdu::SOperationInfo InfoOf(const change_item& change) {
  return {change.mod_type, change.before_id, change.before_mod, change.after_id, change.after_mod};
}

/// Appends the record as a client reads it: a change as one item per edit.
void AppendItems(std::vector<pdu::SOperationLogItem>& items, const operation_record& record) {
  if (record.operation_type == kHistoryChanged) {
    std::map<std::string, pdu::SOperationLogItem> edits;
    for (const change_item& change : record.change_items)
      edits.try_emplace(change.guid, ItemOf(record)).first->second.OperationDetails.push_back(InfoOf(change));
    for (auto& [guid, item] : edits)
      items.push_back(std::move(item));
    return;
  }
  pdu::SOperationLogItem& item = items.emplace_back(ItemOf(record));
  if (record.operation_type == kHistoryCreated || record.operation_type == kHistoryDeleted) return;
  for (const change_item& change : record.change_items)
    item.OperationDetails.push_back(InfoOf(change));
}

}  // namespace

bool CUsrServiceEvidence::WriteLog(const std::string& session, int log_type, std::int64_t object_id,
                                   const std::string& object_name, const Orv::Base::Error::ErrorCode& error,
                                   const std::string& description) {
  return error.SubCode() == kSuccess ? WriteSuccess(session, log_type, object_id, object_name, description)
                                     : WriteFailure(session, log_type, object_id, object_name, error);
}

bool CUsrServiceEvidence::WriteLog(const std::string& session, int log_type, std::int64_t object_id,
                                   const std::vector<std::string>& object_names,
                                   const Orv::Base::Error::ErrorCode& error, const std::string& description) {
  int lines = 0;
  bool any_written = false;
  std::string text;
  const auto write = [&] {
    ++lines;
    any_written = WriteLog(session, log_type, object_id, text, error, description) || any_written;
    text.clear();
  };
  for (const std::string& name : object_names) {
    if (!text.empty() && text.size() + name.size() >= kJoinedNamesBytes) write();
    if (!text.empty()) text += ';';
    text += name;
  }
  if (!text.empty() || (lines == 0 && !object_names.empty())) write();
  return lines == 0 || any_written;
}

LogFunction CUsrServiceEvidence::LogFunctionFor(const std::string& session) {
  return [this, session](const std::vector<std::string>& names, int log_type) {
    if (names.empty()) {
      WriteLog(session, log_type, -1, std::string(), {}, std::string());
    } else {
      WriteLog(session, log_type, -1, names, {}, std::string());
    }
  };
}

bool CUsrServiceEvidence::TakeUser(operation_record& record, const std::string& session, Operation operation) {
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> user_session;
  if (!TarnPlatform::Authentication::GetUserSession(user_session, session) || !user_session) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]GetUserSession failed.[%s(%d)]");
    return Fail(kSessionNotFound);
  }
  record.user_ip = user_session->GetValClientAddress();
  record.user_name = user_session->GetValUserName();
  return true;
}

bool CUsrServiceEvidence::ParseEvidenceLog(std::vector<operation_record>& records,
                                           const std::list<EvidenceFilePtr>& files, std::int32_t operation_type,
                                           const EvidencePtr& evidence, const std::string& session) {
  if (!LockUserInterface() || !evidence) return Fail(kObjectMissing);
  operation_record record;
  if (!session.empty() && !TakeUser(record, session)) return false;
  record.evidence_id = evidence->id;
  record.operation_type = operation_type;
  if (!files.empty()) record.change_items.emplace_back().before_mod = JoinedNames(files);
  records.push_back(std::move(record));
  return true;
}

bool CUsrServiceEvidence::ParsePutEvidenceLog(operation_record& record, std::int32_t evidence_id,
                                              const std::string& session) {
  record.evidence_id = evidence_id;
  record.operation_type = kHistoryChanged;
  return TakeUser(record, session);
}

bool CUsrServiceEvidence::DelEvidenceLog(std::vector<operation_record>& records, std::int32_t operation_type,
                                         const IdList& evidence_ids, const std::string& session) {
  operation_record record;
  if (!TakeUser(record, session)) return false;
  record.operation_type = operation_type;
  for (const std::int32_t evidence_id : evidence_ids.empty() ? IdList{-1} : evidence_ids) {
    record.evidence_id = evidence_id;
    records.push_back(record);
  }
  return true;
}

bool CUsrServiceEvidence::ProcOperationLogPost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  pdu::COperationLogPostSvrPDU message;
  const auto answer = NewRecord<pdu::SRspOperationLogPost>();
  if (!answer) return Fail(kAnswerNotMade);
  const auto write = [&] {
    const auto user_interface = LockUserInterface();
    if (!user_interface || !message.Request()) return Fail(kObjectMissing);
    std::vector<operation_record> records;
    if (!IsWritable(message.Request()->OperationLog)) return false;
    for (const auto& entry : message.Request()->OperationLog)
      records.push_back(RecordOf(entry));
    if (user_interface->WriteEvidenceLog(records, request.session_id)) return true;
    EVIDENCE_LOG(kLogFailure, "[%s]Batch WriteEvidenceLog failed vec_evidence_log size : %d.[%s(%d)]",
                 static_cast<int>(records.size()));
    return false;
  };
  ProcRequestSTDFlow(response.response_body, request.request_body, message, answer, write);
  return true;
}

bool CUsrServiceEvidence::ProcOperationLogGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  pdu::COperationLogGetSvrPDU message;
  const auto answer = NewRecord<pdu::SRspOperationLogGet>();
  if (!answer) return Fail(kAnswerNotMade);
  const auto read = [&] {
    const auto user_interface = LockUserInterface();
    if (!user_interface) return false;
    std::map<std::string, operation_record> records;
    IdList reserved;
    if (!user_interface->GetEvidenceLog(records, reserved, request.url_ids.front())) return false;
    for (const auto& [key, record] : records)
      AppendItems(answer->OperationLogList, record);
    return true;
  };
  // The path is the whole request: the body is ignored.
  ProcRequestSTDFlow(response.response_body, std::string(), message, answer, read);
  return true;
}

}  // namespace Evidence
