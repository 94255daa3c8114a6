// The call that tells the file manager which files an evidence holds.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::CEvidenceManager;
using Evidence::ErrorPtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Orv::Base::Error::SetLastError;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using Texts = std::vector<std::string>;

constexpr ErrorCode kUntouched{77, 77};

/// A reply of success with this data behind it.
std::string Done(const std::string& data) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":)" + data + "}}";
}

Texts Rows(const std::list<ErrorPtr>& failures) {
  Texts texts;
  for (const auto& row : failures) {
    texts.push_back(std::to_string(row->id) + " " + row->name + " " + std::to_string(row->main_code) + "-" +
                    std::to_string(row->sub_code));
  }
  return texts;
}

class LinkTest : public ::testing::Test {
 protected:
  /// Asks for files 1 and 2 of evidence 5; the file manager replies with `text`.
  bool Link(const std::string& text) {
    platform_.sink->Clear();
    platform_.comm->answer = [text](const auto&, const auto&, auto& reply) {
      reply = std::make_shared<CPluginCommData>(text, nullptr, 0);
    };
    SetLastError(kUntouched);
    failures_.clear();
    return manager_.APILinkFile(failures_, {1, 2}, 5, CEvidenceManager::kLinkFiles);
  }

  scripted::Platform platform_;
  CEvidenceManager manager_{std::make_shared<evidence_test::StoreStub>()};
  std::list<ErrorPtr> failures_;
};

TEST_F(LinkTest, RequestsTellTheFilesAndTheOperationTheOtherWayRound) {
  ASSERT_TRUE(Link(Done("{}")));
  EXPECT_TRUE(manager_.APILinkFile(failures_, {1000000001, 2, 2147483647}, -1, CEvidenceManager::kUnlinkFiles));
  EXPECT_TRUE(manager_.APILinkFile(failures_, {}, 2147483647, CEvidenceManager::kLinkFiles));
  const std::string head = R"(/API/FileManager/V1/LinkFile> {"Request":{"LinkType":0,"ID":)";
  EXPECT_EQ(platform_.comm->requests, (Texts{head + R"(5,"FileIDs":"1,2","OperationType":1}})",
                                             head + R"(-1,"FileIDs":"1000000001,2,2147483647","OperationType":0}})",
                                             head + R"(2147483647,"FileIDs":"","OperationType":1}})"}));
}

TEST_F(LinkTest, RepliesBecomeResultPairAndRows) {
  struct Case {
    std::string reply;
    bool linked;
    bool decoded;
    Texts rows;
    ErrorCode pair;
    std::string line;
  };
  const std::string not_json = "]Data Parse failed, data invalid![";
  const std::vector<Case> cases{
      {R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", true, true, {}, kUntouched, ""},
      {R"({"ResponseStatus":{"ErrorCode":0}})", true, true, {}, kUntouched, ""},
      {Done(R"({"LinkFileErrorList":[]})"), true, true, {}, kUntouched, ""},
      {Done(R"({"LinkFileErrorList":[{},{}],"LinkFileError":[)"
            R"({"ID":1,"Name":"a.mp4","Error":{"ErrorModule":3,"ErrorCode":4}},{"ID":2,"Error":{"ErrorCode":9}}]})"),
       false,
       true,
       {"1 a.mp4 3-4", "2  -1-9"},
       kUntouched,
       ""},
      {Done(R"({"LinkFileErrorList":{"ID":9},"LinkFileError":{"ID":1,"Name":"n","Error":{"ErrorModule":5}}})"),
       false,
       true,
       {"1 n 5--1"},
       kUntouched,
       ""},
      // The count is that of one list, the entries are those of the other.
      {Done(R"({"LinkFileErrorList":[{"ID":1,"Name":"n"},{}]})"),
       false,
       true,
       {"-1  -1--1", "-1  -1--1"},
       kUntouched,
       ""},
      {Done(R"({"LinkFileError":[{"ID":1,"Name":"n"}]})"), true, true, {}, kUntouched, ""},
      {"not JSON", false, false, {}, {0, 2}, not_json},
      {"", false, false, {}, {0, 2}, not_json},
      {"{}", false, false, {}, {-1, -1}, "]API return failed: [-1--1]!["},
      {R"({"ResponseStatus":{"ErrorModule":0}})", false, false, {}, {0, -1}, "]API return failed: [0--1]!["},
      {R"({"ErrorModule":0,"ErrorCode":0})", false, false, {}, {-1, -1}, "]API return failed: [-1--1]!["},
      {R"({"ResponseStatus":{"ErrorModule":41,"ErrorCode":3,"Data":{"LinkFileErrorList":[{}],)"
       R"("LinkFileError":[{"ID":1}]}}})",
       false,
       false,
       {},
       {41, 3},
       "]API return failed: [41-3]!["},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply);
    EXPECT_EQ(Link(c.reply), c.linked);
    EXPECT_EQ(Rows(failures_), c.rows);
    EXPECT_EQ(GetLastError(), c.pair);
    EXPECT_TRUE(c.line.empty() ? platform_.sink->Texts(5, "casefile.s.evidence").empty()
                               : platform_.sink->Has(5, c.line));
    std::list<ErrorPtr> rows;
    EXPECT_EQ(manager_.DecodeLinkFileReq(rows, c.reply), c.decoded);
    EXPECT_EQ(Rows(rows), c.rows);
  }
}

TEST_F(LinkTest, RowsOfAnEarlierCallFailTheNextOne) {
  ASSERT_TRUE(Link(Done("{}")));
  failures_.push_back(std::make_shared<Evidence::_tag_Error_>());
  EXPECT_FALSE(manager_.APILinkFile(failures_, {1}, 5, CEvidenceManager::kLinkFiles));
  EXPECT_EQ(failures_.size(), 1U);
}

TEST_F(LinkTest, WithoutAReplyTheCallFails) {
  /// Something that is no JSON text.
  class OtherData final : public IPluginCommData {};
  const std::string no_request = "]EncodeLinkFileReq failed,do request failed.[";
  const std::string no_reply = "]EncodeLinkFileReq failed,null rsp.[";
  struct Case {
    bool serve_empty;
    plugin_comm::ApiCallback answer;
    std::string line;
  };
  const plugin_comm::ApiCallback other = [](const auto&, const auto&, auto& reply) {
    reply = std::make_shared<OtherData>();
  };
  for (const Case& c :
       {Case{false, nullptr, no_request}, Case{true, nullptr, no_reply}, Case{false, other, no_reply}}) {
    platform_.sink->Clear();
    platform_.comm->serve_empty = c.serve_empty;
    platform_.comm->answer = c.answer;
    SetLastError(kUntouched);
    EXPECT_FALSE(manager_.APILinkFile(failures_, {1}, 5, CEvidenceManager::kLinkFiles));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
    EXPECT_EQ(platform_.sink->Texts(5, "casefile.s.evidence").size(), 1U);
    EXPECT_TRUE(platform_.sink->Has(5, c.line)) << c.line;
  }
  EXPECT_TRUE(failures_.empty());
}

}  // namespace
