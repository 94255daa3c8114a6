#include <array>

#include "Common/Barrier.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

using plugin_comm::IPluginCommData;
using plugin_comm::IPluginCommManager;

bool HasMsgBus() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  if (bus) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get msg bus mgr api obj is empty.[%s(%d)]");
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
    const auto callback = [this, handler = api.handler](const std::string& url,
                                                        const std::shared_ptr<IPluginCommData>& request,
                                                        std::shared_ptr<IPluginCommData>& response) {
      GuardEdge([&] { (this->*handler)(url, request, response); },
                [] {
                  Orv::Base::Error::SetLastError({0, kObjectMissing});
                });
    };
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

// The response stays as the caller gave it, which tells the caller that the call failed.
void CUsrServiceEvidence::Evidence_Evidence_API(const std::string& /*url*/,
                                                const std::shared_ptr<IPluginCommData>& /*request*/,
                                                std::shared_ptr<IPluginCommData>& /*response*/) {
  Orv::Base::Error::SetLastError({0, kObjectMissing});
}

void CUsrServiceEvidence::Evidence_Evidence_Type_API(const std::string& /*url*/,
                                                     const std::shared_ptr<IPluginCommData>& /*request*/,
                                                     std::shared_ptr<IPluginCommData>& /*response*/) {
  Orv::Base::Error::SetLastError({0, kObjectMissing});
}

}  // namespace Evidence
