#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "TarnPlatform/Log.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

/// A line of joined names is ended before it reaches this many bytes; one longer name stands alone.
constexpr std::size_t kJoinedNamesBytes = 256;

bool WriteSuccess(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                  const std::string& description) {
  TarnPlatform::Log::COperationLogStruct record;
  record.SetVallog_type(log_type);
  record.SetValelement_name(object_name);
  record.SetValdescription(description);
  if (TarnPlatform::Log::WriteLog(session, record)) return true;
  EVIDENCE_LOG(kLogFailure,
               "[%s]Failed to record operation log, session-id[%s], log-type[%d], object-id[%lld], "
               "object-name[%s].[%s(%d)]",
               session.c_str(), log_type, static_cast<long long>(object_id), object_name.c_str());
  return Fail(kNoPermission);
}

bool WriteFailure(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                  const Orv::Base::Error::ErrorCode& error) {
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetSystemAndLogApi(true);
  if (!api) return Fail(kObjectMissing);
  if (api->WriteOperatorLog(session, log_type, object_id, object_name, -1, std::string(), error.MainCode(),
                            error.SubCode()) == 0) {
    return true;
  }
  EVIDENCE_LOG(kLogFailure,
               "[%s]Failed to record operation log, session-id[%s], log-type[%d], object-id[%lld], "
               "object-name[%s], error: [%d-%d].[%s(%d)]",
               session.c_str(), log_type, static_cast<long long>(object_id), object_name.c_str(), error.MainCode(),
               error.SubCode());
  return Fail(kNoPermission);
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

}  // namespace Evidence
