#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "accounts/FailedTries.h"
#include "accounts/Sessions.h"
#include "platform/Metrics.h"

namespace host {

/// What monitoring is told about sessions, records and the process, looked up at each scrape. Thread-safe.
class HostFigures {
 public:
  struct Parts {
    std::shared_ptr<const Sessions> sessions;
    std::shared_ptr<LoginTries> tries;
    /// Whose file system is watched.
    std::string data;
  };

  explicit HostFigures(Parts parts) : parts_(std::move(parts)) {}

  /// Waits for the database at most once a minute, and then for a count of the evidences.
  [[nodiscard]] platform::MetricFamilies Collect();

 private:
  struct Records {
    double living = 0;
    double deleted = 0;
  };
  [[nodiscard]] std::optional<Records> CountedRecords();

  const Parts parts_;
  std::mutex mutex_;
  // Under mutex_:
  std::optional<Records> records_;
  std::optional<std::chrono::steady_clock::time_point> counted_;
};

}  // namespace host
