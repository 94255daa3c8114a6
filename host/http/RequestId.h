#pragma once

#include <string>

namespace host {

/// A text that names one request among all of this process and, most likely, of all others. Thread-safe.
[[nodiscard]] std::string NewRequestId();

}  // namespace host
