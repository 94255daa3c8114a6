#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "RealBackends.h"
#include "support/Eventually.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Eventually;
using evidence_test::Postgres;
using evidence_test::Session;
using kelp::IDBManager;
using kelp::IDBResultSet;
using testing::ElementsAre;
using namespace std::string_literals;

constexpr int kClass = IDBManager::kConfigClass;

class DBManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query("CREATE TABLE public.notes (id integer UNIQUE, note text); CREATE SEQUENCE public.sends");
    ASSERT_TRUE(manager_->Initialize("plugin", 1, 1, true));
  }
  void TearDown() override { Postgres().Query("DROP TABLE public.notes; DROP SEQUENCE public.sends"); }

  bool Execute(const std::string& sql) { return manager_->ExecuteNoQuery("plugin", kClass, sql); }
  /// The first value of the first row; "none" when there is no row, "failed" when the call failed.
  std::string First(const std::string& sql, const std::string& column) {
    std::string value = "none";
    const bool done = manager_->ExecuteQuery("plugin", kClass, sql, [&](IDBResultSet* rows) {
      if (!rows->IsEof()) value = rows->GetString(column);
    });
    return done ? value : "failed";
  }

  const std::shared_ptr<IDBManager> manager_ = platform::MakePostgresDBManager(
      {.connection = Postgres().OwnerConnection() +
                     " application_name=pool client_encoding=LATIN1 options='-c "
                     "standard_conforming_strings=off -c TimeZone=Asia/Tokyo -c DateStyle=German'",
       .acquire_timeout = std::chrono::milliseconds(500)});
};

TEST_F(DBManagerTest, ColumnsAreFoundWithoutCaseAndOddValuesReadAsZero) {
  std::vector<std::string> texts;
  std::vector<int> numbers;
  const auto read = [&](IDBResultSet* row) {
    for (const char* const column : {"ID", "NAME", "nothing", "wide", "least", "odd", "absent"}) {
      texts.push_back(row->GetString(column));
      numbers.push_back(row->GetInt(column));
    }
  };
  ASSERT_TRUE(manager_->ExecuteQuery("plugin", kClass,
                                     R"(SELECT 7 AS "Id", 'x' AS name, NULL::text AS nothing, 2147483648 AS wide,
                                        -2147483648 AS least, '12a' AS odd)",
                                     [&](IDBResultSet* row) {
                                       read(row);
                                       numbers.insert(numbers.end(), {row->GetIntByIndex(0), row->GetIntByIndex(6)});
                                       row->Next();
                                       row->Next();
                                       EXPECT_TRUE(row->IsEof());
                                       EXPECT_EQ(row->GetString("name"), "");
                                     }));
  EXPECT_THAT(texts, ElementsAre("7", "x", "", "2147483648", "-2147483648", "12a", ""));
  EXPECT_THAT(numbers, ElementsAre(7, 0, 0, 0, -2147483647 - 1, 0, 0, 7, 0));
}

TEST_F(DBManagerTest, TextsAndListsAreDoneAsAWhole) {
  struct Step {
    std::list<std::string> texts;
    bool done;
    const char* kept;
  };
  const std::string one = "INSERT INTO notes VALUES (1, 'a');";
  const std::vector<Step> texts{
      {{one + "INSERT INTO notes VALUES (2, 'b')"}, true, "ab"},
      {{"INSERT INTO notes VALUES (3, 'c');" + one}, false, "ab"},
      {{"UPDATE notes SET note = 'z'; SELECT 1/0"}, false, "ab"},
      // What is open is undone before the next caller.
      {{"BEGIN; INSERT INTO notes VALUES (4, 'open')"}, false, "ab"},
      // A copy would wait for ever; a NUL would cut the text.
      {{"INSERT INTO notes VALUES (5, 'e'); COPY notes FROM STDIN"}, false, "ab"},
      {{"DELETE FROM notes; --\0 cut"s}, false, "ab"},
      {{"COPY notes TO STDOUT; DELETE FROM notes WHERE id = 2"}, true, "a"},
      {{"INSERT INTO notes VALUES (6, 'f') -- first", "", "INSERT INTO notes VALUES (7, 'g')"}, true, "afg"},
      {{"", ""}, true, "afg"},
      {{"INSERT INTO notes VALUES (8, 'h')", one}, false, "afg"},
      {{"INSERT INTO notes VALUES (9, 'i')", "SELECT '\0'"s}, false, "afg"},
      {{"ROLLBACK", "INSERT INTO notes VALUES (10, 'j')"}, false, "afg"},
      {{"DELETE FROM notes WHERE id = 7"}, true, "af"}};
  for (const auto& [sqls, done, kept] : texts) {
    const std::string& first = sqls.front();
    EXPECT_EQ(sqls.size() == 1 ? Execute(first) : manager_->ExecuteNoQueryList("plugin", kClass, sqls), done) << first;
    EXPECT_EQ(Postgres().Value("SELECT string_agg(note, '' ORDER BY id) FROM notes"), kept) << first;
  }
}

TEST_F(DBManagerTest, TheLastResultOfATextIsRead) {
  EXPECT_EQ(First("SELECT 1 AS a; SELECT 2 AS a", "a"), "2");
  EXPECT_EQ(First("SELECT 1 AS a; INSERT INTO notes VALUES (1, 'one')", "a"), "none");
  EXPECT_EQ(First("", "a"), "none");
  EXPECT_FALSE(manager_->ExecuteQuery("plugin", kClass, "SELECT 1", [](IDBResultSet*) { throw 1; }));
  // The pool has one connection, so this would wait for itself if the reader held it.
  std::string inner;
  EXPECT_TRUE(manager_->ExecuteQuery("plugin", kClass, "SELECT 1",
                                     [&](IDBResultSet*) { inner = First("SELECT 'inner' AS a", "a"); }));
  EXPECT_EQ(inner, "inner");
}

TEST_F(DBManagerTest, TextsAreTracedAndFailuresNamedWithoutThem) {
  const auto recorder = std::make_shared<evidence_test::LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> sink(recorder);
  platform::SetLogThreshold(1);
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (1, '100%s')"));
  platform::SetLogThreshold(3);
  EXPECT_FALSE(Execute("SELECT 'private' FROM missing"));
  EXPECT_THAT(recorder->Texts(1, "db_layer"), ElementsAre("INSERT INTO notes VALUES (1, '100%s')"));
  EXPECT_THAT(recorder->Texts(5, "db_layer"),
              ElementsAre("Database failure: 42P01: relation \"missing\" does not exist"));
}

TEST_F(DBManagerTest, TheConnectionStringIsHonouredAndTheSessionIsAlwaysTheSame) {
  EXPECT_EQ(First("SELECT string_agg(setting, ' ' ORDER BY lower(name)) AS a FROM pg_settings WHERE name IN "
                  "('application_name', 'client_encoding', 'DateStyle', 'standard_conforming_strings', 'TimeZone')",
                  "a"),
            "pool UTF8 ISO, YMD on UTC");
}

TEST_F(DBManagerTest, ALostConnectionIsRenewedAndNoTextIsSentTwice) {
  const std::string process = First("SELECT pg_backend_pid() AS process", "process");
  ASSERT_EQ(Postgres().Value("SELECT pg_terminate_backend(" + process + ", 20000)"), "t");
  EXPECT_TRUE(Execute("SELECT 1")) << "it was closed while nobody used it";
  // A drawn number stays drawn when all else is undone, so the sequence counts the sends.
  EXPECT_FALSE(Execute("SELECT nextval('sends'); SELECT pg_terminate_backend(pg_backend_pid()); SELECT pg_sleep(60)"));
  EXPECT_EQ(Postgres().Value("SELECT last_value FROM public.sends"), "1");
  EXPECT_TRUE(Execute("SELECT 1"));
  Postgres().Stop();
  EXPECT_FALSE(Execute("SELECT 1"));
  Postgres().Start();
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerTest, CallersWaitNoLongerThanTheBoundAndTheEndWaitsForNone) {
  const Session gate(Postgres().OwnerConnection());
  gate.Query("SELECT pg_advisory_lock(1)");
  auto running = std::async(std::launch::async, [this] { return Execute("SELECT pg_advisory_xact_lock(1)"); });
  ASSERT_TRUE(Eventually(
      [&] { return gate.Query("SELECT 1 FROM pg_locks WHERE locktype = 'advisory' AND NOT granted").size() == 1; }));
  EXPECT_FALSE(Execute("SELECT 1"));
  EXPECT_TRUE(manager_->ExecuteNoQuery("plugin", IDBManager::kLogClass, "SELECT 1")) << "classes do not share";
  manager_->UnInitialize("plugin");
  EXPECT_FALSE(Execute("SELECT 1"));
  gate.Query("SELECT pg_advisory_unlock(1)");
  EXPECT_TRUE(running.get()) << "a running text is let finish";
  EXPECT_TRUE(
      Eventually([&] { return gate.Query("SELECT 1 FROM pg_stat_activity WHERE application_name = 'pool'").empty(); }));
  ASSERT_TRUE(manager_->Initialize("plugin", 1, 1, true));
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerTest, InitializeRefusesWhatCannotWork) {
  const auto away = platform::MakePostgresDBManager({.connection = "host=/nonexistent dbname=evidence"});
  EXPECT_FALSE(away->Initialize("plugin", 1, 1, true));
  EXPECT_FALSE(away->ExecuteNoQuery("plugin", kClass, ""));
  EXPECT_FALSE(manager_->Initialize("other", 0, 1, true));
  EXPECT_FALSE(manager_->Initialize("other", 1, 2147483647, true));
  EXPECT_FALSE(manager_->Initialize("plugin", 1, 1, true)) << "it stands already";
  EXPECT_FALSE(manager_->ExecuteNoQuery("plugin", 3, "SELECT 1"));
  EXPECT_FALSE(manager_->ExecuteNoQuery("other", kClass, "SELECT 1"));
}

}  // namespace
