// Plugins that cannot start, each in its own way: NO_INIT, INIT_FALSE, INIT_THROWS or INIT_HANGS; and UNINIT_HANGS, one
// that cannot stop.
#include <unistd.h>

#include <stdexcept>

#include "KelpPlatform/PlatformAdapter.h"
#include "OrvBase/Log.h"

namespace {

[[maybe_unused]] void Hang(const char* where) {
  Orv::Base::details::ITarnFormatLog(3, "broken", "%s hangs", where);
  for (;;)
    pause();
}

}  // namespace

#ifndef NO_INIT
extern "C" PLATFORM_API bool Init() {
  std::shared_ptr<kelp::IMsgBus> bus;
  kelp::IPlatformAdapterInterface::Instance()->GetMsgBus(bus, true);
  bus->RegisterUrl("/Leftover", kelp::kMethodGet, 0, [](kelp::SHttpResponse& response, const kelp::SHttpRequest&) {
    response.response_body = "a refused plugin was reached";
  });
#ifdef INIT_THROWS
  throw std::runtime_error("out of luck");
#endif
#ifdef INIT_HANGS
  Hang("Init");
#endif
#ifdef UNINIT_HANGS
  return true;
#else
  return false;
#endif
}
#endif

extern "C" PLATFORM_API bool UnInit() {
  Orv::Base::details::ITarnFormatLog(3, "broken", "UnInit called");
#ifdef UNINIT_HANGS
  Hang("UnInit");
#endif
  return true;
}
