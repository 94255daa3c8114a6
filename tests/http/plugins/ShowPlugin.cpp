// A plugin whose routes show what the host hands over.
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "KelpPlatform/DBManager.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/Log.h"
#include "TarnPlatform/Authentication.h"
#include "TarnPlatform/Common.h"
#include "TarnPlatform/Log.h"
#include "plugin_comm/PluginCommManager.h"

namespace {

using kelp::SHttpRequest;
using kelp::SHttpResponse;

constexpr int kNoteType = 77;

/// Method and ids of a request, and its body.
std::string Echo(const SHttpRequest& request) {
  std::string text = std::to_string(request.method_code);
  for (const auto id : request.url_ids)
    text += " " + std::to_string(id);
  return text + " [" + request.request_body + "]";
}

/// The body names a folder with two named pipes, in which the test meets the request once it is inside, and again to
/// let it out.
std::string Gate(const SHttpRequest& request) {
  close(open((request.request_body + "/entered").c_str(), O_WRONLY | O_CLOEXEC));
  close(open((request.request_body + "/leave").c_str(), O_RDONLY | O_CLOEXEC));
  return "through";
}

/// The session's user and what he may do.
std::string WhoAmI(const SHttpRequest& request) {
  namespace Authentication = TarnPlatform::Authentication;
  std::string name;
  std::string address;
  std::shared_ptr<kelp::IClientPermissionApi> permissions;
  kelp::IPlatformAdapterInterface::Instance()->GetClientPermissionApi(permissions, true);
  if (!Authentication::GetUsername(name, request.session_id) ||
      !Authentication::GetClientAddress(address, request.session_id)) {
    return "unknown";
  }
  std::string text = name + " " + address + (Authentication::IsSuperUser(request.session_id) ? " super" : "");
  for (int code = 1; code <= 3; ++code) {
    if (permissions->HaveWebClientPermission(request.session_id, code)) text += " web" + std::to_string(code);
    if (permissions->HaveCSClientPermission(request.session_id, code)) text += " cs" + std::to_string(code);
  }
  return text;
}

/// Writes a line of the platform's log under the session.
std::string Note(const SHttpRequest& request) {
  TarnPlatform::Log::COperationLogStruct record;
  record.SetVallog_type(kNoteType);
  return TarnPlatform::Log::WriteLog(request.session_id, record) ? "noted" : "not noted";
}

std::string KeyText(const SHttpRequest&) { return TarnPlatform::Common::GetAESKey(); }

/// "<name> on <device id> <device name> of protocol <protocol>".
std::string Camera(const SHttpRequest& request) {
  const auto platform = kelp::IPlatformAdapterInterface::Instance();
  kelp::SElementBaseInfo camera;
  if (!platform->GetElementApi(true)->GetElementInfo(camera, request.url_ids.at(0), 0)) return "no such camera";
  auto text = camera.element_name + " on " + std::to_string(camera.element_device_id);
  if (!camera.device_base) return text;
  const auto& base = *camera.device_base;
  const auto device = platform->GetDeviceApi(true)->GetDeviceObject(base.device_id, base.device_type);
  return text + " " + base.device_name + " of protocol " + std::to_string(device->GetProtocolType());
}

/// The reply of another plugin's API; the body names it, and behind a blank the request, if any.
std::string CallApi(const SHttpRequest& request) {
  const auto api = request.request_body.substr(0, request.request_body.find(' '));
  const auto text = request.request_body.substr(api.size());
  const auto data = text.empty() ? nullptr : std::make_shared<plugin_comm::CPluginCommData>(text, nullptr, 0);
  std::shared_ptr<plugin_comm::IPluginCommData> reply;
  if (!plugin_comm::IPluginCommManager::Instance()->Request(reply, api, data, "")) return "no reply";
  return std::dynamic_pointer_cast<plugin_comm::CPluginCommData>(reply)->JsonTxt();
}

/// Runs the body on a connection of this plugin's own pool of four.
constexpr char kPool[] = "show";
constexpr int kConnections = 4;

std::string Sql(const SHttpRequest& request) {
  const auto manager = kelp::IDBManager::Instance();
  return manager->ExecuteNoQuery(kPool, kelp::IDBManager::kConfigClass, request.request_body) ? "done" : "failed";
}

std::string Throw(const SHttpRequest&) { throw std::runtime_error("thrown on purpose"); }

}  // namespace

extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  if (!kelp::IDBManager::Instance()->Initialize(kPool, kConnections, 1, true)) return false;
  const auto serve = [&bus](const std::string& url, int method_code, const auto& show) {
    return bus->RegisterUrl(url, method_code, 0, [show](SHttpResponse& response, const SHttpRequest& request) {
      response.response_body = show(request);
    });
  };
  return serve("/Sql", kelp::kMethodPost, Sql) && serve("/Echo", kelp::kMethodPut, Echo) &&
         serve("/Echo/ID/Sub/ID", kelp::kMethodGet, Echo) && serve("/Gate", kelp::kMethodPost, Gate) &&
         serve("/WhoAmI", kelp::kMethodGet, WhoAmI) && serve("/KeyText", kelp::kMethodGet, KeyText) &&
         serve("/Note", kelp::kMethodPost, Note) && serve("/Camera/ID", kelp::kMethodGet, Camera) &&
         serve("/Throw", kelp::kMethodGet, Throw) && serve("/Api", kelp::kMethodPost, CallApi) &&
         serve("/Nothing", kelp::kMethodGet, [](const SHttpRequest&) { return std::string(); });
}

extern "C" PLATFORM_API bool UnInit() {
  Orv::Base::details::ITarnFormatLog(3, "show", "UnInit called");
  kelp::IDBManager::Instance()->UnInitialize(kPool);
  return true;
}
