#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/ErrorCodes.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

/// An answer about one entry reports the error of that entry.
void TakeFirstError(ResponseStatus& status, const std::list<ErrorPtr>& errors) {
  if (errors.empty()) return;
  status.main_code = errors.front()->main_code;
  status.sub_code = errors.front()->sub_code;
}

}  // namespace

bool CUsrServiceEvidence::ProcEvidenceTypeGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  page_info page;
  std::int32_t client_resource_version = 0;
  std::list<EvidenceTypePtr> types;
  std::list<std::int32_t> methods;
  bool ok = pdu_->DecodeEvidenceTypeGetReq(page, nullptr, client_resource_version, request.request_body);
  if (ok && client_resource_version != 0) {
    page = page_info();
    ok = user_interface->GetIncreEvidenceTypes(types, methods, client_resource_version);
    page.total = static_cast<std::int32_t>(types.size());
  } else if (ok) {
    ok = user_interface->GetEvidenceTypes(types, page, nullptr);
  }
  if (!ok) TakeLastError(status);
  return pdu_->EncodeEvidenceTypeGetRsp(response.response_body, status, page, types, methods);
}

bool CUsrServiceEvidence::ProcEvidenceTypePut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  std::list<EvidenceTypePtr> types;
  std::list<ErrorPtr> errors;
  if (!pdu_->DecodeEvidenceTypePutReq(types, request.request_body) ||
      !user_interface->SetEvidenceTypes(errors, types, request.session_id, LogFunctionFor(request.session_id), true)) {
    TakeLastError(status);
  }
  return pdu_->EncodeEvidenceTypePutRsp(response.response_body, status, errors);
}

bool CUsrServiceEvidence::ProcEvidenceTypeIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  EvidenceTypePtr type;
  if (!user_interface->GetEvidenceTypeById(type, request.url_ids.front())) TakeLastError(status);
  return pdu_->EncodeEvidenceTypeIDGetRsp(response.response_body, status, type);
}

bool CUsrServiceEvidence::ProcEvidenceTypeIDPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  ResponseStatus status;
  EvidenceTypePtr type;
  std::list<ErrorPtr> errors;
  if (!pdu_->DecodeEvidenceTypeIDPutReq(type, request.request_body)) {
    TakeLastError(status);
  } else {
    type->type_id = request.url_ids.front();
    const std::list<EvidenceTypePtr> types{type};
    if (!user_interface->SetEvidenceTypes(errors, types, request.session_id, LogFunctionFor(request.session_id),
                                          false)) {
      TakeLastError(status);
    }
    TakeFirstError(status, errors);
  }
  return pdu_->EncodeEvidenceTypeIDPutRsp(response.response_body, status);
}

bool CUsrServiceEvidence::ProcEvidenceTypeIDDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  if (!CTarnCommonFun::CheckConfigPermission(request.session_id, kPermissionDeleteType)) return false;
  ResponseStatus status;
  std::list<ErrorPtr> errors;
  const std::list<std::int32_t> type_ids{request.url_ids.front()};
  if (!user_interface->DeleteEvidenceTypes(errors, type_ids, LogFunctionFor(request.session_id))) {
    TakeLastError(status);
  }
  TakeFirstError(status, errors);
  return pdu_->EncodeEvidenceTypeIDDeleteRsp(response.response_body, status);
}

}  // namespace Evidence
