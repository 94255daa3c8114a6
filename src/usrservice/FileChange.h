#pragma once

#include <cstdint>

#include "usrservice/LogTypes.h"

namespace Evidence {

/// How a change of an evidence's files is logged.
struct FileChange {
  int log_type;
  HistoryType history_type;
};

inline constexpr FileChange kFilesLinked{kLogFilesLinked, kHistoryFilesLinked};
inline constexpr FileChange kFilesUnlinked{kLogFilesUnlinked, kHistoryFilesUnlinked};

/// Values of `delete_flag`.
inline constexpr std::int32_t kLinkFlag = 0;
inline constexpr std::int32_t kUnlinkFlag = 1;

}  // namespace Evidence
