#pragma once

#include "usrservice/LogTypes.h"

namespace Evidence {

/// How a change of an evidence's files is logged.
struct FileChange {
  int log_type;
  HistoryType history_type;
};

inline constexpr FileChange kFilesLinked{kLogFilesLinked, kHistoryFilesLinked};
inline constexpr FileChange kFilesUnlinked{kLogFilesUnlinked, kHistoryFilesUnlinked};

}  // namespace Evidence
