#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Settings.h"

/// The executable's commands about the log of requests. Each prints its result, or one line on standard error, and
/// returns the exit code of the process.
namespace host {

struct RequestOptions {
  std::optional<std::int64_t> evidence;
  std::string user;
  /// As of ParseEventTime; "" for all.
  std::string since;
  std::int64_t limit = 100;
};

/// Prints the newest requests that match, the newest last.
[[nodiscard]] int RunRequests(const Settings& settings, const RequestOptions& options);
/// Drops the months before `month`, such as "2026-01", with the owner's connection.
[[nodiscard]] int RunRequestsPrune(const Settings& settings, const std::string& month);

}  // namespace host
