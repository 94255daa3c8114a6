#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "RealBackends.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::LogRecorder;
using evidence_test::Postgres;
using kelp::IDBManager;
using kelp::IDBResultSet;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int kClass = IDBManager::kConfigClass;

class DBManagerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { Postgres().Query("CREATE TABLE public.notes (id integer UNIQUE, note text)"); }
  static void TearDownTestSuite() { Postgres().Query("DROP TABLE public.notes"); }

  void SetUp() override {
    Postgres().Query("DELETE FROM public.notes");
    ASSERT_TRUE(manager_->Initialize("plugin", 1, 1, true));
  }

  bool Execute(const std::string& sql) { return manager_->ExecuteNoQuery("plugin", kClass, sql); }
  bool ExecuteList(const std::list<std::string>& sqls) { return manager_->ExecuteNoQueryList("plugin", kClass, sqls); }
  bool Query(const std::string& sql, const IDBManager::RowReader& reader) {
    return manager_->ExecuteQuery("plugin", kClass, sql, reader);
  }
  /// The first value of the first row; "none" when there is no row, "failed" when the call failed.
  std::string First(const std::string& sql, const std::string& column) {
    std::string value = "none";
    const bool done = Query(sql, [&](IDBResultSet* rows) {
      if (!rows->IsEof()) value = rows->GetString(column);
    });
    return done ? value : "failed";
  }
  static std::string Kept() {
    return Postgres().Value("SELECT coalesce(string_agg(note, ',' ORDER BY id), '') FROM notes");
  }

  const std::shared_ptr<IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().OwnerConnection()});
};

TEST_F(DBManagerTest, ColumnsAreFoundWithoutCaseAndOddValuesReadAsZero) {
  int calls = 0;
  ASSERT_TRUE(Query(R"(SELECT 7 AS "Id", 'x' AS name, NULL::text AS nothing, count(*) AS many, 2147483648 AS wide,
                       -2147483648 AS least, '12a' AS odd, '' AS blank)",
                    [&](IDBResultSet* row) {
                      ++calls;
                      ASSERT_FALSE(row->IsEof());
                      EXPECT_EQ(row->GetInt("ID"), 7);
                      EXPECT_EQ(row->GetInt("id"), 7);
                      EXPECT_EQ(row->GetString("NAME"), "x");
                      EXPECT_EQ(row->GetInt("nothing"), 0);
                      EXPECT_EQ(row->GetString("nothing"), "");
                      EXPECT_EQ(row->GetInt("Many"), 1);
                      EXPECT_EQ(row->GetInt("wide"), 0);
                      EXPECT_EQ(row->GetString("wide"), "2147483648");
                      EXPECT_EQ(row->GetInt("least"), -2147483647 - 1);
                      EXPECT_EQ(row->GetInt("odd"), 0);
                      EXPECT_EQ(row->GetInt("blank"), 0);
                      EXPECT_EQ(row->GetInt("absent"), 0);
                      EXPECT_EQ(row->GetString("absent"), "");
                      EXPECT_EQ(row->GetIntByIndex(0), 7);
                      EXPECT_EQ(row->GetIntByIndex(-1), 0);
                      EXPECT_EQ(row->GetIntByIndex(8), 0);
                      for (int step = 0; step < 2; ++step) {
                        row->Next();
                        EXPECT_TRUE(row->IsEof());
                        EXPECT_EQ(row->GetInt("id"), 0);
                        EXPECT_EQ(row->GetString("name"), "");
                      }
                    }));
  EXPECT_EQ(calls, 1);
}

TEST_F(DBManagerTest, TheLastResultOfATextIsRead) {
  EXPECT_EQ(First("SELECT 1 AS a; SELECT 2 AS a", "a"), "2");
  EXPECT_EQ(First("SELECT 1 AS a; INSERT INTO notes VALUES (1, 'one')", "a"), "none");
  EXPECT_EQ(First("INSERT INTO notes VALUES (2, 'two'); SELECT note FROM notes WHERE id = 2;", "note"), "two");
  EXPECT_EQ(First("", "a"), "none");
  EXPECT_EQ(First(" ; -- nothing", "a"), "none");
  EXPECT_TRUE(Execute(""));
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerTest, ATextIsDoneAsAWhole) {
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (1, 'a');INSERT INTO notes VALUES (2, 'b');"));
  EXPECT_FALSE(Execute("INSERT INTO notes VALUES (3, 'c'); INSERT INTO notes VALUES (1, 'again')"));
  bool read = false;
  EXPECT_FALSE(Query("UPDATE notes SET note = 'z'; SELECT 1/0", [&](IDBResultSet*) { read = true; }));
  EXPECT_FALSE(read);
  EXPECT_EQ(Kept(), "a,b");
}

TEST_F(DBManagerTest, AListIsDoneAsAWhole) {
  EXPECT_TRUE(ExecuteList({"INSERT INTO notes VALUES (1, 'a') -- first", "", "INSERT INTO notes VALUES (2, 'b')"}));
  EXPECT_TRUE(ExecuteList({}));
  EXPECT_TRUE(ExecuteList({"", ""}));
  EXPECT_FALSE(ExecuteList({"INSERT INTO notes VALUES (3, 'c')", "INSERT INTO notes VALUES (1, 'again')"}));
  EXPECT_FALSE(ExecuteList({"INSERT INTO notes VALUES (4, 'd')", std::string("SELECT '\0'", 10)}));
  EXPECT_FALSE(ExecuteList({"ROLLBACK", "INSERT INTO notes VALUES (5, 'e')"}));
  EXPECT_EQ(Kept(), "a,b");
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (6, 'f')"));
  EXPECT_EQ(Kept(), "a,b,f");
}

TEST_F(DBManagerTest, AnOpenTransactionIsUndoneBeforeTheNextCaller) {
  EXPECT_FALSE(Execute("BEGIN; INSERT INTO notes VALUES (1, 'open')"));
  EXPECT_FALSE(Execute("BEGIN; SELECT 1/0"));
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (2, 'next')"));
  EXPECT_EQ(Kept(), "next");
}

TEST_F(DBManagerTest, ATextWithNulIsRefusedAndNeverSentCut) {
  EXPECT_FALSE(Execute(std::string("INSERT INTO notes VALUES (1, 'a'); --\0 cut", 42)));
  EXPECT_FALSE(Query(std::string("SELECT 1\0", 9), [](IDBResultSet*) { FAIL(); }));
  EXPECT_EQ(Kept(), "");
}

TEST_F(DBManagerTest, AReaderMayThrowAndMayUseTheDatabase) {
  EXPECT_FALSE(Query("SELECT 1", [](IDBResultSet*) { throw std::runtime_error("reader"); }));
  EXPECT_FALSE(Query("SELECT 1", [](IDBResultSet*) { throw 1; }));
  // The pool has one connection, so this would wait for itself if the reader held it.
  std::string inner;
  EXPECT_TRUE(Query("SELECT 1", [&](IDBResultSet*) { inner = First("SELECT 'inner' AS a", "a"); }));
  EXPECT_EQ(inner, "inner");
}

TEST_F(DBManagerTest, ACopyNeitherHangsNorHalfSucceeds) {
  EXPECT_FALSE(Execute("INSERT INTO notes VALUES (1, 'a'); COPY notes FROM STDIN"));
  EXPECT_EQ(Kept(), "");
  EXPECT_EQ(First("COPY (SELECT generate_series(1, 100000)) TO STDOUT; SELECT 'after' AS a", "a"), "after");
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (2, 'b')"));
  EXPECT_EQ(Kept(), "b");
}

TEST_F(DBManagerTest, TextsAreTracedAndFailuresNamedWithoutThem) {
  const auto recorder = std::make_shared<LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> sink(recorder);
  platform::SetLogThreshold(1);
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (1, '100%s')"));
  EXPECT_FALSE(Execute("SELECT 'private' FROM missing"));
  EXPECT_TRUE(ExecuteList({"DELETE FROM notes"}));
  platform::SetLogThreshold(3);
  EXPECT_TRUE(Execute("SELECT 'untraced'"));
  EXPECT_THAT(recorder->Texts(1, "db_layer"),
              ElementsAre("INSERT INTO notes VALUES (1, '100%s')", "SELECT 'private' FROM missing", "BEGIN",
                          "DELETE FROM notes", "COMMIT"));
  EXPECT_THAT(recorder->Texts(5, "db_layer"),
              ElementsAre(testing::AllOf(HasSubstr("42P01"), HasSubstr("missing"), Not(HasSubstr("private")))));
}

TEST_F(DBManagerTest, TheConnectionStringIsHonouredAndTheSessionIsAlwaysTheSame) {
  const auto manager = platform::MakePostgresDBManager(
      {.connection = Postgres().OwnerConnection() +
                     " application_name=mine client_encoding=LATIN1 options='-c standard_conforming_strings=off -c "
                     "TimeZone=Asia/Tokyo -c DateStyle=German -c statement_timeout=54321'"});
  ASSERT_TRUE(manager->Initialize("plugin", 1, 1, true));
  std::vector<std::string> values;
  EXPECT_TRUE(manager->ExecuteQuery(
      "plugin", kClass,
      "SELECT name, setting FROM pg_settings WHERE name IN ('application_name', 'client_encoding', 'DateStyle', "
      "'standard_conforming_strings', 'statement_timeout', 'TimeZone') ORDER BY lower(name)",
      [&](IDBResultSet* rows) {
        for (; !rows->IsEof(); rows->Next())
          values.push_back(rows->GetString("setting"));
      }));
  EXPECT_THAT(values, ElementsAre("mine", "UTF8", "ISO, YMD", "on", "54321", "UTC"));
  EXPECT_EQ(First("SHOW application_name", "application_name"), "evidence");
}

}  // namespace
