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

TEST_F(LinkTest, RepliesOfSuccessFailByTheirRowsOnly) {
  const std::vector<std::pair<std::string, Texts>> cases{
      {R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", {}},
      {R"({"ResponseStatus":{"ErrorCode":0}})", {}},
      {Done(R"({"LinkFileErrorList":[]})"), {}},
      {Done(R"({"LinkFileErrorList":[{},{}],"LinkFileError":[)"
            R"({"ID":1,"Name":"a.mp4","Error":{"ErrorModule":3,"ErrorCode":4}},{"ID":2,"Error":{"ErrorCode":9}}]})"),
       {"1 a.mp4 3-4", "2  -1-9"}},
      {Done(R"({"LinkFileErrorList":{"ID":9},"LinkFileError":{"ID":1,"Name":"n","Error":{"ErrorModule":5}}})"),
       {"1 n 5--1"}},
      // The count is that of one list, the entries are those of the other.
      {Done(R"({"LinkFileErrorList":[{"ID":1,"Name":"n"},{}]})"), {"-1  -1--1", "-1  -1--1"}},
      {Done(R"({"LinkFileError":[{"ID":1,"Name":"n"}]})"), {}},
  };
  for (const auto& [reply, expected] : cases) {
    SCOPED_TRACE(reply);
    EXPECT_EQ(Link(reply), expected.empty());
    EXPECT_EQ(Rows(failures_), expected);
    EXPECT_EQ(GetLastError(), kUntouched);
    EXPECT_EQ(platform_.sink->Texts(5, "casefile.s.evidence"), Texts{});
    failures_.clear();
    EXPECT_TRUE(manager_.DecodeLinkFileReq(failures_, reply));
  }
}

TEST_F(LinkTest, OtherRepliesFailTheCall) {
  const std::string not_json = "]Data Parse failed, data invalid![";
  struct Case {
    std::string reply;
    ErrorCode pair;
    std::string line;
  };
  for (const Case& c : {Case{"not JSON", {0, 2}, not_json}, Case{"", {0, 2}, not_json},
                        Case{"{}", {-1, -1}, "]API return failed: [-1--1]!["},
                        Case{R"({"ResponseStatus":{"ErrorModule":0}})", {0, -1}, "]API return failed: [0--1]!["},
                        Case{R"({"ErrorModule":0,"ErrorCode":0})", {-1, -1}, "]API return failed: [-1--1]!["},
                        Case{R"({"ResponseStatus":{"ErrorModule":41,"ErrorCode":3,"Data":{"LinkFileErrorList":[{}]}}})",
                             {41, 3},
                             "]API return failed: [41-3]!["}}) {
    EXPECT_FALSE(Link(c.reply)) << c.reply;
    EXPECT_EQ(GetLastError(), c.pair) << c.reply;
    EXPECT_TRUE(failures_.empty()) << "the list of a refused call is not read";
    EXPECT_TRUE(platform_.sink->Has(5, c.line)) << c.line;
    EXPECT_FALSE(manager_.DecodeLinkFileReq(failures_, c.reply)) << c.reply;
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
