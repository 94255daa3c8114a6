#include "Common/CommonFun/TarnCommonFun.h"

#include <memory>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/PlatformAdapter.h"

namespace Evidence {
namespace {

std::shared_ptr<kelp::IClientPermissionApi> PermissionApi() {
  std::shared_ptr<kelp::IClientPermissionApi> api;
  kelp::IPlatformAdapterInterface::Instance()->GetClientPermissionApi(api, true);
  return api;
}

}  // namespace

bool CTarnCommonFun::CheckConfigPermission(const std::string& session, int code) {
  if (session.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]session is empty and %d has permission[%s(%d)]", code);
    return true;
  }
  const auto api = PermissionApi();
  if (api && api->HaveWebClientPermission(session, code)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]%s Not Have WebClient Permission: %d.[%s(%d)]", session.c_str(), code);
  return Fail(kNoPermission);
}

bool CTarnCommonFun::CheckOperatePermission(const std::string& session, int code) {
  if (session.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]session is empty and %d has permission[%s(%d)]", code);
    return true;
  }
  const auto api = PermissionApi();
  if (api && api->HaveCSClientPermission(session, code)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]%s Not Have CSClient Permission: %d.[%s(%d)]", session.c_str(), code);
  return Fail(kNoPermission);
}

}  // namespace Evidence
