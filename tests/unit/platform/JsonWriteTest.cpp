#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "KelpUtils/RapidJsonProto.h"
#include "OrvProto/JsonNode.h"

namespace {

using kelp::CRapidJsonProto;
using xmlpacket::JsonNode;

std::shared_ptr<JsonNode> AddNumber(JsonNode& parent, const std::string& name, const std::string& value) {
  auto child = parent.AddChild(name, value, 0);
  child->value_kind = JsonNode::kNumber;
  return child;
}

std::shared_ptr<JsonNode> AddElement(JsonNode& parent, const std::string& name, const std::string& value = "") {
  auto child = parent.AddChild(name, value, 0);
  child->repeat = true;
  return child;
}

TEST(JsonNode, WritesAStatusInTheOrderOfItsKeys) {
  JsonNode root("ResponseStatus", "");
  AddNumber(root, "ErrorModule", "0");
  AddNumber(root, "ErrorCode", "4294967295");
  const auto data = root.AddChild("Data", "", 0);
  const auto list = data->AddChild("EvidenceTypeList", "", 0);
  const auto first = AddElement(*list, "EvidenceType");
  AddNumber(*first, "ID", "-1");
  first->AddChild("Name", "a/b \"q\" \\ \n\x01 O'Brien \xC3\xA9", 0);
  AddNumber(*list, "Total", "2");
  AddElement(*list, "EvidenceType")->AddChild("Name", "", 0);
  EXPECT_EQ(
      root.Serialize(0),
      "{\"ResponseStatus\":{\"ErrorModule\":0,\"ErrorCode\":4294967295,\"Data\":{\"EvidenceTypeList\":{"
      "\"EvidenceType\":[{\"ID\":-1,\"Name\":\"a/b \\\"q\\\" \\\\ \\n\\u0001 O'Brien \xC3\xA9\"},{\"Name\":\"\"}],"
      "\"Total\":2}}}}");
}

TEST(JsonNode, EmptyNodesAreTextsObjectsOrElements) {
  JsonNode root("R", "");
  EXPECT_EQ(root.Serialize(0), R"({"R":""})");
  root.AddChild("Text", "", 0);
  root.AddChild("Object", "", 0)->is_object = true;
  AddElement(root, "Single");
  AddElement(root, "Objects")->is_object = true;
  EXPECT_EQ(root.Serialize(0), R"({"R":{"Text":"","Object":{},"Single":[""],"Objects":[{}]}})");
}

TEST(JsonNode, OnlyTheRepeatFlagMakesAList) {
  JsonNode root("R", "");
  root.AddChild("A", "1", 0);
  AddElement(root, "A", "2");
  root.AddChild("A", "3", 0);
  AddElement(root, "B", "x");
  AddElement(root, "A", "4");
  EXPECT_EQ(root.Serialize(0), R"({"R":{"A":"1","A":["2","4"],"A":"3","B":["x"]}})");
}

TEST(JsonNode, OutputIsAlwaysValid) {
  JsonNode root("R\xFF", "");
  for (const char* const number : {"0", "-0", "12", "-12", "18446744073709551616"})
    AddNumber(root, "n", number);
  for (const char* const other : {"", "-", "007", "-01", "+1", "1.5", "1e5", "abc", "1\n", "0x1"})
    AddNumber(root, "t", other);
  root.AddChild("bad", "a\x80z\xE2\x82\xED\xA0\x80", 0);
  root.AddChild("nul", std::string("a\0b", 3), 0);
  EXPECT_EQ(
      root.Serialize(0),
      "{\"R\xEF\xBF\xBD\":{\"n\":0,\"n\":-0,\"n\":12,\"n\":-12,\"n\":18446744073709551616,"
      "\"t\":\"\",\"t\":\"-\",\"t\":\"007\",\"t\":\"-01\",\"t\":\"+1\",\"t\":\"1.5\",\"t\":\"1e5\",\"t\":\"abc\","
      "\"t\":\"1\\n\",\"t\":\"0x1\","
      "\"bad\":\"a\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\",\"nul\":\"a\\u0000b\"}}");
  CRapidJsonProto read_back;
  EXPECT_TRUE(read_back.set_str(root.Serialize(0)));
}

TEST(JsonNode, ManyElementsAreWrittenOnceEach) {
  JsonNode root("R", "");
  for (int index = 0; index < 50'000; ++index)
    AddNumber(*AddElement(root, "L"), "i", std::to_string(index));
  CRapidJsonProto read_back;
  ASSERT_TRUE(read_back.set_str(root.Serialize(0)));
  EXPECT_EQ(read_back.get_cnt("/R/L"), 50'000);
  EXPECT_EQ(read_back.get_int_v("/R/L/49999/i", -1), 49'999);
}

TEST(JsonBuild, WritesAResponseThroughHandles) {
  CRapidJsonProto json;
  EXPECT_EQ(json.get_str(), "");
  EXPECT_EQ(json.get_node("/ResponseStatus"), nullptr);
  ASSERT_TRUE(json.set_v("/ResponseStatus", ""));
  EXPECT_EQ(json.get_str(), R"({"ResponseStatus":""})");
  auto* const root = json.get_node("/ResponseStatus/");
  ASSERT_NE(root, nullptr);
  json.add_v(root, "ErrorModule", 0);
  json.add_v(root, "ErrorCode", -1);
  json.add_v(root, "CascadingErrorInfo", "");
  auto* const data = json.add_v(root, "Data");
  EXPECT_EQ(json.get_str(), R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":-1,"CascadingErrorInfo":"","Data":{}}})");
  auto* const first = json.add_list_v(data, "List", "");
  // Handles stay good however many nodes follow.
  for (int index = 0; index < 1'000; ++index)
    json.add_list_v(data, "List", "t");
  json.add_v(first, "ID", 2147483647);
  json.add_v(first, "Name", std::string("\xFF/"));
  json.add_v(json.add_v(first, "Later", std::string()), "In", "x");
  const std::string written = json.get_str();
  const std::string expected =
      "\"Data\":{\"List\":[{\"ID\":2147483647,\"Name\":\"\xEF\xBF\xBD/\",\"Later\":{\"In\":\"x\"}},\"t\",\"t\",";
  EXPECT_NE(written.find(expected), std::string::npos) << written.substr(0, 200);
  CRapidJsonProto read_back;
  ASSERT_TRUE(read_back.set_str(written));
  EXPECT_EQ(read_back.get_cnt("/ResponseStatus/Data/List"), 1'001);
}

TEST(JsonBuild, PathsAreMadeFromTheRootAndSetAnew) {
  CRapidJsonProto json;
  EXPECT_FALSE(json.set_v("/", "x"));
  EXPECT_FALSE(json.set_v("", 1));
  EXPECT_EQ(json.get_str(), "");
  EXPECT_TRUE(json.set_v("/A/B", "text"));
  EXPECT_TRUE(json.set_v("/A/C", -5));
  EXPECT_TRUE(json.set_v("A//B/", 7));
  EXPECT_EQ(json.get_str(), R"({"A":{"B":7,"C":-5}})");
  EXPECT_TRUE(json.set_v("/A/B/D", "below"));
  EXPECT_TRUE(json.set_v("/E", ""));
  EXPECT_EQ(json.get_str(), R"({"A":{"B":{"D":"below"},"C":-5},"E":""})");
  EXPECT_EQ(json.get_node("/A/None"), nullptr);
  EXPECT_EQ(json.get_node("/A/B/D/F"), nullptr);
}

TEST(JsonBuild, AMissingParentMakesNothing) {
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_v("/A", ""));
  EXPECT_EQ(json.add_v(nullptr, "x", "1"), nullptr);
  EXPECT_EQ(json.add_v(nullptr, "x", std::string("1")), nullptr);
  EXPECT_EQ(json.add_v(nullptr, "x", 1), nullptr);
  EXPECT_EQ(json.add_v(nullptr, "x"), nullptr);
  EXPECT_EQ(json.add_list_v(nullptr, "x", ""), nullptr);
  EXPECT_EQ(json.get_str(), R"({"A":""})");
}

TEST(JsonBuild, DeepTreesTakeNoStack) {
  CRapidJsonProto json;
  ASSERT_TRUE(json.set_v("/A", ""));
  auto* node = json.get_node("/A");
  for (int level = 0; level < 200'000; ++level)
    node = json.add_v(node, "A", "");
  EXPECT_EQ(json.get_str().size(), 200'001U * 5 + 2 + 200'000 + 1);
}

}  // namespace
