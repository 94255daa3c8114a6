#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "usrservice/Dispatchers.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

bool HasIdsFor(const Dispatcher& dispatcher, const kelp::SHttpRequest& request) {
  const bool needs_id = dispatcher.ids == Dispatcher::Ids::kOne ||
                        (dispatcher.ids == Dispatcher::Ids::kOneOnGet && request.method_code == kelp::kMethodGet);
  return !needs_id || request.url_ids.size() == 1;
}

}  // namespace

void CUsrServiceEvidence::Dispatch(const Dispatcher& dispatcher, kelp::SHttpResponse& response,
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
  Orv::Base::Error::SetLastError({});
  Dispatch(kTypeDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_Type_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  Dispatch(kTypeIdDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  // A DELETE carries passwords and is not logged.
  if (request.method_code == kelp::kMethodPut || request.method_code == kelp::kMethodPost ||
      request.method_code == kelp::kMethodGet) {
    EVIDENCE_LOG(kLogProgress, "[%s]Merhod : %d, request json [%s], session : %s.[%s(%d)]",  // sic
                 request.method_code, request.request_body.c_str(), request.session_id.c_str());
  }
  Dispatch(kEvidenceDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  Dispatch(kEvidenceIdDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_Custom(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  Dispatch(kCustomDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_ID_Files(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  if (request.method_code == kelp::kMethodPost) {
    EVIDENCE_LOG(kLogProgress, "[%s]Merhod : %d, request json [%s], session : %s.[%s(%d)]",  // sic
                 request.method_code, request.request_body.c_str(), request.session_id.c_str());
  }
  Dispatch(kFilesDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_GUID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  Dispatch(kGuidDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_Evidence_OperationLog(kelp::SHttpResponse& response,
                                                         const kelp::SHttpRequest& request) {
  Orv::Base::Error::SetLastError({});
  Dispatch(kOperationLogDispatcher, response, request);
}

void CUsrServiceEvidence::Evidence_FilesBatchLinkEvidences(kelp::SHttpResponse& response,
                                                           const kelp::SHttpRequest& request) {
  EVIDENCE_LOG(kLogProgress, "[%s]batch link evidence, req: [%s], method: [%d].\n[%s(%d)]",
               request.request_body.c_str(), request.method_code);
  Dispatch(kBatchLinksDispatcher, response, request);
  EVIDENCE_LOG(kLogTrace, "[%s]batch link evidence, rsp: [%s].\n[%s(%d)]", response.response_body.c_str());
}

}  // namespace Evidence
