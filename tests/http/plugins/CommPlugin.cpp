// A plugin whose route /Comm hands its body to the file manager and gives back what that answers.
#include "KelpPlatform/PlatformAdapter.h"
#include "plugin_comm/PluginCommManager.h"

namespace {

using plugin_comm::CPluginCommData;

void Forward(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  std::shared_ptr<plugin_comm::IPluginCommData> reply;
  const auto data = std::make_shared<CPluginCommData>(request.request_body, nullptr, 0);
  const bool answered =
      plugin_comm::IPluginCommManager::Instance()->Request(reply, "/API/FileManager/V1/LinkFile", data, "");
  const auto text = std::dynamic_pointer_cast<CPluginCommData>(reply);
  response.response_body = answered && text ? text->JsonTxt() : "no reply";
}

}  // namespace

extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  return bus && bus->RegisterUrl("/Comm", kelp::kMethodPost, 0, Forward);
}

extern "C" PLATFORM_API bool UnInit() { return true; }
