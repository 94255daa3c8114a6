#include "OrvBase/TimeUtil.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace Orv::Base::TimeUtil {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr int kMinutesPerDay = 1'440;
constexpr std::int64_t kYear0 = -62'167'219'200;
constexpr std::int64_t kYear10000 = 253'402'300'800;

/// A date and time of day as written, and the offset that followed.
struct Stamp {
  std::chrono::year_month_day date;
  std::chrono::seconds time_of_day{0};
  /// Minutes east of UTC; none when the text ends without "Z" or offset.
  std::optional<int> offset_minutes;

  /// Seconds since 1970-01-01 00:00:00 on the clock that the stamp was read from.
  std::int64_t ClockSeconds() const {
    return std::chrono::seconds(std::chrono::sys_days(date).time_since_epoch() + time_of_day).count();
  }
};

/// Parses a stamp from left to right; every operation returns false at the first unexpected byte.
class StampReader {
 public:
  explicit StampReader(std::string_view text) : rest_(text) {}

  bool Read(Stamp& stamp) {
    return ReadDate(stamp) && (Take(' ') || Take('T')) && ReadTime(stamp) && ReadFraction() && ReadOffset(stamp) &&
           rest_.empty();
  }

 private:
  bool Take(char expected) {
    if (rest_.empty() || rest_.front() != expected) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool TakeDigit(int& digit) {
    if (rest_.empty() || rest_.front() < '0' || rest_.front() > '9') return false;
    digit = rest_.front() - '0';
    rest_.remove_prefix(1);
    return true;
  }

  bool TakeNumber(int digits, int max, int& value) {
    value = 0;
    for (int digit = 0; digits > 0; --digits) {
      if (!TakeDigit(digit)) return false;
      value = value * 10 + digit;
    }
    return value <= max;
  }

  bool ReadDate(Stamp& stamp) {
    int year = 0;
    int month = 0;
    int day = 0;
    if (!TakeNumber(4, 9999, year) || !Take('-') || !TakeNumber(2, 12, month) || !Take('-') || !TakeNumber(2, 31, day))
      return false;
    stamp.date = {std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                  std::chrono::day(static_cast<unsigned>(day))};
    return stamp.date.ok();
  }

  bool ReadTime(Stamp& stamp) {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    if (!TakeNumber(2, 23, hours) || !Take(':') || !TakeNumber(2, 59, minutes) || !Take(':') ||
        !TakeNumber(2, 59, seconds))
      return false;
    stamp.time_of_day = std::chrono::hours(hours) + std::chrono::minutes(minutes) + std::chrono::seconds(seconds);
    return true;
  }

  bool ReadFraction() {
    if (!Take('.')) return true;
    int digit = 0;
    if (!TakeDigit(digit)) return false;
    while (TakeDigit(digit)) {
    }
    return true;
  }

  bool ReadOffset(Stamp& stamp) {
    if (rest_.empty()) return true;
    if (Take('Z')) {
      stamp.offset_minutes = 0;
      return true;
    }
    const int sign = Take('-') ? -1 : 1;
    if (sign > 0 && !Take('+')) return false;
    int hours = 0;
    int minutes = 0;
    if (!TakeNumber(2, 23, hours) || !Take(':') || !TakeNumber(2, 59, minutes)) return false;
    stamp.offset_minutes = sign * (hours * 60 + minutes);
    return true;
  }

  std::string_view rest_;
};

std::optional<Stamp> ParseStamp(std::string_view text) {
  Stamp stamp;
  if (!StampReader(text).Read(stamp)) return std::nullopt;
  return stamp;
}

/// Writes `number` with `digits` digits at the end of `text`.
void AppendNumber(std::string& text, int digits, unsigned number) {
  text.append(static_cast<std::size_t>(digits), '0');
  for (auto place = text.rbegin(); number != 0; ++place, number /= 10)
    *place = static_cast<char>('0' + number % 10);
}

/// `separator` goes between date and time of day. "" for a year outside 0 to 9999.
std::string Render(std::int64_t clock_seconds, char separator) {
  if (clock_seconds < kYear0 || clock_seconds >= kYear10000) return {};
  const std::chrono::sys_seconds at{std::chrono::seconds(clock_seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(at);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(at - day);
  std::string text;
  // With the offset that may follow it.
  text.reserve(std::string_view("2026-01-01T00:00:00+00:00").size());
  AppendNumber(text, 4, static_cast<unsigned>(static_cast<int>(date.year())));
  AppendNumber(text += '-', 2, static_cast<unsigned>(date.month()));
  AppendNumber(text += '-', 2, static_cast<unsigned>(date.day()));
  AppendNumber(text += separator, 2, static_cast<unsigned>(time.hours().count()));
  AppendNumber(text += ':', 2, static_cast<unsigned>(time.minutes().count()));
  AppendNumber(text += ':', 2, static_cast<unsigned>(time.seconds().count()));
  return text;
}

/// Seconds east of UTC of the local clock at `time`; none for a time that the C library cannot convert.
std::optional<std::int64_t> LocalOffset(std::time_t time) {
  std::tm fields{};
  if (localtime_r(&time, &fields) == nullptr) return std::nullopt;
  return fields.tm_gmtoff;
}

/// The time at which the local clock shows `clock_seconds`: the earlier of two when the clock was set back over it, and
/// by the offset before the change when it was set forward over it. Unlike mktime, the result does not depend on
/// earlier calls.
std::time_t LocalClockToTime(std::int64_t clock_seconds) {
  const auto before = LocalOffset(clock_seconds - kSecondsPerDay);
  const auto after = LocalOffset(clock_seconds + kSecondsPerDay);
  if (!before || !after) return -1;
  const std::time_t earlier = clock_seconds - *before;
  const std::time_t later = clock_seconds - *after;
  const bool only_later_fits = LocalOffset(earlier) != before && LocalOffset(later) == after;
  return only_later_fits ? later : earlier;
}

std::string RenderLocal(std::time_t time, std::int64_t& offset) {
  // Within these bounds the offset can be added without overflow.
  if (time < kYear0 - kSecondsPerDay || time > kYear10000 + kSecondsPerDay) return {};
  const auto local_offset = LocalOffset(time);
  if (!local_offset) return {};
  offset = *local_offset;
  return Render(time + offset, ' ');
}

}  // namespace

std::string TimeT2StrUTCTimeStamp(std::time_t time) { return Render(time, ' '); }

std::string TimeT2StrDatetime(std::time_t time) {
  std::int64_t offset = 0;
  return RenderLocal(time, offset);
}

std::string TimeT2LocalTime(std::time_t time, int& offset_minutes) {
  std::int64_t offset = 0;
  std::string text = RenderLocal(time, offset);
  offset_minutes = static_cast<int>(offset / 60);
  return text;
}

std::string LocalTime2TimeStrISO(std::string_view local_time, int offset_minutes) {
  const auto stamp = ParseStamp(local_time);
  if (!stamp || stamp->offset_minutes || offset_minutes <= -kMinutesPerDay || offset_minutes >= kMinutesPerDay)
    return {};
  const auto size = static_cast<unsigned>(offset_minutes < 0 ? -offset_minutes : offset_minutes);
  std::string text = Render(stamp->ClockSeconds(), 'T');
  AppendNumber(text += offset_minutes < 0 ? '-' : '+', 2, size / 60);
  AppendNumber(text += ':', 2, size % 60);
  return text;
}

std::time_t StrUTCTimeStamp2TimeT(std::string_view text) {
  const auto stamp = ParseStamp(text);
  if (!stamp) return -1;
  return stamp->ClockSeconds() - std::int64_t{60} * stamp->offset_minutes.value_or(0);
}

std::time_t StrDatetime2TimeT(std::string_view text) {
  const auto stamp = ParseStamp(text);
  if (!stamp) return -1;
  if (stamp->offset_minutes) return stamp->ClockSeconds() - std::int64_t{60} * *stamp->offset_minutes;
  return LocalClockToTime(stamp->ClockSeconds());
}

std::time_t ISODatetime2TimeT(std::string_view text) { return StrDatetime2TimeT(text); }

}  // namespace Orv::Base::TimeUtil
