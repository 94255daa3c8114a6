#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Beginnings.h"
#include "http/ResponseStatus.h"
#include "platform/Metrics.h"

namespace host {

/// What monitoring is told about requests. Thread-safe, without a lock.
class HttpFigures {
 public:
  using Clock = std::chrono::steady_clock;

  HttpFigures();

  /// A request of this class (RouteNames) was answered, this long after its head was read; `pair` is that of its body.
  void NoteAnswer(std::size_t route, unsigned status, std::optional<ErrorPair> pair, Clock::duration took);
  /// The host itself refused a request, for this reason.
  void NoteRefusal(std::string_view reason);
  /// A request was begun, this long after it was whole.
  void NoteBegin(Clock::duration waited);

  [[nodiscard]] platform::MetricFamilies Collect() const;

 private:
  const platform::Beginnings reasons_;
  platform::Counters requests_;
  platform::Histograms durations_;
  platform::Histograms waits_;
  platform::Counters refusals_;
  platform::Counters logins_;
};

}  // namespace host
