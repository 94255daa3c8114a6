#pragma once

#include <cstdint>

namespace platform::tarn {

/// Records a change of a resource under the next version. Versions become visible in order. False when the write
/// failed.
[[nodiscard]] bool AddChange(int source_type, std::uint64_t resource_id, int method);

}  // namespace platform::tarn
