// A plugin whose routes show what the host hands over.
#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/FileUtil.h"
#include "OrvBase/Log.h"
#include "TarnPlatform/Authentication.h"
#include "TarnPlatform/Common.h"
#include "TarnPlatform/System.h"

namespace {

using kelp::SHttpRequest;
using kelp::SHttpResponse;

void Echo(SHttpResponse& response, const SHttpRequest& request) {
  response.response_body = std::to_string(request.method_code);
  for (const auto id : request.url_ids)
    response.response_body += " " + std::to_string(id);
  response.response_body += " [" + request.request_body + "]";
}

/// The body names a folder with two named pipes: one byte tells the test that the request is inside, and the request
/// stays inside until the test opens the other pipe for writing.
void Gate(SHttpResponse& response, const SHttpRequest& request) {
  const int entered = open((request.request_body + "/entered").c_str(), O_WRONLY | O_CLOEXEC);
  const bool told = write(entered, "x", 1) == 1;
  close(entered);
  close(open((request.request_body + "/leave").c_str(), O_RDONLY | O_CLOEXEC));
  response.response_body = told ? "through" : "no gate";
}

void WhoAmI(SHttpResponse& response, const SHttpRequest& request) {
  namespace Authentication = TarnPlatform::Authentication;
  std::string name;
  std::string address;
  std::shared_ptr<kelp::IClientPermissionApi> permissions;
  kelp::IPlatformAdapterInterface::Instance()->GetClientPermissionApi(permissions, true);
  const bool known = Authentication::GetUsername(name, request.session_id) &&
                     Authentication::GetClientAddress(address, request.session_id);
  response.response_body = !known ? "unknown" : name + " " + address;
  if (Authentication::IsSuperUser(request.session_id)) response.response_body += " super";
  for (int code = 1; code <= 3; ++code) {
    if (permissions->HaveWebClientPermission(request.session_id, code)) {
      response.response_body += " web" + std::to_string(code);
    }
    if (permissions->HaveCSClientPermission(request.session_id, code)) {
      response.response_body += " cs" + std::to_string(code);
    }
  }
}

void Facts(SHttpResponse& response, const SHttpRequest&) {
  response.response_body = TarnPlatform::System::GetSystemGuid() + " " + Orv::Base::FileUtil::GetCurExeDirUtf8();
}

void KeyText(SHttpResponse& response, const SHttpRequest&) {
  response.response_body = TarnPlatform::Common::GetAESKey();
}

/// "<name> on <device id> <device name> of protocol <protocol>".
void Camera(SHttpResponse& response, const SHttpRequest& request) {
  const auto platform = kelp::IPlatformAdapterInterface::Instance();
  kelp::SElementBaseInfo camera;
  if (!platform->GetElementApi(true)->GetElementInfo(camera, request.url_ids.at(0), 0)) {
    response.response_body = "no such camera";
    return;
  }
  response.response_body = camera.element_name + " on " + std::to_string(camera.element_device_id);
  if (!camera.device_base) return;
  const auto& base = *camera.device_base;
  const auto device = platform->GetDeviceApi(true)->GetDeviceObject(base.device_id, base.device_type);
  response.response_body += " " + base.device_name + " of protocol " + std::to_string(device->GetProtocolType());
}

void Nothing(SHttpResponse&, const SHttpRequest&) {}

void Throw(SHttpResponse& response, const SHttpRequest&) {
  response.response_body = "half";
  throw std::runtime_error("thrown on purpose");
}

}  // namespace

extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  return bus && bus->RegisterUrl("/Echo", kelp::kMethodPut, 0, Echo) &&
         bus->RegisterUrl("/Echo/ID/Sub/ID", kelp::kMethodGet, 0, Echo) &&
         bus->RegisterUrl("/Gate", kelp::kMethodPost, 0, Gate) &&
         bus->RegisterUrl("/WhoAmI", kelp::kMethodGet, 0, WhoAmI) &&
         bus->RegisterUrl("/Facts", kelp::kMethodGet, 0, Facts) &&
         bus->RegisterUrl("/KeyText", kelp::kMethodGet, 0, KeyText) &&
         bus->RegisterUrl("/Camera/ID", kelp::kMethodGet, 0, Camera) &&
         bus->RegisterUrl("/Nothing", kelp::kMethodGet, 0, Nothing) &&
         bus->RegisterUrl("/Throw", kelp::kMethodGet, 0, Throw);
}

extern "C" PLATFORM_API bool UnInit() {
  Orv::Base::details::ITarnFormatLog(3, "echo", "UnInit called");
  return true;
}
