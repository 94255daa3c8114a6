#pragma once

#include <string>

#include "platform/Metrics.h"

namespace host {

/// What MetricsText gives.
inline constexpr char kMetricsContentType[] = "text/plain; version=0.0.4; charset=utf-8";

/// The families in the text format that Prometheus scrapes.
[[nodiscard]] std::string MetricsText(const platform::MetricFamilies& families);

}  // namespace host
