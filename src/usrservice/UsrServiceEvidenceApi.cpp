#include <algorithm>
#include <array>

#include "Common/Barrier.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "usrservice/LogTypes.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using plugin_comm::IPluginCommManager;

/// Callers inside the system are trusted and have no session.
constexpr char kNoSession[] = "";

/// `upload_state` of a completely uploaded file.
constexpr std::int32_t kUploaded = 1;

bool HasMsgBus(Operation operation = Operation::current()) {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  if (bus) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get msg bus mgr api obj is empty.[%s(%d)]");
  return false;
}

using ApiHandler = void (CUsrServiceEvidence::*)(const std::string&, const std::shared_ptr<IPluginCommData>&,
                                                 std::shared_ptr<IPluginCommData>&);

struct Api {
  const char* path;
  ApiHandler handler;
};

constexpr std::array kApis{
    Api{kApiEvidence, &CUsrServiceEvidence::Evidence_Evidence_API},
    Api{kApiEvidenceType, &CUsrServiceEvidence::Evidence_Evidence_Type_API},
};

}  // namespace

bool CUsrServiceEvidence::RegisterAPI() {
  if (!HasMsgBus()) return false;
  for (const Api& api : kApis) {
    const auto callback = [this, handler = api.handler](
                              const std::string& url, const std::shared_ptr<IPluginCommData>& request,
                              std::shared_ptr<IPluginCommData>& response) { (this->*handler)(url, request, response); };
    if (IPluginCommManager::Instance()->PublishApi(kPluginId, api.path, callback)) continue;
    const auto error = Orv::Base::Error::GetLastError();
    EVIDENCE_LOG(kLogFailure, "[%s]Publish api failed, url[%s], err[%d,%d].[%s(%d)]", api.path, error.MainCode(),
                 error.SubCode());
    return false;
  }
  return true;
}

void CUsrServiceEvidence::UnRegisterAPI() {
  (void)HasMsgBus();
  for (const Api& api : kApis) {
    if (IPluginCommManager::Instance()->RecoverApi(kPluginId, api.path)) continue;
    const auto error = Orv::Base::Error::GetLastError();
    EVIDENCE_LOG(kLogFailure, "[%s]Recover api failed, url[%s], err[%d,%d].[%s(%d)]", api.path, error.MainCode(),
                 error.SubCode());
  }
}

void CUsrServiceEvidence::ServeApi(LogLevel level, const std::string& url,
                                   const std::shared_ptr<IPluginCommData>& request,
                                   std::shared_ptr<IPluginCommData>& response, const ApiWork& work,
                                   Operation operation) {
  const auto serve = [&] {
    const auto user_interface = LockUserInterface();
    const auto call = std::dynamic_pointer_cast<CPluginCommData>(request);
    if (!user_interface || !call) {
      // An unchanged response signals the failure to the caller.
      Orv::Base::Error::SetLastError({0, kObjectMissing});
      return;
    }
    EVIDENCE_LOG_OF(operation, level, "[%s]Merhod : API, url[%s], \r\n request-json[%s].[%s(%d)]",  // sic
                    url.c_str(), call->JsonTxt().c_str());
    std::string text;
    if (!work(text, *user_interface, call->JsonTxt())) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Encode failed.[%s(%d)]");
      text.clear();
    }
    response = std::make_shared<CPluginCommData>(text, nullptr, 0);
    EVIDENCE_LOG_OF(operation, level, "[%s]Merhod : API, url[%s], \r\n reponse-json[%s].[%s(%d)]",  // sic
                    url.c_str(), text.c_str());
  };
  GuardEdge(
      serve,
      [] {
        Orv::Base::Error::SetLastError({0, kObjectMissing});
      },
      operation);
}

void CUsrServiceEvidence::Evidence_Evidence_API(const std::string& url, const std::shared_ptr<IPluginCommData>& request,
                                                std::shared_ptr<IPluginCommData>& response) {
  ServeApi(kLogProgress, url, request, response,
           [this](std::string& text, const CEvidenceUserInterface& user_interface, const std::string& json) {
             ResponseStatus status;
             EvidenceFilesMap evidences;
             std::string reserved;
             bool ok = pdu_->DecodeAPIEvidencePUTReq(evidences, reserved, json);
             if (ok && evidences.empty()) {
               EVIDENCE_LOG(kLogFailure, "[%s]Input param invalid, evidence is empty.[%s(%d)]");
               ok = Fail(kBadInput);
             }
             const FileManagerPlace place;
             ok = ok && place.IsGranted();
             // The first failure ends the call; the evidences before it remain.
             ok = ok && std::ranges::all_of(evidences, [&](const auto& entry) {
                    return AddEvidenceOfPlugin(user_interface, entry.first, entry.second);
                  });
             if (!ok) TakeLastError(status);
             return pdu_->EncodeAPIEvidencePutRsp(text, status, evidences);
           });
}

bool CUsrServiceEvidence::AddEvidenceOfPlugin(const CEvidenceUserInterface& user_interface, const EvidencePtr& evidence,
                                              const std::list<EvidenceFilePtr>& files, Operation operation) {
  if (!evidence) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param invalid, evidence is empty.[%s(%d)]");
    return Fail(kObjectMissing);
  }
  const std::uint32_t id = user_interface.AddEvidence(evidence);
  if (!IsEvidenceId(id)) {
    const auto error = Orv::Base::Error::GetLastError();
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Add evidence failed, id[%d], name[%s], err[%d,%d].[%s(%d)]",
                    static_cast<std::int32_t>(id), evidence->name.c_str(), error.MainCode(), error.SubCode());
    return false;
  }
  evidence->id = static_cast<std::int32_t>(id);
  std::vector<std::string> names;
  for (const auto& file : files) {
    if (!file) continue;
    file->evidence_id = evidence->id;
    file->upload_state = kUploaded;
    names.push_back(file->file_name);
  }
  std::list<ErrorPtr> failures;
  return user_interface.InsertEvidenceFiles(failures, files) &&
         LogEvidenceOfPlugin(user_interface, evidence, files, names, operation);
}

bool CUsrServiceEvidence::LogEvidenceOfPlugin(const CEvidenceUserInterface& user_interface, const EvidencePtr& evidence,
                                              const std::list<EvidenceFilePtr>& files,
                                              const std::vector<std::string>& names, Operation operation) {
  if (!WriteLog(kNoSession, kLogEvidenceCreated, evidence->id, evidence->name, {}, std::string())) {
    EVIDENCE_LOG_OF(operation, kLogFailure,
                    "[%s]Write log to platform failed, id[%d], mame[%s], session-id[%s].[%s(%d)]",  // sic
                    evidence->id, evidence->name.c_str(), kNoSession);
    return false;
  }
  const auto write_history = [&](const std::list<EvidenceFilePtr>& of_files, HistoryType type) {
    std::vector<operation_record> records;
    return ParseEvidenceLog(records, of_files, type, evidence, kNoSession) &&
           user_interface.WriteEvidenceLog(records, std::string(kNoSession));
  };
  bool written = write_history({}, kHistoryCreated);
  if (written && !files.empty()) {
    // A line refused by the platform's log must not keep the files out of the history.
    (void)WriteLog(kNoSession, kLogFilesLinked, evidence->id, names, {}, evidence->name);
    written = write_history(files, kHistoryFilesLinked);
  }
  if (!written) {
    EVIDENCE_LOG_OF(operation, kLogFailure,
                    "[%s]Write log to db failed, id[%d], mame[%s], session-id[%s].[%s(%d)]",  // sic
                    evidence->id, evidence->name.c_str(), kNoSession);
  }
  return written;
}

void CUsrServiceEvidence::Evidence_Evidence_Type_API(const std::string& url,
                                                     const std::shared_ptr<IPluginCommData>& request,
                                                     std::shared_ptr<IPluginCommData>& response) {
  ServeApi(kLogTrace, url, request, response,
           [this](std::string& text, const CEvidenceUserInterface& user_interface, const std::string& json) {
             ResponseStatus status;
             page_info page;
             std::shared_ptr<_tag_EvidenceAttributeFilterInfo_> filter;
             std::string reserved;
             std::list<EvidenceTypePtr> types;
             if (!pdu_->DecodeAPIEvidenceTypePostReq(page, filter, reserved, json) ||
                 !user_interface.GetEvidenceTypes(types, page, filter)) {
               TakeLastError(status);
             }
             return pdu_->EncodeAPIEvidenceTypePostRsp(text, page, status, types);
           });
}

}  // namespace Evidence
