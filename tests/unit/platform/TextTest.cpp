#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "KelpUtils/StringFunctions.h"
#include "OrvBase/Conversion.h"
#include "OrvBase/Error.h"
#include "OrvBase/GuidUtil.h"
#include "OrvBase/StringUtil.h"

namespace {

namespace Error = Orv::Base::Error;
using namespace std::string_literals;
using Orv::Base::Conversion;
using namespace Orv::Base::StringUtil;

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

TEST(Text, FormatHasNoSizeLimit) {
  EXPECT_EQ(str_fmt("%s[%d]/%05.1f", "List", -7, 2.25), "List[-7]/002.2");
  const std::string long_text(3'000'000, 'x');
  EXPECT_EQ(str_fmt("<%s>", long_text.c_str()), "<" + long_text + ">");
  // The "C" locale has no bytes for this character.
  EXPECT_EQ(str_fmt("a%lsb", L"\u20AC"), "");
}

struct Utf8Case {
  std::string text;
  std::size_t code_points;
  bool valid;
};

TEST(Text, Utf8IsWalkedStrictly) {
  const std::vector<Utf8Case> cases{
      {"", 0, true},
      {"O'Brien \\ \"%_\t\r\n", 16, true},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 3, true},
      {"\xC2\x80\xDF\xBF", 2, true},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", 4, true},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", 2, true},
      {"a\x80z", 3, false},
      {"\xC0\x80", 2, false},
      {"\xC1\xBF", 2, false},
      {"\xE0\x9F\xBF", 3, false},
      {"\xED\xA0\x80", 3, false},
      {"\xF0\x8F\xBF\xBF", 4, false},
      {"\xF4\x90\x80\x80", 4, false},
      {"\xF5\x80\x80\x80", 4, false},
      {"\xFF", 1, false},
      {"\xC3", 1, false},
      {"\xE2\x82", 2, false},
      {"\xE2\x82z", 3, false},
      {"\xF0\x9F\x98", 3, false},
      {"\xC3\xC3\xA9", 2, false},
  };
  for (const auto& [text, code_points, valid] : cases) {
    SCOPED_TRACE(testing::PrintToString(text));
    EXPECT_EQ(str_len(text, kCodePageUtf8), code_points);
    EXPECT_EQ(ContainsIllegalCharacters(text), !valid);
    EXPECT_EQ(str_len(text, 1252), text.size());
  }
}

TEST(Text, ControlCharactersAreIllegal) {
  for (int byte = 0; byte < 0x80; ++byte) {
    const bool illegal = (byte < 0x20 && byte != 9 && byte != 10 && byte != 13) || byte == 0x7F;
    EXPECT_EQ(ContainsIllegalCharacters("a"s + static_cast<char>(byte)), illegal) << byte;
  }
}

TEST(Text, ReplaceDoesNotLookAtWhatItPutIn) {
  EXPECT_EQ(StringReplace("'a''b'", "'", "''"), "''a''''b''");
  EXPECT_EQ(StringReplace("aaa", "aa", "a"), "aa");
  EXPECT_EQ(StringReplace("abc", "", "x"), "abc");
  EXPECT_EQ(StringReplace("a\0b"s, "\0"s, ""), "ab");
}

TEST(Text, LowerCaseAndFindWorkOnBytes) {
  EXPECT_EQ(kelp::ToLower("DOMAIN\\J\xC3\x89Z_@[`"), "domain\\j\xC3\x89z_@[`");
  EXPECT_TRUE(kelp::StringFind("Evidence", "iden"));
  EXPECT_TRUE(kelp::StringFind("", ""));
  EXPECT_FALSE(kelp::StringFind("Evidence", "evi"));
}

TEST(Text, GuidsAreDistinctAndInUpperCase) {
  std::set<std::string> seen;
  for (int round = 0; round < 200; ++round) {
    const std::string guid = Orv::Base::GuidUtil::CreateGuid();
    EXPECT_THAT(guid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    seen.insert(guid);
  }
  EXPECT_EQ(seen.size(), 200U);
}

TEST(Text, ConversionStopsAtWhatItCannotConvert) {
  std::string out;
  EXPECT_TRUE(Conversion::Convert(out, "caf\xE9", "UTF-8", "ISO-8859-1"));
  EXPECT_EQ(out, "caf\xC3\xA9");
  EXPECT_TRUE(Conversion::Convert(out, "caf\xC3\xA9", "UTF-8", "UTF-8"));
  EXPECT_EQ(out, "caf\xC3\xA9");
  EXPECT_TRUE(Conversion::Convert(out, "", "UTF-8", "UTF-8"));
  for (const std::string bad : {"ok\xE9", "ok\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    out = "old";
    EXPECT_FALSE(Conversion::Convert(out, bad, "UTF-8", "UTF-8")) << testing::PrintToString(bad);
    EXPECT_EQ(out, "");
  }
  EXPECT_FALSE(Conversion::Convert(out, "\xE2\x82\xAC", "ISO-8859-1", "UTF-8"));
  EXPECT_FALSE(Conversion::Convert(out, "a", "UTF-8", "no-such-set"));
}

}  // namespace
