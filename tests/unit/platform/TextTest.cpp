#include <gmock/gmock.h>

#include <cstdlib>
#include <thread>

#include "KelpUtils/StringFunctions.h"
#include "OrvBase/Conversion.h"
#include "OrvBase/Error.h"
#include "OrvBase/GuidUtil.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"
#include "platform/SqlText.h"

namespace {

namespace Error = Orv::Base::Error;
using Orv::Base::Conversion;
using Orv::Base::GuidUtil::CreateGuid;
using namespace Orv::Base::StringUtil;
using namespace std::string_literals;
using namespace Orv::Base::TimeUtil;

TEST(LastError, BelongsToItsThread) {
  Error::SetLastError({0, 9808});
  Error::ErrorCode seen_elsewhere(1, 1);
  std::thread([&] {
    seen_elsewhere = Error::GetLastError();
    Error::SetLastError({7, 7});
  }).join();
  EXPECT_EQ(seen_elsewhere, Error::ErrorCode());
  EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 9808));
}

TEST(Text, Utf8IsWalkedStrictly) {
  const std::string legal = "O'Brien \\ \"%_\t\r\n\xC2\x80\xE0\xA0\x80\xED\x9F\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  EXPECT_FALSE(ContainsIllegalCharacters(legal));
  EXPECT_EQ(str_len(legal, kCodePageUtf8), 21U);
  // Stray, overlong, surrogates, too large, cut, control characters.
  for (const std::string illegal : {"\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                                    "\xF4\x90\x80\x80", "\xE2\x82", "\xF0\x9F\x98z", "\x1F", "\x7F"})
    EXPECT_TRUE(ContainsIllegalCharacters("a" + illegal)) << testing::PrintToString(illegal);
}

TEST(Text, BrokenUtf8IsFoundAtAnyPlace) {
  using platform::SqlText::Repaired;
  for (std::size_t before = 0; before < 20; ++before) {
    const std::string text = std::string(before, 'a') + "é" + std::string(before, 'b');
    EXPECT_EQ(Repaired(text), text);
    EXPECT_EQ(Repaired(text + "\xC3" + text), text + "\uFFFD" + text) << before;
  }
}

TEST(SqlText, AValueStaysInItsLiteralAndAnUnbuiltStatementIsRefused) {
  using namespace platform::SqlText;
  const std::string value = "O'Brien\\ \0\x80\xC3\x89"s;
  EXPECT_EQ(Escaped(value), "O''Brien\\ \xFF\x80\xC3\x89");
  EXPECT_EQ(Literal(value), "'O''Brien\\ \xFF\x80\xC3\x89'");
  EXPECT_EQ(Unescaped(value), "O'Brien\\ \xFF\x80\xC3\x89");
  EXPECT_EQ(Repaired(value), "O'Brien\\ \uFFFD\uFFFD\u00C9");
  EXPECT_EQ(Format("SELECT %d, %s", 7, Literal("x").c_str()), "SELECT 7, 'x'");
  // Out of the compiler's sight, which refuses what cannot be formatted.
  const volatile int widest = std::numeric_limits<int>::max();
  EXPECT_EQ(Format("%*d%d", widest, 1, 1), "\0"s) << "longer than a text can be";
}

TEST(Text, TextsAreMadeWholeOrNotAtAll) {
  const std::string long_text(100'000, 'x');
  EXPECT_EQ(str_fmt("%s[%d]", long_text.c_str(), -7), long_text + "[-7]");
  EXPECT_EQ(StringReplace("'a''b'", "'", "''"), "''a''''b''");
  EXPECT_EQ(StringReplace("aaa", "aa", "a"), "aa");
  EXPECT_EQ(StringReplace("abc", "", "x"), "abc");
  EXPECT_EQ(kelp::ToLower("DOMAIN\\J\xC3\x89Z_@[`"), "domain\\j\xC3\x89z_@[`");
  EXPECT_THAT(CreateGuid(),
              testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_NE(CreateGuid(), CreateGuid());
  std::string out;
  EXPECT_TRUE(Conversion::Convert(out, "caf\xE9", "UTF-8", "ISO-8859-1"));
  EXPECT_EQ(out, "caf\xC3\xA9");
  EXPECT_FALSE(Conversion::Convert(out, "ok\xE9", "UTF-8", "UTF-8"));
}

/// Sets the process's time zone, given by rule, so that no zone files are needed.
void SetZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(TimeUtil, UtcStampsGoThereAndBackWithinFourDigitYears) {
  SetZone(kCentralEurope);
  EXPECT_EQ(TimeT2StrUTCTimeStamp(4'294'967'296), "2106-02-07 06:28:16");
  for (const char* const text : {"0000-01-01 00:00:00", "2000-02-29 00:00:00", "9999-12-31 23:59:59"})
    EXPECT_EQ(TimeT2StrUTCTimeStamp(StrUTCTimeStamp2TimeT(text)), text);
  for (const std::int64_t time : {std::numeric_limits<std::int64_t>::max(), 253'402'300'800L, -62'167'305'601L}) {
    EXPECT_EQ(TimeT2StrUTCTimeStamp(time), "") << time;
    EXPECT_EQ(TimeT2StrDatetime(time), "") << time;
  }
}

TEST(TimeUtil, StampsMayCarryFractionAndOffsetAndNothingElse) {
  SetZone("XXX-3");
  for (const auto& [text, utc, local] : std::vector<std::tuple<const char*, std::int64_t, std::int64_t>>{
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
  EXPECT_EQ(LocalTime2TimeStrISO("2024-06-15 10:30:00", -30), "2024-06-15T10:30:00-00:30");
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
