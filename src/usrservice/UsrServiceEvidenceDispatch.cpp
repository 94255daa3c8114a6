#include "Common/Barrier.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "platform/Call.h"
#include "usrservice/Dispatchers.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

bool HasIdsFor(const Dispatcher& dispatcher, const kelp::SHttpRequest& request) {
  const bool needs_id = dispatcher.ids == Dispatcher::Ids::kOne ||
                        (dispatcher.ids == Dispatcher::Ids::kOneOnGet && request.method_code == kelp::kMethodGet);
  return !needs_id || request.url_ids.size() == 1;
}

bool LogsRequest(RequestLog log, int method_code) {
  switch (log) {
    case RequestLog::kPost:
      return method_code == kelp::kMethodPost;
    case RequestLog::kAllButDelete:
      return method_code == kelp::kMethodPut || method_code == kelp::kMethodPost || method_code == kelp::kMethodGet;
    case RequestLog::kNone:
    case RequestLog::kTraffic:
      break;
  }
  return false;
}

void LogRequest(RequestLog log, const kelp::SHttpRequest& request, Operation operation = Operation::current()) {
  if (LogsRequest(log, request.method_code)) {
    EVIDENCE_LOG_OF(operation, kLogProgress, "[%s]Merhod : %d, request json [%s], session : %s.[%s(%d)]",  // sic
                    request.method_code, request.request_body.c_str(), request.session_id.c_str());
  } else if (log == RequestLog::kTraffic) {
    EVIDENCE_LOG_OF(operation, kLogProgress, "[%s]batch link evidence, req: [%s], method: [%d].\n[%s(%d)]",
                    request.request_body.c_str(), request.method_code);
  }
}

}  // namespace

void CUsrServiceEvidence::Dispatch(const Dispatcher& dispatcher, kelp::SHttpResponse& response,
                                   const kelp::SHttpRequest& request, Operation operation) {
  const auto dispatch = [&] {
    if (dispatcher.clears_last_error) Orv::Base::Error::SetLastError({});
    LogRequest(dispatcher.log, request, operation);
    Act(dispatcher, response, request);
    if (dispatcher.log == RequestLog::kTraffic) {
      EVIDENCE_LOG_OF(operation, kLogTrace, "[%s]batch link evidence, rsp: [%s].\n[%s(%d)]",
                      response.response_body.c_str());
    }
  };
  const auto failed = [&] {
    Orv::Base::Error::SetLastError({0, kObjectMissing});
    EncodeBaseErrorRsp(response);
  };
  GuardEdge(dispatch, failed, operation);
  AnswerRefusedRead(response);
}

// Wherever a read was ended for want of memory, the handler has made what it could of that: a part of a list, or the
// pair of a failed statement.
void CUsrServiceEvidence::AnswerRefusedRead(kelp::SHttpResponse& response) {
  const auto* const call = platform::Call::Current();
  if (call == nullptr || !call->IsRefusedForMemory()) return;
  response.response_body = {};
  Orv::Base::Error::SetLastError({0, kBadInput});
  EncodeBaseErrorRsp(response);
}

void CUsrServiceEvidence::Act(const Dispatcher& dispatcher, kelp::SHttpResponse& response,
                              const kelp::SHttpRequest& request) {
  if (!HasIdsFor(dispatcher, request)) {
    Orv::Base::Error::SetLastError({0, kBadInput});
    EncodeBaseErrorRsp(response);
    return;
  }
  const bool known = request.method_code >= 1 && request.method_code <= kMethodCount;
  const Action& action =
      known ? dispatcher.actions[static_cast<std::size_t>(request.method_code) - 1] : dispatcher.other;
  switch (action.kind) {
    case Action::Kind::kNothing:
      break;
    case Action::Kind::kReject:
      Orv::Base::Error::SetLastError({0, kMethodNotServed});
      EncodeBaseErrorRsp(response);
      break;
    case Action::Kind::kRejectSilently:
      Orv::Base::Error::SetLastError({0, kMethodNotServedOnCustom});
      break;
    case Action::Kind::kHandle:
      (this->*action.handler)(response, request);
      break;
    case Action::Kind::kHandleOrReport:
      if (!(this->*action.handler)(response, request)) EncodeBaseErrorRsp(response);
      break;
  }
}

void CUsrServiceEvidence::Evidence_Evidence_Type(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kTypeDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_Type_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kTypeIdDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kEvidenceDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kEvidenceIdDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_Custom(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kCustomDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_ID_Files(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kFilesDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_GUID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Dispatch(kGuidDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_OperationLog(kelp::SHttpResponse& response,
                                                         const kelp::SHttpRequest& request) {
  Dispatch(kOperationLogDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_FilesBatchLinkEvidences(kelp::SHttpResponse& response,
                                                           const kelp::SHttpRequest& request) {
  Dispatch(kBatchLinksDispatcher, response, request);
}

}  // namespace Evidence
