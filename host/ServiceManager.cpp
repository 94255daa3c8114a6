#include "ServiceManager.h"

#include <systemd/sd-daemon.h>

namespace host {

void TellReady(const std::string& status) { sd_notify(0, ("READY=1\nSTATUS=" + status).c_str()); }

void TellStopping(std::chrono::seconds longest) {
  const std::chrono::microseconds time = longest;
  sd_notify(0, ("STOPPING=1\nEXTEND_TIMEOUT_USEC=" + std::to_string(time.count())).c_str());
}

}  // namespace host
