#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "OrvBase/Export.h"

/// Times are seconds since 1970-01-01T00:00:00Z. A time that cannot be formatted (year outside 0 to 9999) gives an
/// empty text. "Local" is the time zone of the process.
namespace Orv::Base::TimeUtil {

/// UTC as "YYYY-MM-DD HH:MM:SS".
[[nodiscard]] PLATFORM_API std::string TimeT2StrUTCTimeStamp(std::time_t time);

/// Local time as "YYYY-MM-DD HH:MM:SS".
[[nodiscard]] PLATFORM_API std::string TimeT2StrDatetime(std::time_t time);

/// Local time as "YYYY-MM-DD HH:MM:SS"; `offset_minutes` receives its offset in minutes east of UTC.
[[nodiscard]] PLATFORM_API std::string TimeT2LocalTime(std::time_t time, int& offset_minutes);

/// "YYYY-MM-DDTHH:MM:SS+hh:mm" of a local time "YYYY-MM-DD HH:MM:SS" (blank or "T", an optional fraction is dropped)
/// with its offset in minutes east of UTC. Empty when `local_time` cannot be parsed or the offset is a day or more.
[[nodiscard]] PLATFORM_API std::string LocalTime2TimeStrISO(std::string_view local_time, int offset_minutes);

/// The UTC time given by "YYYY-MM-DD HH:MM:SS": a blank or "T" as separator, an optional fraction, and an optional "Z"
/// or "+hh:mm" / "-hh:mm" at the end, which shifts the result. -1 for anything else.
[[nodiscard]] PLATFORM_API std::time_t StrUTCTimeStamp2TimeT(std::string_view text);

/// The same form read as local time; a "Z" or an offset takes precedence. -1 for anything else.
[[nodiscard]] PLATFORM_API std::time_t StrDatetime2TimeT(std::string_view text);

/// The UTC time given by an ISO text "YYYY-MM-DDTHH:MM:SS", parsed like StrDatetime2TimeT. -1 for anything else.
[[nodiscard]] PLATFORM_API std::time_t ISODatetime2TimeT(std::string_view text);

}  // namespace Orv::Base::TimeUtil
