#include "rest/Times.h"

#include <algorithm>

#include "OrvBase/TimeUtil.h"

namespace rest {
namespace {

using namespace Orv::Base::TimeUtil;

constexpr std::size_t kDateSize = std::string_view("2026-11-22").size();
constexpr std::size_t kClockSize = std::string_view("2026-11-22T21:40:00").size();
/// A clock, nine digits of a fraction, a zone.
constexpr std::size_t kLongest = std::string_view("2026-11-22T21:40:00.123456789+02:00").size();

bool IsStamp(std::string_view text) {
  return text.size() >= kClockSize && text.size() <= kLongest && text[kDateSize] == 'T' &&
         StrUTCTimeStamp2TimeT(text) != -1;
}

/// Where the zone begins; the size of `stamp` when it has none.
std::size_t ZoneAt(std::string_view stamp) { return std::min(stamp.find_first_of("Z+-", kClockSize), stamp.size()); }

}  // namespace

bool IsTime(std::string_view text) { return IsStamp(text) && ZoneAt(text) != text.size(); }

bool IsWallClock(std::string_view text) { return IsStamp(text) && ZoneAt(text) == text.size(); }

std::string ToUtc(std::string_view time) {
  auto utc = TimeT2StrUTCTimeStamp(StrUTCTimeStamp2TimeT(time));
  return utc.empty() ? utc : utc.append(time.substr(kClockSize, ZoneAt(time) - kClockSize));
}

}  // namespace rest
