#pragma once

#include <chrono>
#include <string>

/// Notifications to the service manager that started the host. Without one, when the environment has no NOTIFY_SOCKET,
/// they do nothing. A failed notification is no reason to stop, so nothing is returned.
namespace host {

/// Reports that the host is serving; the manager displays `status`.
void TellReady(const std::string& status);

/// Reports that the host is stopping, which takes at most `longest`: the manager must not kill it earlier.
void TellStopping(std::chrono::seconds longest);

}  // namespace host
