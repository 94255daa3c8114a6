// A plugin whose routes hand their bodies to the APIs of other plugins and give back what these answer.
#include <array>

#include "KelpPlatform/PlatformAdapter.h"
#include "plugin_comm/PluginCommManager.h"

namespace {

using plugin_comm::CPluginCommData;

struct Forwarded {
  const char* url;
  const char* api;
};

constexpr std::array kForwarded{
    Forwarded{"/Comm", "/API/FileManager/V1/LinkFile"},
    Forwarded{"/Comm/Evidence", "/API/Evidence/V1/Evidence"},
    Forwarded{"/Comm/Type", "/API/Evidence/V1/Evidence/Type"},
};

void Forward(const char* api, kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  std::shared_ptr<plugin_comm::IPluginCommData> reply;
  const auto data = std::make_shared<CPluginCommData>(request.request_body, nullptr, 0);
  const bool answered = plugin_comm::IPluginCommManager::Instance()->Request(reply, api, data, "");
  const auto text = std::dynamic_pointer_cast<CPluginCommData>(reply);
  response.response_body = answered && text ? text->JsonTxt() : "no reply";
}

}  // namespace

extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  if (!bus) return false;
  for (const Forwarded& forwarded : kForwarded) {
    const auto forward = [api = forwarded.api](kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
      Forward(api, response, request);
    };
    if (!bus->RegisterUrl(forwarded.url, kelp::kMethodPost, 0, forward)) return false;
  }
  return true;
}

extern "C" PLATFORM_API bool UnInit() { return true; }
