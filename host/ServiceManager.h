#pragma once

#include <chrono>
#include <string>

/// What the host tells the service manager that started it. Does nothing when there is none: then the environment names
/// no NOTIFY_SOCKET. A manager that cannot be told is no reason to stop, so nothing is returned.
namespace host {

/// The host serves now; `status` is what the manager shows of it.
void TellReady(const std::string& status);

/// The host is on its way to its end, which is at most `longest` away: the manager is not to kill it before.
void TellStopping(std::chrono::seconds longest);

}  // namespace host
