#pragma once

#include <string>
#include <string_view>

/// Times of RFC 3339 in capital letters, of the years 0 to 9999. The last second of 1969 is not taken for a time.
namespace rest {

/// Whether `text` is a time with its zone, such as "2026-11-22T21:40:00+02:00".
[[nodiscard]] bool IsTime(std::string_view text);

/// Whether `text` is a time without a zone.
[[nodiscard]] bool IsWallClock(std::string_view text);

/// A time, for which IsTime holds, as UTC without zone: "YYYY-MM-DD HH:MM:SS" and the fraction that it had. "" when
/// that is in another year than those.
[[nodiscard]] std::string ToUtc(std::string_view time);

}  // namespace rest
