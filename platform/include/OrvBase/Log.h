#pragma once

#include "OrvBase/Export.h"

namespace Orv::Base {

/// Levels of log lines; a higher level is more severe.
enum LogLevel : int {
  kLogStatement = 1,  ///< SQL texts
  kLogTrace = 2,
  kLogProgress = 3,
  kLogAnomaly = 4,  ///< harmless
  kLogFailure = 5,  ///< of one operation
  kLogFatal = 6,    ///< disables a part of the program
};

}  // namespace Orv::Base

namespace Orv::Base::details {

/// Whether a line of this level reaches the sink: true when `level` is not below the threshold. Cheap enough to call
/// before every line.
PLATFORM_API bool IsLogLevelOn(int level);

/// Writes one line of a LogLevel to the installed sink; nothing is formatted when the level is off. The arguments
/// follow `format` as in printf. Never throws, and leaves the thread's last error and errno unchanged. Waits for the
/// file when too many lines wait for it, and until a line of kLogFailure or more is written; not for one that hangs.
PLATFORM_API void ITarnFormatLog(int level, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace Orv::Base::details
