#pragma once

#include "Beginnings.h"

namespace host {

/// What the statements of the plugins and of the host are called in the metrics.
[[nodiscard]] platform::Beginnings StatementNames();

}  // namespace host
