#pragma once

#include "platform/Metrics.h"

namespace host {

/// What each program of this kind tells: processor time, memory, descriptors, threads, start, version.
[[nodiscard]] platform::MetricFamilies ProcessFigures();

}  // namespace host
