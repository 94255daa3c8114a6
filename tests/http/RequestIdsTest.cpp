#include <gmock/gmock.h>

#include "requests/RequestIds.h"

namespace {

using host::NamedIds;
using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(RequestIdsTest, IdsOfPathBodyAndAnswer) {
  enum Where { kPath, kBody, kAnswer };
  const struct {
    Where where;
    std::string text;
    std::vector<std::int64_t> all;
    std::vector<std::int64_t> evidences;
  } cases[] = {
      {kPath, "/TRELL/Halyard/Evidence/V1/Evidence/17/Files", {17}, {17}},
      {kPath, "/TRELL/Halyard/Evidence/V1/Evidence/Type/6", {6}, {}},
      {kPath, "/platform/v1/evidence/%31%37", {17}, {17}},
      {kPath, "/Evidence/007/-2/12345678901234567890/x1/", {7, -2}, {7}},
      {kPath, "", {}, {}},
      {kBody,
       R"({"EvidenceDeleteReq":{"IDs":"3, 2,3,-9","UserList":{"User":[{"UserName":"4"}]}}})",
       {3, 2, 3},
       {3, 2, 3}},
      {kBody,
       R"({"EvidenceList":{"Evidence":[{"ID":7,"Status":1},{"ID":"99"},{"ID":7.0,"File":[{"ID":5}]},8]}})",
       {7, 99, 7, 5},
       {7, 99, 7}},
      {kBody,
       R"({"Request":{"EvidenceList":{"Evidence":{"EvidenceID":6}},"FileList":{"File":[{"FileID":51}]}}})",
       {6, 51},
       {6}},
      {kBody,
       R"({"OperationLog":[{"EvidenceID":4,"UserName":"camera","Details":[{"Type":2}]},{"EvidenceID":5}]})",
       {4, 5},
       {4, 5}},
      {kBody, R"({"SceneList":{"Scene":[{"ID":4,"Name":"a"}]}})", {4}, {}},
      {kBody, R"({"Evidence":[{"ID":1},{"ID":2},)", {1, 2}, {1, 2}},
      {kBody, std::string(100'000, '['), {}, {}},
      {kBody, R"({"Evidence":[{"ID":1e300},{"ID":-1},{"ID":null}]})", {}, {}},
      {kAnswer,
       R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"Evidence":{"ID":11,"Guid":"G"}}}})",
       {11},
       {11}},
      {kAnswer, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9804,"Data":{"Evidence":{"ID":11}}}})", {}, {}},
  };
  for (const auto& [where, text, all, evidences] : cases) {
    NamedIds ids;
    if (where == kPath) AddIdsOfPath(ids, text);
    if (where == kBody) AddIdsOfBody(ids, text);
    if (where == kAnswer) AddIdOfAnswer(ids, text);
    EXPECT_THAT(ids.all, ElementsAreArray(all)) << text.substr(0, 200);
    EXPECT_THAT(ids.evidences, ElementsAreArray(evidences)) << text.substr(0, 200);
  }
}

TEST(RequestIdsTest, ABodyCannotNameMoreThanARowTakes) {
  std::string list = "0";
  for (int id = 1; id < 50'000; ++id)
    list += "," + std::to_string(id);
  NamedIds ids;
  AddIdsOfBody(ids, R"({"EvidenceDeleteReq":{"IDs":")" + list + "\"}}");
  EXPECT_EQ(ids.all.size(), NamedIds::kMost);
}

}  // namespace
