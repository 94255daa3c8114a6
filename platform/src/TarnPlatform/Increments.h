#pragma once

#include <cstdint>

namespace platform::tarn {

/// Notes a change of a resource under the next version. Versions become visible in their order. False when it
/// could not be written.
[[nodiscard]] bool AddChange(int source_type, std::uint64_t resource_id, int method);

}  // namespace platform::tarn
