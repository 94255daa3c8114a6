#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "platform/HttpRoutes.h"

namespace desk {

/// How many evidences there are of each day, status, type and creator: the route GET /platform/v1/statistics.
class Statistics {
 public:
  /// Adds the route. False when the table refuses it.
  [[nodiscard]] static bool RegisterRoute(platform::IHttpRoutes& routes);

  /// The counts as JSON, at most a minute old. While one thread counts, the others get what was counted before, if
  /// there is any. Thread-safe.
  [[nodiscard]] platform::HttpResponse Get(const platform::HttpRequest& request);

 private:
  using Clock = std::chrono::steady_clock;

  std::mutex mutex_;
  // Under mutex_:
  std::shared_ptr<const std::string> text_;
  Clock::time_point counted_;
  bool counting_ = false;
};

}  // namespace desk
