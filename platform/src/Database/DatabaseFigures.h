#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

#include "Beginnings.h"
#include "platform/Metrics.h"

namespace platform::database {

/// What monitoring is told about the statements of a pool manager. Thread-safe.
class DatabaseFigures {
 public:
  using Clock = std::chrono::steady_clock;

  /// `statements` names the texts; those with other beginnings are "other".
  explicit DatabaseFigures(Beginnings statements);

  /// A caller has got a connection, or none, after this time.
  void NoteAcquired(Clock::duration waited) { acquire_.Observe(Nanoseconds(waited)); }
  /// A text has ended.
  void NoteText(std::string_view text, Clock::duration took) {
    statement_.Observe(Nanoseconds(took), statements_.NumberOf(text));
  }
  /// A text has failed with this SQLSTATE; "" when the server gave none.
  void NoteFailure(std::string_view sql_state);
  /// No connection came free in time.
  void NoteStarved();

  [[nodiscard]] MetricFamilies Collect() const;

 private:
  static std::uint64_t Nanoseconds(Clock::duration duration) {
    return static_cast<std::uint64_t>(std::chrono::nanoseconds(duration).count());
  }

  const Beginnings statements_;
  const Beginnings error_classes_;
  Histograms acquire_;
  Histograms statement_;
  Counters errors_;
};

}  // namespace platform::database
