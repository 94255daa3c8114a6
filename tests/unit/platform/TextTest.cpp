#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "KelpUtils/StringFunctions.h"
#include "KelpUtils/XmlProto.h"
#include "OrvBase/Conversion.h"
#include "OrvBase/Error.h"
#include "OrvBase/GuidUtil.h"
#include "OrvBase/StringUtil.h"

namespace {

namespace Error = Orv::Base::Error;
using namespace std::string_literals;
using Orv::Base::Conversion;
using Orv::Base::GuidUtil::CreateGuid;
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

TEST(Text, Utf8IsWalkedStrictly) {
  struct Case {
    std::string text;
    std::size_t code_points;
    bool legal;
  };
  const std::vector<Case> cases{
      {"O'Brien \\ \"%_\t\r\n", 16, true},
      {"\xC2\x80\xDF\xBF", 2, true},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", 4, true},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", 2, true},
      {"\xC1\xBF", 2, false},
      {"\xE0\x9F\xBF", 3, false},
      {"\xED\xA0\x80", 3, false},
      {"\xF0\x8F\xBF\xBF", 4, false},
      {"\xF4\x90\x80\x80", 4, false},
      {"\xE2\x82", 2, false},
      {"\xF0\x9F\x98z", 4, false},
      // Control characters.
      {"\x1F", 1, false},
      {"\x7F", 1, false},
      {"\0"s, 1, false},
  };
  for (const auto& [text, code_points, legal] : cases) {
    EXPECT_EQ(str_len(text, kCodePageUtf8), code_points) << testing::PrintToString(text);
    EXPECT_EQ(ContainsIllegalCharacters("a" + text), !legal) << testing::PrintToString(text);
  }
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

TEST(XmlProto, ReadsWholeNumbersOfOneWholeDocument) {
  for (const auto& [text, number] : std::vector<std::pair<std::string, int>>{
           {"<?xml version=\"1.0\"?><!-- limits --><A><B> \t16\r\n</B><B>17</B></A>\n", 16},
           {"<A><B>16x</B></A>", 9},
           {"<A><B>2147483648</B></A>", 9},
           {"<!DOCTYPE A [<!ENTITY one \"1\">]><A><B>&one;</B></A>", 9},
           {"<A><B>1</B>", 9},
           {"<A><B>1</B></A><A/>", 9},
           {"<A><B>1</B></A>\0"s, 9}}) {
    kelp::CXmlProto xml;
    (void)xml.set_str(text);
    EXPECT_EQ(xml.get_int_v("/A//B/", 9), number) << text;
  }
}

}  // namespace
