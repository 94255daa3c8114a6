#include "usrservice/UsrServiceEvidence.h"

#include "Common/ErrorCodes.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "usrservice/Routes.h"
#include "usrservice/UsrServiceEvidencePDU.h"

namespace Evidence {
namespace {

std::shared_ptr<kelp::IMsgBus> MsgBus() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  return bus;
}

}  // namespace

void TakeLastError(ResponseStatus& status) {
  const auto error = Orv::Base::Error::GetLastError();
  status.main_code = error.MainCode();
  status.sub_code = error.SubCode();
}

const std::shared_ptr<CUsrServiceEvidence>& CUsrServiceEvidence::Instance() {
  static const auto instance = std::make_shared<CUsrServiceEvidence>();
  return instance;
}

bool CUsrServiceEvidence::Init(const std::weak_ptr<CEvidenceUserInterface>& user_interface) {
  user_interface_ = user_interface;
  pdu_ = std::make_shared<CEvidencePduJson>(user_interface);
  if (RegisterUrlToPlatform()) {
    EVIDENCE_LOG(kLogProgress, "[%s]Register url to platform succeed.[%s(%d)]");
  } else {
    EVIDENCE_LOG(kLogFailure, "[%s]Register url to platform failed.[%s(%d)]");
  }
  if (RegisterAPI()) {
    EVIDENCE_LOG(kLogProgress, "[%s]Register api url to platform succeed.[%s(%d)]");
  } else {
    EVIDENCE_LOG(kLogFailure, "[%s]Register api url to platform failed.[%s(%d)]");
  }
  return true;
}

void CUsrServiceEvidence::UnInit() {
  if (!MsgBus()) return;
  UnRegisterUrlFromPlatform();
  UnRegisterAPI();
  pdu_.reset();
  user_interface_.reset();
}

bool CUsrServiceEvidence::RegisterUrlToPlatform() {
  const auto bus = MsgBus();
  if (!bus) {
    EVIDENCE_LOG(kLogFatal, "[%s]ptr_msg_bus is null.[%s(%d)]");
    return false;
  }
  for (const Route& route : kRoutes) {
    const auto callback = [this, dispatcher = route.dispatcher](kelp::SHttpResponse& response,
                                                                const kelp::SHttpRequest& request) {
      (this->*dispatcher)(response, request);
    };
    const std::string url = std::string(route.base) + route.sub_path;
    if (route.capability) {
      bus->RegisterUrlWithCapability(url, route.method_code, route.mode, callback, kCapability);
    } else {
      bus->RegisterUrl(url, route.method_code, route.mode, callback);
    }
  }
  return true;
}

void CUsrServiceEvidence::UnRegisterUrlFromPlatform() {
  const auto bus = MsgBus();
  if (!bus) return;
  for (const RoutePath& path : kRemovedPaths)
    bus->UnRegisterUrl(std::string(path.base) + path.sub_path);
}

void CUsrServiceEvidence::EncodeBaseErrorRsp(kelp::SHttpResponse& response) {
  if (!pdu_) {
    Orv::Base::Error::SetLastError({0, kObjectMissing});
    return;
  }
  if (!pdu_->EncodeBaseErrorRsp(response.response_body)) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]EncodeBaseErrorRsp failed.[%s(%d)]");
  }
}

bool CUsrServiceEvidence::Answered(kelp::SHttpResponse& response, bool encoded) {
  if (!encoded) EncodeBaseErrorRsp(response);
  return encoded;
}

std::shared_ptr<CEvidenceUserInterface> CUsrServiceEvidence::LockUserInterface() const {
  auto user_interface = pdu_ ? user_interface_.lock() : nullptr;
  if (!user_interface) Orv::Base::Error::SetLastError({0, kObjectMissing});
  return user_interface;
}

}  // namespace Evidence
