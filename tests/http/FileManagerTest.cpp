// The file manager in the real host, called by another plugin.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "http/Installation.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kDone = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";

class FileManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    Postgres().Query("DELETE FROM filemanager.link");
  }

  void Start() {
    host_ = std::make_unique<HostProcess>(
        HostProcess::SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so, test_comm.s.so"}},
        std::vector<std::string>(), "", installation_.Host());
    session_ = Login(host_->WaitUntilListening(), "tester", kTesterPassword);
  }

  std::string Send(const std::string& file_ids, int operation = 1) const {
    return Ask(host_->port(), "POST", "/Comm", session_,
               R"({"Request":{"LinkType":0,"ID":5,"FileIDs":")" + file_ids + R"(","OperationType":)" +
                   std::to_string(operation) + "}}")
        .body;
  }

  static std::string Links() {
    return Postgres().Value(
        "SELECT coalesce(string_agg(file_id::text, ' ' ORDER BY file_id), '') FROM filemanager.link "
        "WHERE evidence_id = 5 AND linked");
  }

  const Installation installation_;
  std::unique_ptr<HostProcess> host_;
  std::string session_;
};

TEST_F(FileManagerTest, LinksOutliveARestartThatBringsOtherSettings) {
  Start();
  EXPECT_EQ(Send("1,2,3"), kDone);
  EXPECT_EQ(Send("1", 0), kDone);
  EXPECT_THAT(Send("1;2"), HasSubstr(R"("ErrorModule":31,"ErrorCode":1)"));
  EXPECT_EQ(host_->Stop().exit_code, 0);
  EXPECT_THAT(host_->Log(), HasSubstr("filemanager.s Stopped"));

  installation_.WriteSettings(R"({"RefusedFileIDs":[2,4]})");
  Start();
  EXPECT_EQ(Links(), "2 3");
  EXPECT_THAT(Send("1,4"), HasSubstr(R"("LinkFileErrorList":[{"ID":4}])"));
  EXPECT_EQ(Links(), "1 2 3");
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

TEST_F(FileManagerTest, ADatabaseThatComesBackIsUsedAgain) {
  Start();
  Postgres().Stop();
  EXPECT_EQ(Send("1"), R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":2}})");
  Postgres().Start();
  EXPECT_TRUE(Eventually([this] { return Send("1") == kDone; }));
  EXPECT_EQ(Links(), "1");
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

TEST_F(FileManagerTest, AFaultInItsSettingsIsToldAndStopsTheHost) {
  installation_.WriteSettings(R"({"RefusedFileIDs":["all"]})");
  HostProcess host(HostProcess::SettingsMap{{"plugins", "file_manager.s.so"}}, {}, "", installation_.Host());
  const auto finished = host.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("file_manager.s.so refused: Init gave false"));
  EXPECT_THAT(host.Log(), HasSubstr("FileManager.json: entry 1 of RefusedFileIDs is no file id"));
}

TEST_F(FileManagerTest, ItIsStartedFirstWhenNothingIsSaid) {
  HostProcess host(HostProcess::SettingsMap{}, {}, "", installation_.Host());
  host.WaitUntilListening();
  EXPECT_EQ(host.Stop().exit_code, 0);
  const auto log = host.Log();
  const auto file_manager = log.find("file_manager.s.so started");
  const auto evidence = log.find("casefile.s.so started");
  ASSERT_NE(file_manager, std::string::npos);
  ASSERT_NE(evidence, std::string::npos);
  EXPECT_LT(file_manager, evidence);
  EXPECT_GT(log.find("file_manager.s.so stopped"), log.find("casefile.s.so stopped"));
}

}  // namespace
}  // namespace evidence_test
