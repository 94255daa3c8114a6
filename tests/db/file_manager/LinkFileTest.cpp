// The file manager as another plugin meets it: over the bus between plugins, on a real PostgreSQL.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "FileManagerModule.h"
#include "RealBackends.h"
#include "support/Eventually.h"
#include "support/ScratchFolder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using FileManager::CFileManagerModule;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;

const std::string kDone = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";
const std::string kUnreadable = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":1}})";
const std::string kNotStored = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":2}})";

/// Below the folder of the executable, which is the working one without a host.
constexpr char kSettingsFile[] = "META_INFO/filemanager.s/runtime_script/FileManager.json";

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
  LinkFileTest() {
    fs::current_path(folder_.path());
    fs::copy(FILE_MANAGER_RUNTIME, folder_.path(), fs::copy_options::recursive);
    Postgres().Query("DELETE FROM filemanager.link");
  }
  ~LinkFileTest() override {
    module_.Stop();
    fs::current_path(testing::TempDir());
  }

  bool StartWith(const std::string& settings) {
    folder_.Write(kSettingsFile, settings);
    return module_.Start();
  }
  /// The reply's text; "no reply" when the call failed on the bus.
  static std::string Send(const std::string& text) {
    std::shared_ptr<IPluginCommData> response;
    const auto request = std::make_shared<CPluginCommData>(text, nullptr, 0);
    const auto comm = plugin_comm::IPluginCommManager::Instance();
    if (!comm->Request(response, "/API/FileManager/V1/LinkFile", request, "")) return "no reply";
    return std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt();
  }

  const ScratchFolder folder_;
  platform::ScopedBackend<plugin_comm::IPluginCommManager> comm_slot_{platform::MakePluginCommManager()};
  platform::ScopedBackend<kelp::IDBManager> db_slot_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  CFileManagerModule module_;
};

TEST_F(LinkFileTest, LinksAndTakesBackAsOftenAsAskedAndNoneOfAFailedCall) {
  ASSERT_TRUE(module_.Start());
  Postgres().Query("ALTER TABLE filemanager.link ADD CONSTRAINT trouble CHECK (file_id <> 13)");
  const std::vector<std::array<std::string, 3>> calls{
      {LinkText(5, "3,1,2,1"), kDone, "5:1 5:2 5:3"},
      {LinkText(6, "1"), kDone, "5:1 5:2 5:3 6:1"},
      {LinkText(5, "1,2,3"), kDone, "5:1 5:2 5:3 6:1"},
      {LinkText(5, "1,3,99", 0), kDone, "5:2 6:1"},
      {LinkText(5, "3,2147483647"), kDone, "5:2 5:3 5:2147483647 6:1"},
      {LinkText(0, "0,13,14"), kNotStored, "5:2 5:3 5:2147483647 6:1"},
      {LinkText(0, "0,14"), kDone, "0:0 0:14 5:2 5:3 5:2147483647 6:1"}};
  for (const auto& [request, reply, links] : calls) {
    EXPECT_EQ(Send(request), reply) << request;
    EXPECT_EQ(Links(), links) << request;
  }
  Postgres().Query("ALTER TABLE filemanager.link DROP CONSTRAINT trouble");
  EXPECT_EQ(Postgres().Query("SELECT file_id FROM filemanager.link WHERE update_time > create_time ORDER BY file_id"),
            (Rows{{"1"}, {"3"}}))
      << "only a change is dated";
  Postgres().Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kNotStored);
  module_.Stop();
  EXPECT_FALSE(module_.Start()) << "without its database";
  Postgres().Start();
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

TEST_F(LinkFileTest, ACallWithARefusedFileNamesItAndChangesNothing) {
  ASSERT_TRUE(StartWith(R"({"RefusedFileIDs":[7, "8", 100]})"));
  const std::string refused =
      R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":[{"ID":7},{"ID":8}],)"
      R"("LinkFileError":[{"ID":7,"Name":"","Error":{"ErrorModule":31,"ErrorCode":3}},)"
      R"({"ID":8,"Name":"","Error":{"ErrorModule":31,"ErrorCode":3}}]}}})";
  EXPECT_EQ(Send(LinkText(5, "9,8,1,7")), refused);
  EXPECT_EQ(Links(), "") << "the caller takes the call for one that failed";
  EXPECT_EQ(Send(LinkText(5, "1,9")), kDone) << "the others, sent again";
  EXPECT_EQ(Send(LinkText(5, "8,7")), refused) << "without any other";
  EXPECT_EQ(Send(LinkText(5, "1,7,8", 0)), refused) << "on the way back, too";
  EXPECT_EQ(Links(), "5:1 5:9");

  module_.Stop();
  ASSERT_TRUE(StartWith(R"({"RefusedFileIDs":9})"));
  EXPECT_EQ(Send(LinkText(6, "7,8")), kDone) << "the settings of the last start hold";
}

TEST_F(LinkFileTest, CallsOnTheSameFilesDoNotBlockEachOther) {
  ASSERT_TRUE(module_.Start());
  std::vector<std::jthread> callers;
  for (int caller = 0; caller < 4; ++caller) {
    callers.emplace_back([caller] {
      const std::string files = caller % 2 == 0 ? "1,2,3,4,5,6,7,8" : "8,7,6,5,4,3,2,1";
      for (int round = 0; round < 50; ++round)
        EXPECT_EQ(Send(LinkText(5, files, (caller / 2 + round) % 2)), kDone);
    });
  }
}

TEST_F(LinkFileTest, WhatIsGivenUpIsNotDoneLater) {
  ASSERT_TRUE(StartWith(R"({"DeadlineSeconds":1})"));
  EXPECT_EQ(Send(LinkText(5, "1")), kDone);
  const Session other(Postgres().OwnerConnection());
  other.Query("BEGIN; LOCK TABLE filemanager.link");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Send(LinkText(5, "1,2")), kNotStored);
  EXPECT_EQ(Send(LinkText(5, "1", 0)), kNotStored);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << "not after the limits of the role";
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM pg_locks WHERE NOT granted"), "0") << "nothing waits to be done";
  other.Query("ROLLBACK");
  EXPECT_EQ(Links(), "5:1");
}

/// Ends the file manager's connections that wait for `event` in a commit; whether there was one.
bool Cut(const std::string& event) {
  return !Postgres()
              .Query(
                  "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE usename = 'evidence_app' AND "
                  "query = 'COMMIT' AND wait_event = '" +
                  event + "'")
              .empty();
}

TEST_F(LinkFileTest, ACommitWhoseEndIsUnknownIsLookedUp) {
  // The commit waits for a standby that is not there: it is done by then, though its caller is not told.
  Postgres().Query("ALTER ROLE evidence_app SET synchronous_commit = on");
  Postgres().Query("ALTER SYSTEM SET synchronous_standby_names = 'nobody'");
  Postgres().Query("SELECT pg_reload_conf()");
  ASSERT_TRUE(module_.Start());
  // The server heeds the setting a moment later: until then a commit ends by itself.
  std::atomic<int> cuts = 0;
  std::jthread cutter([&cuts](const std::stop_token& stop) {
    while (!stop.stop_requested())
      cuts += Cut("SyncRep") ? 1 : 0;
  });
  for (int operation = 1; cuts < 2; operation = 1 - operation) {
    EXPECT_EQ(Send(LinkText(5, "1,2", operation)), kDone) << operation;
    EXPECT_EQ(Links(), operation == 1 ? "5:1 5:2" : "");
  }
  cutter = {};
  Postgres().Query("ALTER SYSTEM RESET synchronous_standby_names");
  Postgres().Query("SELECT pg_reload_conf()");
  EXPECT_EQ(Send(LinkText(5, "1,2", 0)), kDone);
  Postgres().Query("ALTER ROLE evidence_app RESET synchronous_commit");
  // A commit that waits before it is done.
  Postgres().Query(
      "CREATE FUNCTION filemanager.linger() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN PERFORM pg_sleep(60); RETURN "
      "NULL; END $$; CREATE CONSTRAINT TRIGGER linger AFTER INSERT OR UPDATE ON filemanager.link DEFERRABLE INITIALLY "
      "DEFERRED FOR EACH ROW EXECUTE FUNCTION filemanager.linger()");
  {
    const std::jthread last_cutter([] { EXPECT_TRUE(Eventually([] { return Cut("PgSleep"); })); });
    EXPECT_EQ(Send(LinkText(6, "3")), kNotStored);
  }
  EXPECT_EQ(Links(), "");
  Postgres().Query("DROP FUNCTION filemanager.linger() CASCADE");
}

TEST_F(LinkFileTest, StartsOnceAndNotWithSettingsThatCannotBeUsed) {
  for (const char* const settings :
       {"", "{", R"({"RefusedFileIDs":[1,-2]})", R"({"Connections":1001})", R"({"DeadlineSeconds":0})"})
    EXPECT_FALSE(StartWith(settings)) << settings;
  EXPECT_EQ(Send(LinkText(5, "1")), "no reply");
  ASSERT_TRUE(StartWith("{}"));
  CFileManagerModule second;
  EXPECT_FALSE(second.Start());
  second.Stop();
  EXPECT_EQ(Send(LinkText(5, "1")), kDone) << "the second one's end reached the first one";
}

}  // namespace
}  // namespace evidence_test
