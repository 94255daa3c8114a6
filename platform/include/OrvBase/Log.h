#pragma once

#include "OrvBase/Export.h"

namespace Orv::Base::details {

/// Whether a line of this level reaches the sink: true when `level` is not below the threshold.
/// Cheap enough to stand before every line.
PLATFORM_API bool IsLogLevelOn(int level);

/// Writes one line to the installed sink; nothing is formatted when the level is off. Levels:
/// 1 statement texts, 2 trace, 3 progress, 4 harmless anomaly, 5 failed operation, 6 failure that
/// disables. The arguments follow `format` as in printf. Never blocks on the disk, never throws,
/// and leaves the thread's last error and errno as they were.
PLATFORM_API void ITarnFormatLog(int level, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace Orv::Base::details
