#pragma once

#include <cstdint>
#include <string>

namespace platform::tarn {

/// One entry of the platform's operation log.
struct OperationLogEntry {
  int log_type = 0;
  std::int64_t object_id = -1;
  std::string object_name;
  std::string description;
  /// Both 0 for an operation that succeeded.
  int main_code = 0;
  int sub_code = 0;
};

/// Writes the entry for the session's user and address, both empty for the empty session. False when the
/// session is unknown or the entry could not be written.
[[nodiscard]] bool WriteEntry(const std::string& session, const OperationLogEntry& entry);

}  // namespace platform::tarn
