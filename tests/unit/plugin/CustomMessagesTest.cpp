// Bodies of the messages of custom attributes, key by key.

#include "unit/plugin/MessageTest.h"

namespace {

using Evidence::EvidenceCustomPtr;
using Evidence::tag_EvidenceCustom_;
using messages::Answer;
using messages::Fields;
using messages::Request;
using Texts = std::vector<std::string>;

class CustomMessagesTest : public messages::MessageTest {
 protected:
  static EvidenceCustomPtr Custom(const tag_EvidenceCustom_& custom) {
    return std::make_shared<tag_EvidenceCustom_>(custom);
  }
};

TEST_F(CustomMessagesTest, VersionOfTheClient) {
  for (const auto& [value, expected] :
       {std::pair{"7", 7}, std::pair{R"("8")", 8}, std::pair{R"("")", 0}, std::pair{R"("x")", 0},
        std::pair{R"(" -3 ")", -3}, std::pair{"1.5", 0}, std::pair{R"("99999999999")", 2147483647}}) {
    std::int32_t version = -5;
    EXPECT_TRUE(pdu_.DecodeEvidenceCustomGetReq(
        version, std::string(R"({"CustomQueryReq":{"ClientResourceVersion":)") + value + "}}"));
    EXPECT_EQ(version, expected) << value;
  }
}

TEST_F(CustomMessagesTest, GetAnswer) {
  EXPECT_TRUE(pdu_.EncodeEvidenceCustomGetRsp(
      response_, {},
      {Custom({0, "hidden", {{4, "red"}, {-1, ""}}, 0, -1}), Custom({7, "colour", {}, 0, -1}),
       Custom({8, "", {{5, "x"}}, -1, -1}), Custom({9, "text", {{6, "y"}}, 1, -1})},
      {0, 2}));
  EXPECT_EQ(response_, Answer("custom_get"));
  EXPECT_TRUE(platform_.sink->Has(3, "]incre_methods[2]["));
  response_ = "as it was";
  EXPECT_TRUE(pdu_.EncodeEvidenceCustomGetRsp(response_, {0, 15, {}}, {}, {1}));
  EXPECT_EQ(response_, "as it was") << "no attributes, no body";
}

TEST_F(CustomMessagesTest, PutRequest) {
  std::list<EvidenceCustomPtr> customs;
  ASSERT_TRUE(pdu_.DecodeEvidenceCustomPutReq(customs, Request("custom_put")));
  Texts read;
  for (const auto& custom : customs) {
    read.push_back(Fields(custom->custom_id, custom->modify_type, custom->custom_name, custom->custom_type));
    for (const auto& option : custom->custom_options)
      read.back() += " " + Fields(option.option_id, option.option_name);
  }
  EXPECT_EQ(read, (Texts{"7 2 colour 0 4 red -1 blue", "-1 -1 text 1 5 ", "-1 -1  -1"}));
}

}  // namespace
