// Plugins that cannot start, each in its own way: NO_INIT, INIT_FALSE or INIT_THROWS.
#include <stdexcept>

#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/Log.h"

#ifndef NO_INIT
extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  bus->RegisterUrl("/Leftover", kelp::kMethodGet, 0, [](kelp::SHttpResponse& response, const kelp::SHttpRequest&) {
    response.response_body = "a refused plugin was reached";
  });
#ifdef INIT_THROWS
  throw std::runtime_error("out of luck");
#else
  return false;
#endif
}
#endif

extern "C" PLATFORM_API bool UnInit() {
  Orv::Base::details::ITarnFormatLog(3, "broken", "UnInit called");
  return true;
}
