// The file manager as another plugin meets it: over the bus between plugins, on a real PostgreSQL.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "FileManagerModule.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using Evidence::CEvidenceManager;
using FileManager::CFileManagerModule;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;

const std::string kDone = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";
const std::string kUnreadable = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":1}})";
const std::string kNotStored = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":2}})";

/// A folder that stands for the executable's, with a copy of what is shipped.
class Installation final : public platform::ISystemBackend {
 public:
  Installation() {
    if (mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("no temporary folder " + folder_);
    fs::copy(FILE_MANAGER_RUNTIME, folder_, fs::copy_options::recursive);
  }
  ~Installation() override { fs::remove_all(folder_); }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  void WriteSettings(const std::string& text) const {
    std::ofstream(folder_ + "/META_INFO/filemanager.s/runtime_script/FileManager.json") << text;
  }

  std::string SystemGuid() override { return {}; }
  bool ServerStandards(int&) override { return false; }
  std::string ExecutableDirectory() override { return folder_ + "/"; }
  std::string AESKey() override { return {}; }

 private:
  std::string folder_ = testing::TempDir() + "file-manager-XXXXXX";
};

std::string LinkText(int evidence_id, const std::string& file_ids, int operation = 1) {
  return R"({"Request":{"LinkType":0,"ID":)" + std::to_string(evidence_id) + R"(,"FileIDs":")" + file_ids +
         R"(","OperationType":)" + std::to_string(operation) + "}}";
}

/// "evidence:file" of each link that holds.
std::string Links() {
  return Postgres().Value(
      "SELECT coalesce(string_agg(evidence_id || ':' || file_id, ' ' ORDER BY evidence_id, file_id), '') "
      "FROM filemanager.link WHERE linked");
}

class LinkFileTest : public testing::Test {
 protected:
  void SetUp() override { Postgres().Query("DELETE FROM filemanager.link"); }
  void TearDown() override { module_.Stop(); }

  /// The reply's text; "no reply" when the call failed on the bus.
  static std::string Send(const std::string& text) {
    std::shared_ptr<IPluginCommData> response;
    const auto request = std::make_shared<CPluginCommData>(text, nullptr, 0);
    const auto comm = plugin_comm::IPluginCommManager::Instance();
    if (!comm->Request(response, "/API/FileManager/V1/LinkFile", request, "")) return "no reply";
    return std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt();
  }

  const std::shared_ptr<LogRecorder> log_ = std::make_shared<LogRecorder>();
  const std::shared_ptr<Installation> installation_ = std::make_shared<Installation>();
  platform::ScopedBackend<platform::ILogSink> log_slot_{log_};
  platform::ScopedBackend<platform::ISystemBackend> system_slot_{installation_};
  platform::ScopedBackend<plugin_comm::IPluginCommManager> comm_slot_{platform::MakePluginCommManager()};
  platform::ScopedBackend<kelp::IDBManager> db_slot_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  CFileManagerModule module_;
};

TEST_F(LinkFileTest, LinksAndTakesBackAsOftenAsAskedAndNoneOfAFailedCall) {
  ASSERT_TRUE(module_.Start());
  struct Call {
    std::string request;
    std::string reply;
    std::string links;
  };
  for (const auto& [request, reply, links] :
       std::vector<Call>{{LinkText(5, "3,1,2,1"), kDone, "5:1 5:2 5:3"},
                         {LinkText(6, "1"), kDone, "5:1 5:2 5:3 6:1"},
                         {LinkText(5, "1,2,3"), kDone, "5:1 5:2 5:3 6:1"},
                         {LinkText(5, "1,3,99", 0), kDone, "5:2 6:1"},
                         {LinkText(5, "1,3,99", 0), kDone, "5:2 6:1"},
                         {LinkText(5, "3,2147483647"), kDone, "5:2 5:3 5:2147483647 6:1"},
                         // The database refuses the second file.
                         {LinkText(0, "0,13,14"), kNotStored, "5:2 5:3 5:2147483647 6:1"},
                         {LinkText(0, "0,14"), kDone, "0:0 0:14 5:2 5:3 5:2147483647 6:1"}}) {
    Postgres().Query("ALTER TABLE filemanager.link ADD CONSTRAINT trouble CHECK (file_id <> 13)");
    EXPECT_EQ(Send(request), reply) << request;
    EXPECT_EQ(Links(), links) << request;
    Postgres().Query("ALTER TABLE filemanager.link DROP CONSTRAINT trouble");
  }
  EXPECT_EQ(Postgres().Value("SELECT string_agg(file_id::text, ' ' ORDER BY file_id) FROM filemanager.link WHERE "
                             "evidence_id = 5 AND update_time > create_time"),
            "1 3")
      << "only a change is dated";
  Postgres().Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kNotStored);
  module_.Stop();
  EXPECT_FALSE(module_.Start()) << "without its database";
  module_.Stop();
  Postgres().Start();
  EXPECT_TRUE(module_.Start());
}

TEST_F(LinkFileTest, WhatCannotBeReadChangesNothing) {
  ASSERT_TRUE(module_.Start());
  for (const std::string text : {R"(no json)", R"({"LinkType":0,"ID":5,"FileIDs":"1","OperationType":1})",
                                 R"({"Request":{"LinkType":1,"ID":5,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":-1,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":"5;","FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":["1"],"OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":"1","OperationType":2}})"})
    EXPECT_EQ(Send(text), kUnreadable) << text;
  for (const char* const file_ids : {"", "1,", ",1", "1, 2", "-1", "-0", "1;2", "1'", "1)", "2147483648"})
    EXPECT_EQ(Send(LinkText(5, file_ids)), kUnreadable) << file_ids;
  EXPECT_EQ(Links(), "");
}

TEST_F(LinkFileTest, RefusedFilesAreNamedAndTheOthersLinked) {
  installation_->WriteSettings(R"({"RefusedFileIDs":[7, "8", 100]})");
  ASSERT_TRUE(module_.Start());
  const std::string refused =
      R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":[{"ID":7},{"ID":8}],)"
      R"("LinkFileError":[{"ID":7,"Name":"","Error":{"ErrorModule":31,"ErrorCode":3}},)"
      R"({"ID":8,"Name":"","Error":{"ErrorModule":31,"ErrorCode":3}}]}}})";
  EXPECT_EQ(Send(LinkText(5, "9,8,1,7")), refused);
  EXPECT_EQ(Send(LinkText(5, "8,7")), refused) << "without any other";
  EXPECT_EQ(Send(LinkText(5, "1,7,8", 0)), refused) << "on the way back, too";
  EXPECT_EQ(Links(), "5:9");

  // The evidence manager understands the reply.
  CEvidenceManager manager(nullptr);
  std::list<Evidence::ErrorPtr> failures;
  EXPECT_FALSE(manager.APILinkFile(failures, {1, 7}, 6, CEvidenceManager::kLinkFiles));
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures.front()->id, 7);
  EXPECT_EQ(Links(), "5:9 6:1");

  module_.Stop();
  installation_->WriteSettings(R"({"RefusedFileIDs":9})");
  ASSERT_TRUE(module_.Start());
  EXPECT_EQ(Send(LinkText(6, "7,8")), kDone) << "the settings of the last start hold";
}

TEST_F(LinkFileTest, CallsOnTheSameFilesDoNotStandInEachOthersWay) {
  ASSERT_TRUE(module_.Start());
  std::atomic<int> failed{0};
  std::vector<std::jthread> callers;
  for (int caller = 0; caller < 4; ++caller) {
    callers.emplace_back([&failed, caller] {
      for (int round = 0; round < 50; ++round) {
        const std::string files = caller % 2 == 0 ? "1,2,3,4,5,6,7,8" : "8,7,6,5,4,3,2,1";
        if (Send(LinkText(5, files, (caller / 2 + round) % 2)) != kDone) ++failed;
      }
    });
  }
  callers.clear();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM filemanager.link"), "8");
}

TEST_F(LinkFileTest, StartsOnceAndNotWithSettingsThatCannotBeUsed) {
  for (const auto& [text, reason] : std::vector<std::pair<std::string, std::string>>{
           {"", "cannot be read, or is empty"},
           {"{", "no JSON"},
           {R"({"RefusedFileIDs":[1,-2]})", "entry 2 of RefusedFileIDs is no file id"},
           {R"({"Connections":0})", "Connections must be 1 to 1000"},
           {R"({"Connections":1001})", "Connections must be 1 to 1000"}}) {
    installation_->WriteSettings(text);
    EXPECT_FALSE(module_.Start()) << text;
    EXPECT_TRUE(log_->Has(6, "FileManager.json: " + reason)) << text;
    EXPECT_EQ(Send(LinkText(5, "1")), "no reply") << text;
    log_->Clear();
  }
  installation_->WriteSettings(R"({"Connections":1000})");
  ASSERT_TRUE(module_.Start());
  CFileManagerModule second;
  EXPECT_FALSE(second.Start());
  second.Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kDone) << "the second one's end reached the first one";
}

}  // namespace
}  // namespace evidence_test
