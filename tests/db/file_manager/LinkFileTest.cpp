// The file manager as another plugin meets it: over the bus between plugins, on a real PostgreSQL.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "FileManagerModule.h"
#include "KelpUtils/RapidJsonProto.h"
#include "OrvBase/Error.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using FileManager::CFileManagerModule;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using testing::HasSubstr;

const std::string kDone = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";
const std::string kUnreadable = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":1}})";
const std::string kNotStored = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":2}})";

/// A folder that stands for the executable's, with the settings file that is shipped.
class Installation final : public platform::ISystemBackend {
 public:
  Installation() : folder_((fs::temp_directory_path() / "file-manager-XXXXXX").string()) {
    if (!mkdtemp(folder_.data())) throw std::runtime_error("no temporary folder " + folder_);
    fs::copy(FILE_MANAGER_RUNTIME, folder_, fs::copy_options::recursive);
  }
  ~Installation() override { fs::remove_all(folder_); }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  [[nodiscard]] fs::path SettingsFile() const {
    return folder_ + "/META_INFO/filemanager.s/runtime_script/FileManager.json";
  }
  void WriteSettings(const std::string& text) const {
    ASSERT_TRUE(fs::exists(SettingsFile())) << "it is shipped under another name";
    std::ofstream(SettingsFile()) << text;
  }

  std::string SystemGuid() override { return {}; }
  bool ServerStandards(int&) override { return false; }
  std::string ExecutableDirectory() override { return folder_ + "/"; }
  std::string AESKey() override { return {}; }

 private:
  std::string folder_;
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
  static std::string Send(const std::shared_ptr<IPluginCommData>& request) {
    std::shared_ptr<IPluginCommData> response;
    const auto comm = plugin_comm::IPluginCommManager::Instance();
    if (!comm->Request(response, "/API/FileManager/V1/LinkFile", request, "")) return "no reply";
    return std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt();
  }
  static std::string Send(const std::string& text) { return Send(std::make_shared<CPluginCommData>(text, nullptr, 0)); }

  const std::shared_ptr<LogRecorder> log_ = std::make_shared<LogRecorder>();
  const std::shared_ptr<Installation> installation_ = std::make_shared<Installation>();
  platform::ScopedBackend<platform::ILogSink> log_slot_{log_};
  platform::ScopedBackend<platform::ISystemBackend> system_slot_{installation_};
  platform::ScopedBackend<plugin_comm::IPluginCommManager> comm_slot_{platform::MakePluginCommManager()};
  platform::ScopedBackend<kelp::IDBManager> db_slot_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  CFileManagerModule module_;
};

TEST_F(LinkFileTest, LinksAndTakesBackAsOftenAsAsked) {
  ASSERT_TRUE(module_.Start());
  EXPECT_EQ(Send(LinkText(5, "3,1,2,1")), kDone);
  EXPECT_EQ(Send(LinkText(6, "1")), kDone);
  EXPECT_EQ(Send(LinkText(0, "2147483647,0")), kDone);
  EXPECT_EQ(Links(), "0:0 0:2147483647 5:1 5:2 5:3 6:1");
  const auto before = Postgres().Query("SELECT * FROM filemanager.link ORDER BY 1, 2");
  EXPECT_EQ(Send(LinkText(5, "1,2,3")), kDone);
  EXPECT_EQ(Postgres().Query("SELECT * FROM filemanager.link ORDER BY 1, 2"), before);

  EXPECT_EQ(Send(LinkText(5, "1,3,99", 0)), kDone);
  EXPECT_EQ(Send(LinkText(5, "1,3,99", 0)), kDone);
  EXPECT_EQ(Links(), "0:0 0:2147483647 5:2 6:1");
  EXPECT_EQ(Send(LinkText(5, "3,4")), kDone);
  EXPECT_EQ(Links(), "0:0 0:2147483647 5:2 5:3 5:4 6:1");
  EXPECT_EQ(Postgres().Query("SELECT count(*), count(*) FILTER (WHERE update_time > create_time) FROM filemanager.link "
                             "WHERE evidence_id = 5"),
            (Rows{{"4", "2"}}))
      << "files 1 and 3 changed later";
}

TEST_F(LinkFileTest, WhatCannotBeReadChangesNothing) {
  ASSERT_TRUE(module_.Start());
  for (const std::string text : {R"()", R"(no json)", R"({})", R"([])", R"({"Request":7})", R"({"Request":{}})",
                                 R"({"LinkType":0,"ID":5,"FileIDs":"1","OperationType":1})",
                                 R"({"Request":{"ID":5,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":1,"ID":5,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":-1,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":4294967296,"FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":"5;","FileIDs":"1","OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":["1"],"OperationType":1}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":"1"}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":"1","OperationType":2}})",
                                 R"({"Request":{"LinkType":0,"ID":5,"FileIDs":"1","OperationType":-1}})"}) {
    EXPECT_EQ(Send(text), kUnreadable) << text;
  }
  for (const std::string file_ids : {"", ",", "1,", ",1", "1,,2", "1, 2", "-1", "-0", "+1", "1.0", "0x1", "1;2", "1'",
                                     "1)", "2147483648", "99999999999999999999", "1,2,x"}) {
    EXPECT_EQ(Send(LinkText(5, file_ids)), kUnreadable) << file_ids;
  }
  EXPECT_EQ(Send(std::shared_ptr<IPluginCommData>()), kUnreadable);
  EXPECT_EQ(Links(), "");
}

TEST_F(LinkFileTest, RefusedFilesAreNamedAndTheOthersLinked) {
  installation_->WriteSettings(R"({"RefusedFileIDs":[7, "8", 100]})");
  ASSERT_TRUE(module_.Start());
  const auto reply = Send(LinkText(5, "9,8,1,7"));
  EXPECT_EQ(Links(), "5:1 5:9");
  kelp::CRapidJsonProto answer;
  ASSERT_TRUE(answer.set_str(reply)) << reply;
  const std::string data = "/ResponseStatus/Data/";
  EXPECT_EQ(answer.get_int_v("/ResponseStatus/ErrorCode", -1), 0);
  EXPECT_EQ(answer.get_cnt(data + "LinkFileErrorList"), 2) << reply;
  EXPECT_EQ(answer.get_cnt(data + "LinkFileError"), 2) << reply;
  for (const int n : {1, 2}) {
    const auto entry = data + "LinkFileError[" + std::to_string(n) + "]/";
    EXPECT_EQ(answer.get_int_v(entry + "ID", -1), 6 + n);
    EXPECT_EQ(answer.get_v(entry + "Name", "absent"), "");
    EXPECT_EQ(answer.get_int_v(entry + "Error/ErrorModule", -1), 31);
    EXPECT_EQ(answer.get_int_v(entry + "Error/ErrorCode", -1), 3);
  }

  // A file alone, and on the way back too; neither touches the database.
  const std::string one =
      R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":[{"ID":7}],"LinkFileError":)"
      R"([{"ID":7,"Name":"","Error":{"ErrorModule":31,"ErrorCode":3}}]}}})";
  EXPECT_EQ(Send(LinkText(5, "7")), one);
  EXPECT_EQ(Send(LinkText(5, "1,7", 0)), one);
  EXPECT_EQ(Links(), "5:9");

  module_.Stop();
  installation_->WriteSettings(R"({"RefusedFileIDs":9})");
  ASSERT_TRUE(module_.Start());
  EXPECT_EQ(Send(LinkText(5, "7,8")), kDone);
  EXPECT_THAT(Send(LinkText(5, "9", 0)), HasSubstr(R"("LinkFileErrorList":[{"ID":9}])"));
  EXPECT_EQ(Links(), "5:7 5:8 5:9");
}

TEST_F(LinkFileTest, AFailedCallStoresNoneAndTheNextOneWorks) {
  ASSERT_TRUE(module_.Start());
  ASSERT_EQ(Send(LinkText(5, "2")), kDone);
  // The third row is refused behind two good ones.
  Postgres().Query("ALTER TABLE filemanager.link ADD CONSTRAINT trouble CHECK (file_id <> 3)");
  EXPECT_EQ(Send(LinkText(5, "1,3,4")), kNotStored);
  EXPECT_EQ(Links(), "5:2");
  Postgres().Query("ALTER TABLE filemanager.link DROP CONSTRAINT trouble");
  Postgres().Query("REVOKE UPDATE ON filemanager.link FROM evidence_app");
  EXPECT_EQ(Send(LinkText(5, "2", 0)), kNotStored);
  Postgres().Query("GRANT UPDATE ON filemanager.link TO evidence_app");
  EXPECT_EQ(Send(LinkText(5, "2", 0)), kDone);
  EXPECT_EQ(Links(), "");

  Postgres().Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kNotStored);
  EXPECT_TRUE(log_->Has(5, "The links of evidence 5 cannot be stored"));
  Postgres().Start();
  EXPECT_EQ(Send(LinkText(5, "1")), kDone);
  EXPECT_EQ(Links(), "5:1");
}

TEST_F(LinkFileTest, CallsOnTheSameFilesDoNotStandInEachOthersWay) {
  ASSERT_TRUE(module_.Start());
  std::atomic<int> failed{0};
  std::vector<std::thread> callers;
  for (int caller = 0; caller < 4; ++caller) {
    callers.emplace_back([&failed, caller] {
      for (int round = 0; round < 50; ++round) {
        const std::string files = caller % 2 == 0 ? "1,2,3,4,5,6,7,8" : "8,7,6,5,4,3,2,1";
        if (Send(LinkText(5, files, (caller / 2 + round) % 2)) != kDone) ++failed;
      }
    });
  }
  for (auto& caller : callers)
    caller.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM filemanager.link"), "8");
}

TEST_F(LinkFileTest, TheApplicationCanDeleteNoLink) {
  const Session application(Postgres().AppConnection());
  EXPECT_THROW(application.Query("DELETE FROM filemanager.link"), std::runtime_error);
  EXPECT_THROW(application.Query("CREATE TABLE filemanager.mine (a integer)"), std::runtime_error);
}

TEST_F(LinkFileTest, SettingsThatCannotBeUsedStopTheStart) {
  for (const auto& [text, reason] : std::vector<std::pair<std::string, std::string>>{
           {"", "cannot be read, or is empty"},
           {"{", "no JSON"},
           {R"({"RefusedFileIDs":[1,-2]})", "entry 2 of RefusedFileIDs is no file id"},
           {R"({"RefusedFileIDs":"1,2"})", "entry 1 of RefusedFileIDs is no file id"},
           {R"({"Connections":0})", "Connections must be 1 to 1000"},
           {R"({"Connections":"many"})", "Connections must be 1 to 1000"}}) {
    log_->Clear();
    installation_->WriteSettings(text);
    EXPECT_FALSE(module_.Start()) << text;
    EXPECT_TRUE(log_->Has(6, "FileManager.json: " + reason)) << text;
    EXPECT_EQ(Send(LinkText(5, "1")), "no reply") << text;
    module_.Stop();
  }
  fs::remove(installation_->SettingsFile());
  EXPECT_TRUE(module_.Start());
  EXPECT_EQ(Send(LinkText(5, "1")), kDone);
}

TEST_F(LinkFileTest, StartsOnlyWithItsPathAndItsDatabaseAndStopsCleanly) {
  CFileManagerModule second;
  ASSERT_TRUE(module_.Start());
  EXPECT_FALSE(second.Start());
  second.Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kDone) << "the second one's end reached the first one";
  module_.Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), "no reply");

  Postgres().Stop();
  EXPECT_FALSE(module_.Start());
  EXPECT_TRUE(log_->Has(6, "The database cannot be reached"));
  module_.Stop();
  Postgres().Start();
  EXPECT_TRUE(module_.Start());
}

/// Fails in a way that no database manager should.
class ThrowingDatabase final : public kelp::IDBManager {
 public:
  bool Initialize(const std::string&, int, int, bool) override { return true; }
  void UnInitialize(const std::string&) override {}
  bool ExecuteNoQuery(const std::string&, int, const std::string&) override { throw std::runtime_error("thrown"); }
  bool ExecuteNoQueryList(const std::string&, int, const std::list<std::string>&) override { return false; }
  bool ExecuteQuery(const std::string&, int, const std::string&, const RowReader&) override { return false; }
};

TEST_F(LinkFileTest, AnExceptionIsAnAnswerToo) {
  const platform::ScopedBackend<kelp::IDBManager> throwing(std::make_shared<ThrowingDatabase>());
  ASSERT_TRUE(module_.Start());
  EXPECT_EQ(Send(LinkText(5, "1")), R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":4}})");
  EXPECT_TRUE(log_->Has(5, "Unexpected exception: thrown"));
  module_.Stop();
}

TEST_F(LinkFileTest, TheEvidenceManagerUnderstandsItsReplies) {
  installation_->WriteSettings(R"({"RefusedFileIDs":[2]})");
  ASSERT_TRUE(module_.Start());
  Evidence::CEvidenceManager manager(nullptr);
  std::list<Evidence::ErrorPtr> failures;
  EXPECT_TRUE(manager.APILinkFile(failures, {1, 3}, 5, Evidence::CEvidenceManager::kLinkFiles));
  EXPECT_EQ(Links(), "5:1 5:3");
  EXPECT_TRUE(manager.APILinkFile(failures, {1}, 5, Evidence::CEvidenceManager::kUnlinkFiles));
  EXPECT_EQ(Links(), "5:3");
  EXPECT_FALSE(manager.APILinkFile(failures, {1, 2}, 6, Evidence::CEvidenceManager::kLinkFiles));
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures.front()->id, 2);
  EXPECT_NE(failures.front()->sub_code, 0);
  EXPECT_EQ(Links(), "5:3 6:1") << "the others are linked all the same";
  failures.clear();
  EXPECT_FALSE(manager.APILinkFile(failures, {}, 6, Evidence::CEvidenceManager::kLinkFiles));
  EXPECT_EQ(Orv::Base::Error::GetLastError().MainCode(), 31) << "the file manager's own pair";
  EXPECT_TRUE(failures.empty());
}

}  // namespace
}  // namespace evidence_test
