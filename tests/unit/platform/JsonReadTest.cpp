#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "KelpUtils/RapidJsonProto.h"

namespace {

using namespace std::string_literals;
using kelp::CRapidJsonProto;

constexpr int kAbsent = -77;

std::string Repeated(const std::string& text, int count) {
  std::string repeated;
  for (int index = 0; index < count; ++index)
    repeated += text;
  return repeated;
}

std::string Nested(int depth) { return Repeated("[", depth) + Repeated("]", depth); }

TEST(JsonRead, AcceptsOneWholeValue) {
  for (const std::string& text :
       {"{}"s, "[]"s, " \t\r\n{\"a\":[1,{\"b\":null}]} \n"s, "1"s, "\"text\""s, "null"s, "-0"s, "1E+2"s, "\"\\u0000\""s,
        "\"\\ud83d\\ude00\""s, "\"\xF0\x9F\x98\x80\""s, Nested(64), Repeated("{\"a\":", 63) + "[]" + Repeated("}", 63),
        "["s + Repeated(Nested(63) + ",", 100) + "0]", Repeated("1", 308), "1.7976931348623157e308"s}) {
    CRapidJsonProto json;
    EXPECT_TRUE(json.set_str(text)) << text.substr(0, 60);
  }
}

TEST(JsonRead, RefusesEverythingElseAndEmptiesTheDocument) {
  const std::vector<std::string> cases{
      "",
      "  ",
      "{",
      "[1,2",
      "{\"a\":1,}",
      "[1,]",
      "{\"a\" 1}",
      "{a:1}",
      "{'a':1}",
      "{}{}",
      "{} x",
      "{}\0"s,
      "{}\0{}"s,
      "\"a\0b\""s,
      "\"tab\t\"",
      "\"\\x\"",
      "\"\\u12\"",
      "\"unended",
      "nul",
      "True",
      "NaN",
      "Infinity",
      "01",
      "1.",
      ".5",
      "+1",
      "0x10",
      "1e",
      "// c\n{}",
      "\xEF\xBB\xBF{}",
      // Not UTF-8: stray, overlong, surrogate, too large, cut; in texts and in keys.
      "\"\x80\"",
      "\"\xC0\x80\"",
      "\"\xED\xA0\x80\"",
      "\"\xF4\x90\x80\x80\"",
      "\"\xE2\x82\"",
      "\"long enough for a buffer of its own \xF0",
      "\"long enough for a buffer of its own \xF0\x9F\x98",
      "{\"\xFF\":1}",
      // Halves of surrogate pairs, which have no UTF-8.
      "\"\\ud800\"",
      "\"\\ud800\\u0041\"",
      "\"\\udc00\"",
      "{\"\\udfff\":1}",
      // Numbers beyond a double, on either side, up to exponents that overflow an int.
      "1e400",
      "2e308",
      "-2e308",
      "1e-400",
      "1e99999999999",
      "0." + Repeated("0", 2000) + "1e-2147483639",
      "1e-99999999999999999999",
      Repeated("9", 400),
      // Nesting.
      Nested(65),
      Repeated("{\"a\":", 65) + "1" + Repeated("}", 65),
      Repeated("[", 100'000),
      Nested(100'000),
      Repeated("{\"a\":[", 100'000),
      Repeated("[", 5'000'000),
  };
  for (const std::string& text : cases) {
    SCOPED_TRACE(testing::PrintToString(text.substr(0, 60)));
    CRapidJsonProto json;
    ASSERT_TRUE(json.set_str(R"({"old":1})"));
    EXPECT_FALSE(json.set_str(text));
    EXPECT_EQ(json.get_cnt("/"), 0);
    EXPECT_EQ(json.get_int_v("/old", kAbsent), kAbsent);
    EXPECT_EQ(json.get_str(), "");
  }
}

TEST(JsonRead, EveryCutOfATextIsRefused) {
  const std::string whole = R"({"A":[{"B":"x\u00e9\n","C":-12.5e1},true,null],"D":{"E":[]}})";
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_str(whole));
  EXPECT_EQ(json.get_str(), "{\"A\":[{\"B\":\"x\xC3\xA9\\n\",\"C\":-125.0},true,null],\"D\":{\"E\":[]}}");
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_FALSE(json.set_str(whole.substr(0, length))) << length;
}

class JsonPathTest : public testing::Test {
 protected:
  JsonPathTest() {
    EXPECT_TRUE(json_.set_str(R"({"A":{"B":[{"C":"b0"},{"C":"b1"}],"One":{"C":"single"},"Grid":[[1,2],[3,4]],"Empty":[],
        "0":"zero"},"A[1]":"brackets","Twice":1,"Twice":2,"":"nameless","Text":"t","Null":null,
        "a\u0000b":"inner","a":"short"})"));
  }
  std::string At(const std::string& path) const { return json_.get_v(path, "absent"); }

  CRapidJsonProto json_;
};

TEST_F(JsonPathTest, ListsAreCountedInBothWays) {
  for (const char* const path : {"/A/B[1]/C", "/A/B/0/C", "//A//B[1]//C/", "A/B/0/C", "/A[1]/B[1]/C", "/A/B[1]/C[1]/0",
                                 "/0/A/B/0/C", "/A/B/00/C"})
    EXPECT_EQ(At(path), "b0") << path;
  EXPECT_EQ(At("/A/B[2]/C"), "b1");
  EXPECT_EQ(At("/A/B/1/C"), "b1");
  EXPECT_EQ(At("/A/Grid[2][1]"), "3");
  EXPECT_EQ(At("/A/Grid/1/0"), "3");
  EXPECT_EQ(At("/A/Grid[1]/1"), "2");
}

TEST_F(JsonPathTest, AnyOtherValueIsAListOfOne) {
  EXPECT_EQ(At("/A/One[1]/C"), "single");
  EXPECT_EQ(At("/A/One/0/C"), "single");
  EXPECT_EQ(At("/Text[1]"), "t");
  EXPECT_EQ(At("/Text/0"), "t");
  EXPECT_EQ(At("/A/0"), "zero");
  for (const char* const path : {"/A/One[2]/C", "/A/One/1/C", "/Text[2]", "/Text/1", "/Text/C"})
    EXPECT_EQ(At(path), "absent") << path;
}

TEST_F(JsonPathTest, UnreadablePathsAreAbsent) {
  for (const std::string path : {"/A/B[0]/C",
                                 "/A/B[3]/C",
                                 "/A/B/2/C",
                                 "/A/B[-1]/C",
                                 "/A/B/-1/C",
                                 "/A/B[99999999999999]/C",
                                 "/A/B[4294967297]/C",
                                 "/A/B/18446744073709551616/C",
                                 "/A/B[18446744073709551617]",
                                 "/A/B[x]/C",
                                 "/A/B[]/C",
                                 "/A/B[1/C",
                                 "/A/B[1]x/C",
                                 "/A/B]1[/C",
                                 "/A/B[[1]]/C",
                                 "/A/B[ 1]/C",
                                 "/A/B[+1]/C",
                                 "/A/B/C",
                                 "/A/Empty[1]",
                                 "/A/Empty/0",
                                 "/a/B",
                                 "/[0]",
                                 "/[2]",
                                 "/A/Grid[1][3]",
                                 "/B"})
    EXPECT_EQ(At(path), "absent") << path;
}

TEST_F(JsonPathTest, KeysAreMatchedWholeAndTheFirstWins) {
  EXPECT_EQ(At("/Twice"), "1");
  EXPECT_EQ(At("/a"), "short");
  EXPECT_EQ(At("/a\0b"s), "inner");
  EXPECT_EQ(At("/text"), "absent");
  EXPECT_EQ(At("/Null"), "absent");
  EXPECT_EQ(At("/"), "absent");
}

TEST_F(JsonPathTest, CountsAreSizesOrOne) {
  for (const char* const present : {"/A", "/Text", "/Null", "/A/B[1]", "/", ""})
    EXPECT_EQ(json_.get_cnt(present), 1);
  EXPECT_EQ(json_.get_cnt("/A/B"), 2);
  EXPECT_EQ(json_.get_cnt("/A/Empty"), 0);
  EXPECT_EQ(json_.get_cnt("/A/None"), 0);
  CRapidJsonProto list;
  ASSERT_TRUE(list.set_str("[{\"C\":5},6,7]"));
  EXPECT_EQ(list.get_cnt("/"), 3);
  EXPECT_EQ(list.get_int_v("/[1]/C", kAbsent), 5);
  EXPECT_EQ(list.get_int_v("/2", kAbsent), 7);
}

struct NumberCase {
  const char* json;
  int number;
  const char* text;
};

TEST(JsonRead, NumbersWrapIntoThirtyTwoBits) {
  const std::vector<NumberCase> cases{
      {"0", 0, "0"},
      {"-0", 0, "0"},
      {"7", 7, "7"},
      {"-7", -7, "-7"},
      {"2147483647", 2147483647, "2147483647"},
      {"2147483648", -2147483647 - 1, "2147483648"},
      {"4294967295", -1, "4294967295"},
      {"4294967296", kAbsent, "4294967296"},
      {"-2147483648", -2147483647 - 1, "-2147483648"},
      {"-2147483649", kAbsent, "-2147483649"},
      {"9223372036854775808", kAbsent, "9223372036854775808"},
      {"18446744073709551615", kAbsent, "18446744073709551615"},
      {"18446744073709551616", kAbsent, "absent"},
      {"-9223372036854775809", kAbsent, "absent"},
      {"1.0", 1, "absent"},
      {"3.9e0", 3, "absent"},
      {"-3.9", -3, "absent"},
      {"-0.0", 0, "absent"},
      {"1e3", 1000, "absent"},
      {"4294967295.9", -1, "absent"},
      {"4294967296.0", kAbsent, "absent"},
      {"-2147483648.9", -2147483647 - 1, "absent"},
      {"-2147483649.0", kAbsent, "absent"},
      {"1e308", kAbsent, "absent"},
      {"true", kAbsent, "true"},
      {"false", kAbsent, "false"},
      {"null", kAbsent, "absent"},
      {"[5]", kAbsent, "absent"},
      {"{\"a\":5}", kAbsent, "absent"},
      {"\"12\"", 12, "12"},
      {"\"-012\"", -12, "-012"},
      {"\"4294967295\"", -1, "4294967295"},
      {"\"4294967296\"", kAbsent, "4294967296"},
      {"\"99999999999999999999\"", kAbsent, "99999999999999999999"},
      {"\"\"", kAbsent, ""},
      {"\"-\"", kAbsent, "-"},
      {"\" 1\"", kAbsent, " 1"},
      {"\"1 \"", kAbsent, "1 "},
      {"\"+1\"", kAbsent, "+1"},
      {"\"1.0\"", kAbsent, "1.0"},
      {"\"0x1\"", kAbsent, "0x1"},
      {"\"true\"", kAbsent, "true"},
  };
  for (const auto& [value, number, text] : cases) {
    SCOPED_TRACE(value);
    CRapidJsonProto json;
    ASSERT_TRUE(json.set_str("{\"v\":"s + value + "}"));
    EXPECT_EQ(json.get_int_v("/v", kAbsent), number);
    EXPECT_EQ(json.get_v("/v", "absent"), text);
  }
}

TEST(JsonRead, TextsKeepEveryByte) {
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_str(R"({"v":"a\u0000b\/\"\\\ud83d\ude00","n":"1\u0000"})"));
  EXPECT_EQ(json.get_v("/v", ""), "a\0b/\"\\\xF0\x9F\x98\x80"s);
  EXPECT_EQ(json.get_int_v("/n", kAbsent), kAbsent);
}

TEST(JsonRead, LargeObjectsAreReadLikeSmallOnes) {
  std::string text = "{";
  for (int key = 0; key < 1000; ++key)
    text += "\"k" + std::to_string(key % 500) + "\":" + std::to_string(key) + ",";
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_str(text + "\"\":1}"));
  for (int key = 0; key < 500; ++key)
    EXPECT_EQ(json.get_int_v("/k" + std::to_string(key), kAbsent), key);
  EXPECT_EQ(json.get_int_v("/k500", kAbsent), kAbsent);
  EXPECT_EQ(json.get_int_v("/k", kAbsent), kAbsent);
}

TEST(JsonRead, ManyKeysBesideALongListTakeNoQuadraticTime) {
  // With a walk over all keys for each element this is 1.4 * 10^10 steps.
  constexpr int kCount = 120'000;
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_str("{" + Repeated("\"x\":0,", kCount) + "\"L\":[" + Repeated("1,", kCount) + "1]}"));
  std::int64_t sum = 0;
  for (int index = 1; index <= json.get_cnt("/L"); ++index)
    sum += json.get_int_v("/L[" + std::to_string(index) + "]", 0);
  EXPECT_EQ(sum, kCount + 1);
}

TEST(JsonRead, TheNumberOfValuesIsBounded) {
  const auto list_of = [](std::size_t values) { return "[" + Repeated("{},", static_cast<int>(values) - 2) + "1]"; };
  CRapidJsonProto json;
  EXPECT_TRUE(json.set_str(list_of(CRapidJsonProto::kMaxValues)));
  EXPECT_FALSE(json.set_str(list_of(CRapidJsonProto::kMaxValues + 1)));
}

}  // namespace
