#pragma once

#include "Settings.h"

namespace host {

/// Runs the host until SIGINT or SIGTERM; SIGHUP opens its log anew. Returns the exit code of the process: 0 after a
/// stop on which every client of a request that writes was told what became of it, 1 when the host did not start. Ends
/// the process itself, with that code, when a stop takes longer than drain_timeout_s and 10 s, and when it takes 10 s
/// and nothing writes. Called once, before the process has other threads.
[[nodiscard]] int Serve(const Settings& settings);

/// Creates the data folder and directs log lines to the log file. Returns "" or the fault.
[[nodiscard]] std::string OpenLog(const Settings& settings);

}  // namespace host
