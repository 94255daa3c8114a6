#include <gtest/gtest.h>

#include "KelpUtils/RapidJsonProto.h"
#include "OrvProto/JsonNode.h"
#include "support/LogRecorder.h"

namespace {

using namespace std::string_literals;
using kelp::CRapidJsonProto;
using xmlpacket::JsonNode;

constexpr int kAbsent = -77;

std::string Repeated(const std::string& text, std::size_t count) {
  std::string repeated;
  for (; count > 0; --count)
    repeated += text;
  return repeated;
}

std::string Nested(std::size_t depth) { return Repeated("[", depth) + Repeated("]", depth); }

/// A list that is so many values with itself.
std::string ListOf(std::size_t values) { return "[" + Repeated("{},", values - 2) + "1]"; }

TEST(JsonRead, AcceptsOneWholeValueAndNothingElse) {
  CRapidJsonProto json;
  for (const std::string& text :
       {" \t\r\n[{\"b\":null}] \n"s, R"("\u0000\ud83d\ude00")"s, "1.7976931348623157e308"s, "1e-400"s,
        "0." + Repeated("0", 2000) + "1e-2147483639", Nested(CRapidJsonProto::kMaxDepth),
        ListOf(CRapidJsonProto::kMaxValues), "[" + Repeated("[],{},", 100) + "1]"})
    EXPECT_TRUE(json.set_str(text)) << text.substr(0, 60);
  // With what the log says, which begins with the place of the fault.
  const std::pair<const char*, std::vector<std::string>> refused[] = {
      {"no JSON",
       {"", "{}{}", "[1,]", "{a:1}", "nul", "NaN", "01", "+1", "1.", "\"tab\t\"", "// c\n{}", R"("\ud800")",
        R"("\ud800\u0041")"}},
      {"a NUL byte, or not UTF-8",
       {"{}\0"s, "\"a\0b\""s, "\"\x80\"", "\"\xED\xA0\x80\"", "\"long enough for a buffer of its own \xF0",
        "{\"\xFF\":1}"}},
      // Halves of surrogate pairs, which have no UTF-8.
      {"an escape that is no UTF-8", {R"({"\udfff":1})"}},
      // Up to exponents that overflow an int.
      {"a number beyond the range of a double",
       {"-2e308", "1e99999999999", "1" + Repeated("0", 2000) + "1e2147483639"}},
      {"nested more than 64 deep",
       {Nested(CRapidJsonProto::kMaxDepth + 1), Repeated("{\"a\":", 65) + "1" + Repeated("}", 65),
        Repeated("[", 5'000'000)}},
      {"more than 250000 values", {ListOf(CRapidJsonProto::kMaxValues + 1)}}};
  const auto sink = std::make_shared<evidence_test::LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> slot(sink);
  for (const auto& [fault, texts] : refused) {
    for (const std::string& text : texts) {
      ASSERT_TRUE(json.set_str(R"({"old":1})"));
      EXPECT_FALSE(json.set_str(text)) << testing::PrintToString(text.substr(0, 60));
      EXPECT_EQ(json.get_str(), "");
      EXPECT_TRUE(sink->Has(4, fault)) << testing::PrintToString(text.substr(0, 60));
      sink->Clear();
    }
  }
  for (const auto& [text, fault] : {std::pair(" [1,}"s, "byte 4: no JSON"),
                                    {"\"\xFF\""s, "byte 1: a NUL"},
                                    {"[1e999]"s, "byte 1: a number"},
                                    {Nested(65), "byte 64: nested"}}) {
    EXPECT_FALSE(json.set_str(text));
    EXPECT_TRUE(sink->Has(4, fault)) << fault;
  }
}

TEST(JsonRead, PathsNameMembersAndElements) {
  CRapidJsonProto json;
  // The outer object is one with very many members, the inner ones are small.
  ASSERT_TRUE(json.set_str(R"({"A":{"B":[{"C":"b0"},{"C":"b1"}],"One":{"C":"single"},"Grid":[[1,2],[3,4]],"Empty":[],
                    "0":"zero","Twice":1,"Twice":2},"A[1]":"brackets","Text":"t","Null":null,"a\u0000b":"inner",
                    "a":"short","Same":1,"Same":2)" +
                           Repeated(R"(,"filler":0)", 40) + "}"));
  const std::vector<std::pair<std::string, std::string>> present{
      {"/A/B[1]/C", "b0"},       {"/A/B/0/C", "b0"},       {"A//B/00/C[1]/0/", "b0"},
      {"/0/A[1]/B[2]/C", "b1"},  {"/A/Grid[2][1]", "3"},   {"/A/Grid[1]/1", "2"},
      {"/A/One[1]/C", "single"}, {"/A/One/0/C", "single"}, {"/A/0", "zero"},
      {"/A/Twice", "1"},         {"/Same", "1"},           {"/a", "short"},
  };
  for (const auto& [path, value] : present)
    EXPECT_EQ(json.get_v(path, "absent"), value) << path;
  const std::vector<std::string> absent{// No such element.
                                        "/A/B[0]/C", "/A/B[3]/C", "/A/B/2/C", "/A/B/-1/C", "/A/B[4294967297]/C",
                                        "/A/B/18446744073709551616/C", "/A/B[18446744073709551617]", "/A/Empty[1]",
                                        "/A/Empty/0", "/A/One[2]/C", "/A/One/1/C", "/[2]",
                                        // No such member, or no text.
                                        "/A/B/C", "/Text/C", "/text", "/Null", "/",
                                        // No path.
                                        "/A/B[]/C", "/A/B[1/C", "/A/B[1]x/C", "/A/B]1[/C", "/A/B[+1]/C"};
  for (const std::string& path : absent)
    EXPECT_EQ(json.get_v(path, "absent"), "absent") << path;
  EXPECT_EQ(json.get_cnt("/A/B"), 2);
  EXPECT_EQ(json.get_cnt("/Null"), 1);
  EXPECT_EQ(json.get_cnt("/A/Empty") + json.get_cnt("/A/None"), 0);
}

TEST(JsonRead, NumbersWrapIntoThirtyTwoBitsAndTextsKeepEveryByte) {
  const std::tuple<const char*, int, std::string> cases[] = {
      {"4294967295", -1, "4294967295"},
      {"4294967296", kAbsent, "4294967296"},
      {"-2147483649", kAbsent, "-2147483649"},
      {"18446744073709551615", kAbsent, "18446744073709551615"},
      {"18446744073709551616", kAbsent, "absent"},
      {"-3.9", -3, "absent"},
      {"4294967295.9", -1, "absent"},
      {R"("-012")", -12, "-012"},
      {R"("99999999999999999999")", kAbsent, "99999999999999999999"},
      {R"("1 ")", kAbsent, "1 "},
      {R"("1\u0000")", kAbsent, "1\0"s},
      {R"("\/\"\\\ud83d\ude00")", kAbsent, "/\"\\\xF0\x9F\x98\x80"},
  };
  for (const auto& [value, number, text] : cases) {
    CRapidJsonProto json;
    ASSERT_TRUE(json.set_str("{\"v\":"s + value + "}"));
    EXPECT_EQ(json.get_int_v("/v", kAbsent), number) << value;
    EXPECT_EQ(json.get_v("/v", "absent"), text) << value;
  }
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

TEST(JsonWrite, NodesAreValidJsonWhateverTheyHold) {
  JsonNode root("R\xFF", "");
  root.AddChild("Text", "a/b \"q\" \\ \n\x1F\x80z\xE2\x82", 0);
  for (const char* const number : {"-12", "18446744073709551616", "007", "-", "1.5", ""})
    root.AddChild("n", number, 0)->value_kind = JsonNode::kNumber;
  root.AddChild("One", "", 0)->AddChild("List", "", 0)->repeat = true;
  EXPECT_EQ(root.Serialize(0),
            "{\"R\xEF\xBF\xBD\":{\"Text\":\"a/b \\\"q\\\" \\\\ \\n\\u001F\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\","
            "\"n\":-12,\"n\":18446744073709551616,\"n\":\"007\",\"n\":\"-\",\"n\":\"1.5\",\"n\":\"\","
            "\"One\":{\"List\":[\"\"]}}}");
}

TEST(JsonWrite, EveryCharacterComesBackFromEveryPlace) {
  for (std::size_t place = 0; place < 18; ++place) {
    for (char c = 0; c != '\x7F'; ++c) {
      const std::string text = std::string(place, 'x') + c + "\xC3\xA9 and some more";
      JsonNode root("R", "");
      root.AddChild("Text", text, 0);
      kelp::CRapidJsonProto json;
      ASSERT_TRUE(json.set_str(root.Serialize(0))) << place << ' ' << int{c};
      ASSERT_EQ(json.get_v("/R/Text", ""), text);
    }
  }
}

TEST(JsonWrite, ALongTextBehindManyEscapesHasRoom) {
  const std::string text = std::string(3'000, '\x01') + std::string(20'000, 'x');
  JsonNode root("R", text);
  kelp::CRapidJsonProto json;
  ASSERT_TRUE(json.set_str(root.Serialize(0)));
  EXPECT_EQ(json.get_v("/R", ""), text);
}

TEST(JsonWrite, ANodeOutlivesItsRoot) {
  const auto node = std::make_shared<JsonNode>("R", "")->AddChild("Node", "", 0);
  node->AddChild("Text", "a text of its own", 0);
  EXPECT_EQ(node->Serialize(0), R"({"Node":{"Text":"a text of its own"}})");
}

}  // namespace
