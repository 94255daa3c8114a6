#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "OrvBase/TimeUtil.h"

namespace {

using namespace Orv::Base::TimeUtil;

/// Sets the process's time zone, told by rule, so that no zone files are needed.
void SetZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(TimeUtil, UtcStampsGoThereAndBackWithinFourDigitYears) {
  SetZone(kCentralEurope);
  const std::vector<std::pair<std::int64_t, std::string>> stamps{{4'294'967'296, "2106-02-07 06:28:16"},
                                                                 {-62'167'219'200, "0000-01-01 00:00:00"},
                                                                 {253'402'300'799, "9999-12-31 23:59:59"}};
  for (const auto& [time, text] : stamps) {
    EXPECT_EQ(TimeT2StrUTCTimeStamp(time), text);
    EXPECT_EQ(StrUTCTimeStamp2TimeT(text), time);
  }
  constexpr auto kLimits = std::numeric_limits<std::int64_t>();
  for (const std::int64_t time : {kLimits.min(), kLimits.max(), std::int64_t{253'402'300'800}, -62'167'305'601}) {
    EXPECT_EQ(TimeT2StrUTCTimeStamp(time), "") << time;
    EXPECT_EQ(TimeT2StrDatetime(time), "") << time;
  }
}

TEST(TimeUtil, StampsMayCarryFractionAndOffsetAndNothingElse) {
  SetZone("XXX-3");
  for (const auto& [text, utc, local] : std::vector<std::tuple<std::string, std::int64_t, std::int64_t>>{
           {"2024-05-06 07:08:09.5", 1'714'979'289, 1'714'968'489},
           {"2024-05-06T07:08:09.123456789Z", 1'714'979'289, 1'714'979'289},
           {"2024-05-06 07:08:09+05:30", 1'714'959'489, 1'714'959'489},
           {"2024-05-06T07:08:09.9-03:15", 1'714'990'989, 1'714'990'989}}) {
    EXPECT_EQ(StrUTCTimeStamp2TimeT(text), utc) << text;
    EXPECT_EQ(StrDatetime2TimeT(text), local) << text;
  }
  const std::vector<std::string> refused{
      // Another form.
      "", "2024-05-06", "2024-05-06 07:08", "2024-05-06_07:08:09", " 2024-05-06 07:08:09", "2024-05-06 07:08:09 ",
      "24-05-06 07:08:09", "2024-5-6 07:08:09", "+024-05-06 07:08:09", std::string("2024-05-06 07:08:09\0", 20),
      // No date, or no time of day.
      "2024-13-06 07:08:09", "2024-04-31 07:08:09", "2023-02-29 07:08:09", "2024-05-06 24:08:09", "2024-05-06 07:60:09",
      "2024-05-06 07:08:60",
      // No fraction, or no offset.
      "2024-05-06 07:08:09.", "2024-05-06 07:08:09ZZ", "2024-05-06 07:08:09+0530", "2024-05-06 07:08:09+24:00",
      "2024-05-06 07:08:09+05:60"};
  for (const std::string& text : refused) {
    EXPECT_EQ(StrUTCTimeStamp2TimeT(text), -1) << text;
    EXPECT_EQ(LocalTime2TimeStrISO(text, 60), "") << text;
  }
  EXPECT_EQ(LocalTime2TimeStrISO("2024-06-15T10:30:00.750", -1'439), "2024-06-15T10:30:00-23:59");
  EXPECT_EQ(LocalTime2TimeStrISO("2024-06-15 10:30:00", -1'440), "");
  EXPECT_EQ(LocalTime2TimeStrISO("2024-06-15 10:30:00Z", 0), "");
}

TEST(TimeUtil, LocalTimesGoThereAndBackInAnyZone) {
  for (const char* const name : {kCentralEurope, "LHST-10:30LHDT-11,M10.1.0,M4.1.0", "NST3:30NDT,M3.2.0,M11.1.0"}) {
    SetZone(name);
    // Steps that are no divisor of a day, over a whole year with both changes.
    for (std::int64_t time = 1'704'067'200; time < 1'735'689'600; time += 4'999) {
      int offset = 0;
      const std::string local = TimeT2LocalTime(time, offset);
      ASSERT_EQ(StrUTCTimeStamp2TimeT(local), time + offset * 60) << name;
      ASSERT_EQ(StrUTCTimeStamp2TimeT(LocalTime2TimeStrISO(local, offset)), time) << name;
      const std::int64_t back = StrDatetime2TimeT(local);
      // A local time that occurs twice is read as the earlier one.
      ASSERT_EQ(TimeT2StrDatetime(back), local) << name;
      ASSERT_LE(back, time) << name;
    }
  }
  SetZone(kCentralEurope);
  EXPECT_EQ(StrDatetime2TimeT("2024-03-31 02:30:00"), 1'711'848'600) << "a time that never was";
}

}  // namespace
