#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <stdexcept>

#include "DatabaseLock.h"
#include "RealBackends.h"
#include "platform/Call.h"
#include "platform/LongStatements.h"
#include "platform/Memory.h"
#include "platform/SmallRows.h"
#include "support/AuthenticationStub.h"
#include "support/Eventually.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {

// Of NoMemory.cpp.
extern thread_local std::size_t no_memory_from;
extern thread_local bool memory_was_refused;

namespace {

using kelp::IDBManager;
using kelp::IDBResultSet;
using TarnPlatform::Authentication::CUserSession;
using TarnPlatform::IncreResource::CIncreResourceStructInterface;
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
  bool Query(const std::string& sql, const IDBManager::RowReader& reader) {
    return manager_->ExecuteQuery("plugin", kClass, sql, reader);
  }
  /// The value "a" of the first row; "none" when there is no row, "failed" when the call failed.
  std::string First(const std::string& sql) {
    std::string value = "none";
    const bool done = Query(sql, [&](IDBResultSet* rows) {
      if (!rows->IsEof()) value = rows->GetString("a");
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
  std::string read;
  EXPECT_TRUE(Query(R"(SELECT 7 AS "Id", 'x' AS name, NULL::text AS nothing, 2147483648 AS wide, -2147483648 AS least,
                       '12a' AS odd)",
                    [&](IDBResultSet* row) {
                      for (int step = 0; step < 2; ++step, row->Next()) {
                        for (const char* const column : {"ID", "NAME", "nothing", "wide", "least", "odd", "absent"})
                          read += row->GetString(column) + "=" + std::to_string(row->GetInt(column)) + " ";
                        read += std::to_string(row->GetIntByIndex(0)) + (row->IsEof() ? " end" : "; ");
                      }
                    }));
  EXPECT_EQ(read, "7=7 x=0 =0 2147483648=0 -2147483648=-2147483648 12a=0 =0 7; =0 =0 =0 =0 =0 =0 =0 0 end");
}

TEST_F(DBManagerTest, TextsAndListsAreDoneAsAWhole) {
  const std::string one = "INSERT INTO notes VALUES (1, 'a');";
  const std::vector<std::tuple<std::list<std::string>, bool, const char*>> texts{
      {{one + "INSERT INTO notes VALUES (2, 'b')"}, true, "ab"},
      {{"INSERT INTO notes VALUES (3, 'c');" + one}, false, "ab"},
      // What is open is undone before the next caller.
      {{"BEGIN; INSERT INTO notes VALUES (4, 'open')"}, false, "ab"},
      // A copy would wait for ever; a NUL would cut the text.
      {{"INSERT INTO notes VALUES (5, 'e'); COPY notes FROM STDIN"}, false, "ab"},
      {{"DELETE FROM notes; --\0 cut"s}, false, "ab"},
      {{"COPY notes TO STDOUT; DELETE FROM notes WHERE id = 2"}, true, "a"},
      {{"INSERT INTO notes VALUES (6, 'f') -- first", "", "INSERT INTO notes VALUES (7, 'g')"}, true, "afg"},
      {{"INSERT INTO notes VALUES (8, 'h')", one}, false, "afg"},
      {{"INSERT INTO notes VALUES (9, 'i')", "SELECT '\0'"s}, false, "afg"},
      {{"ROLLBACK", "INSERT INTO notes VALUES (10, 'j')"}, false, "afg"},
      {{"DELETE FROM notes WHERE id = 7"}, true, "af"},
      {{"-- nothing"}, true, "af"}};
  for (const auto& [sqls, done, kept] : texts) {
    const std::string& first = sqls.front();
    EXPECT_EQ(sqls.size() == 1 ? Execute(first) : manager_->ExecuteNoQueryList("plugin", kClass, sqls), done) << first;
    EXPECT_EQ(Postgres().Value("SELECT string_agg(note, '' ORDER BY id) FROM notes"), kept) << first;
  }
}

TEST_F(DBManagerTest, TheLastResultOfATextIsRead) {
  EXPECT_EQ(First("SELECT 1 AS a; SELECT 2 AS a"), "2");
  EXPECT_EQ(First("SELECT 1 AS a; INSERT INTO notes VALUES (1, 'one')"), "none");
  EXPECT_EQ(First(""), "none");
  EXPECT_FALSE(Query("SELECT 1", [](IDBResultSet*) { throw 1; }));
  // The pool has one connection, so this would wait for itself if the reader held it.
  std::string inner;
  EXPECT_TRUE(Query("SELECT 1", [&](IDBResultSet*) { inner = First("SELECT 'inner' AS a"); }));
  EXPECT_EQ(inner, "inner");
}

TEST_F(DBManagerTest, RowsAreCountedAndAChangeGivesThemBack) {
  using platform::Call;
  for (const auto kind : {Call::Kind::kReads, Call::Kind::kWrites}) {
    platform::MemoryBudget budget;
    platform::MemoryShare memory("a", budget);
    Call call(kind, "a", &memory);
    const platform::CallScope scope(call);
    EXPECT_EQ(First("SELECT repeat('x', 1000000) AS a").size(), 1'000'000);
    EXPECT_GT(memory.peak(), 4'900'000) << "the row and what is made of it";
    EXPECT_EQ(memory.held() > 1'900'000, kind == Call::Kind::kReads) << "its records stay until the answer is made";
    EXPECT_LT(memory.held(), 2'100'000);
  }
}

TEST_F(DBManagerTest, SmallRowsArriveAtOnceAndAreCounted) {
  const platform::SmallRows small_rows;
  std::string all;
  EXPECT_TRUE(
      Query("SELECT 'x' AS a; SELECT n AS a, 'b' || n AS b FROM generate_series(1, 3) AS n", [&](IDBResultSet* rows) {
        for (; !rows->IsEof(); rows->Next())
          all += rows->GetString("B") + '=' + std::to_string(rows->GetInt("a")) + ' ';
      }));
  EXPECT_EQ(all, "b1=1 b2=2 b3=3 ");
  EXPECT_EQ(First("SELECT 1 AS a WHERE false"), "none");
  platform::MemoryBudget budget;
  platform::MemoryShare memory("a", budget);
  platform::Call call(platform::Call::Kind::kReads, "a", &memory);
  const platform::CallScope scope(call);
  EXPECT_EQ(First("SELECT repeat('x', 1000) AS a FROM generate_series(1, 1000)").size(), 1000);
  EXPECT_GT(memory.peak(), 2'000'000);
}

TEST_F(DBManagerTest, ALongStatementHasItsTimeAndLeavesTheConnectionAsItWas) {
  const std::string limit = "SELECT current_setting('statement_timeout') AS a";
  const std::string insert = "INSERT INTO notes VALUES (1, 'a'); ";
  EXPECT_EQ(First(limit), "0");
  {
    const platform::LongStatements long_statements;
    EXPECT_EQ(First(insert + limit), "10min");
    EXPECT_FALSE(Execute(insert)) << "a key that is there";
    EXPECT_EQ(Postgres().Value("SELECT note FROM notes WHERE id = 1"), "a") << "committed";
  }
  EXPECT_EQ(First(limit), "0");
}

TEST_F(DBManagerTest, AFailureIsNamedWithoutTheTextAndItsValues) {
  const auto recorder = std::make_shared<LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> sink(recorder);
  EXPECT_FALSE(Execute("SELECT 'private' FROM missing"));
  EXPECT_EQ(recorder->Lines().at(0).text, "Database failure: 42P01: relation \"missing\" does not exist");
}

TEST_F(DBManagerTest, AMessageOfTheServerThatFindsNoMemoryIsLostAlone) {
  const auto recorder = std::make_shared<LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> sink(recorder);
  no_memory_from = 500'000;
  EXPECT_TRUE(Execute("DO $$ BEGIN RAISE NOTICE '%', repeat('x', 1000000); END $$")) << "the text itself was done";
  no_memory_from = SIZE_MAX;
  EXPECT_TRUE(memory_was_refused);
  EXPECT_TRUE(recorder->Has(4, "A message of the server was lost: ")) << recorder->Lines().size();
  EXPECT_EQ(First("SELECT 'served' AS a"), "served") << "the connection is in order";
}

TEST_F(DBManagerTest, TheConnectionStringIsHonouredAndTheSessionIsAlwaysTheSame) {
  EXPECT_EQ(First("SELECT string_agg(setting, ' ' ORDER BY lower(name)) AS a FROM pg_settings WHERE name IN "
                  "('application_name', 'client_encoding', 'DateStyle', 'standard_conforming_strings', 'TimeZone')"),
            "pool UTF8 ISO, YMD on UTC");
}

TEST_F(DBManagerTest, ALostConnectionIsRenewedAndNoTextIsSentTwice) {
  const std::string process = First("SELECT pg_backend_pid() AS a");
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

TEST_F(DBManagerTest, AChangeOfARowThatMovesMeanwhileIsDoneAfterTheMove) {
  Postgres().Query("DELETE FROM evidence.evidence; INSERT INTO evidence.evidence (ID, guid) VALUES (1, 'moved')");
  const Session mover(Postgres().OwnerConnection());
  for (const char* const cad_id : {"repeat('x', 2000)", "'x'"}) {
    mover.Query("BEGIN; UPDATE evidence.evidence SET label = cad_id, cad_id = "s + cad_id);
    auto later = std::async(std::launch::async, [this] {
      return Execute(
          "INSERT INTO notes VALUES (1, 'once'); UPDATE evidence.evidence SET name = name || '+' WHERE ID = 1");
    });
    ASSERT_TRUE(Eventually([&] { return mover.Query("SELECT FROM pg_locks WHERE NOT granted").size() == 1; }));
    mover.Query("COMMIT");
    EXPECT_TRUE(later.get());
    EXPECT_EQ(Postgres().Value("DELETE FROM public.notes RETURNING note"), "once");
  }
  EXPECT_EQ(Postgres().Value("SELECT name || length(label) || cad_id FROM evidence.evidence"), "++2000x");
}

TEST_F(DBManagerTest, ACrossedTextIsSentAgainWhileNothingOfItIsDone) {
  const auto crossed = [](int times, const std::string& condition = "serialization_failure") {
    return "DO $$ BEGIN IF nextval('sends') < " + std::to_string(times) + " THEN RAISE " + condition +
           "; END IF; END $$";
  };
  const std::string insert = "INSERT INTO notes VALUES (1, 'a'); ";
  const auto sends_of = [&](bool done, bool expected) {
    EXPECT_EQ(done, expected);
    std::string sends = Postgres().Value("SELECT last_value || ' ' || (SELECT count(*) FROM notes) FROM sends");
    Postgres().Query("TRUNCATE notes; ALTER SEQUENCE sends RESTART");
    return sends;
  };
  EXPECT_EQ(sends_of(Execute(insert + crossed(3)), true), "3 1");
  EXPECT_EQ(sends_of(Execute(insert + crossed(3, "deadlock_detected")), true), "3 1");
  {
    const platform::LongStatements long_statements;
    EXPECT_EQ(sends_of(Execute(insert + crossed(3)), true), "3 1");
  }
  EXPECT_EQ(sends_of(Execute("SELECT nextval('sends'); COMMIT; " + crossed(4)), false), "2 0") << "once is done";
  EXPECT_EQ(sends_of(Execute("SELECT nextval('sends'); " + insert + insert), false), "1 0") << "another failure";
  Execute(crossed(1000));
  EXPECT_EQ(Postgres().Value("SELECT last_value FROM sends"), "10");
}

TEST_F(DBManagerTest, CallersWaitNoLongerThanTheBoundAndTheEndWaitsForNone) {
  const Session gate(Postgres().OwnerConnection());
  gate.Query("SELECT pg_advisory_lock(1)");
  auto running = std::async(std::launch::async, [this] { return Execute("SELECT pg_advisory_xact_lock(1)"); });
  ASSERT_TRUE(Eventually([&] { return gate.Query("SELECT FROM pg_locks WHERE NOT granted").size() == 1; }));
  EXPECT_FALSE(Execute("SELECT 1"));
  EXPECT_TRUE(manager_->ExecuteNoQuery("plugin", IDBManager::kLogClass, "SELECT 1")) << "classes do not share";
  manager_->UnInitialize("plugin");
  EXPECT_FALSE(Execute(""));
  gate.Query("SELECT pg_advisory_unlock(1)");
  EXPECT_TRUE(running.get()) << "a running text is let finish";
  const auto connections = [&] { return gate.Query("SELECT FROM pg_stat_activity WHERE application_name = 'pool'"); };
  EXPECT_TRUE(Eventually([&] { return connections().empty(); }));
}

/// The files that this process has open.
std::set<int> OpenFiles() {
  std::set<int> files;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    files.insert(std::stoi(entry.path().filename()));
  std::erase_if(files, [](int file) { return fcntl(file, F_GETFD) < 0; });  // the folder's own
  return files;
}

/// Texts that wait for the advisory lock 1, which the test holds.
class CancelTest : public DBManagerTest {
 protected:
  static constexpr char kReads[] = "SELECT pg_advisory_xact_lock(1)";
  static constexpr char kWrites[] = "INSERT INTO notes SELECT 1 FROM pg_advisory_xact_lock(1)";

  CancelTest() { gate_.Query("SELECT pg_advisory_lock(1)"); }

  /// Runs `sql` for `call` on a thread of its own, to where it waits.
  std::future<bool> Start(platform::Call& call, const std::string& sql) {
    auto done = std::async(std::launch::async, [this, &call, sql] {
      const platform::CallScope scope(call);
      return Execute(sql);
    });
    EXPECT_TRUE(Eventually([&] { return gate_.Query("SELECT FROM pg_locks WHERE NOT granted").size() == 1; }));
    return done;
  }
  void OpenGate() const { gate_.Query("SELECT pg_advisory_unlock(1)"); }

  const Session gate_{Postgres().OwnerConnection()};
};

TEST_F(CancelTest, WhatACancelledCallReadsIsEndedAndRefusedAndWhatItWritesIsDone) {
  platform::Call call(platform::Call::Kind::kReads);
  auto reading = Start(call, kReads);
  call.Cancel();
  EXPECT_FALSE(reading.get()) << "and the gate is still closed";
  EXPECT_EQ(First("SELECT count(*) AS a FROM pg_stat_activity WHERE state = 'active' AND application_name = 'pool'"),
            "1");
  const platform::CallScope scope(call);
  EXPECT_EQ(First("SELECT nextval('sends') AS a"), "failed");
  EXPECT_EQ(Postgres().Value("SELECT is_called FROM public.sends"), "f") << "it was not sent";
  EXPECT_TRUE(Execute("INSERT INTO notes VALUES (1, 'a')"));
}

TEST_F(CancelTest, WhatWritesIsNotEnded) {
  for (const auto kind : {platform::Call::Kind::kReads, platform::Call::Kind::kWrites}) {
    platform::Call call(kind);
    auto writing = Start(call, kWrites);
    call.Cancel();
    OpenGate();
    EXPECT_TRUE(writing.get());
    EXPECT_EQ(Postgres().Value("SELECT count(*) FROM notes"), "1");
    Postgres().Query("DELETE FROM notes");
    gate_.Query("SELECT pg_advisory_lock(1)");
  }
}

TEST_F(CancelTest, AConnectionWhoseCancellationHangsIsNotUsedAgain) {
  const auto before = First("SELECT pg_backend_pid() AS a");
  platform::Call call(platform::Call::Kind::kReads);
  auto reading = Start(call, kReads);
  // The server accepts connections and does nothing with them.
  const pid_t server = std::stoi(Postgres().Value("SELECT pg_read_file('postmaster.pid', 0, 20)"));
  kill(server, SIGSTOP);
  const auto files = OpenFiles().size();
  EXPECT_TRUE(Eventually([server] {
    std::string state;
    std::ifstream stat("/proc/" + std::to_string(server) + "/stat");
    stat >> state >> state >> state;
    return state == "T";
  }));
  call.Cancel();
  EXPECT_TRUE(Eventually([&] { return OpenFiles().size() > files; })) << "the request has its connection";
  OpenGate();
  EXPECT_TRUE(reading.get()) << "the text itself ended as ever";
  kill(server, SIGCONT);
  EXPECT_NE(First("SELECT pg_backend_pid() AS a"), before);
}

TEST(DatabaseLockTest, ALockThatTheServerStillHoldsForTheLastConnectionIsNotAnothers) {
  const auto before = OpenFiles();
  platform::DatabaseLock lock(Postgres().AppConnection());
  ASSERT_EQ(lock.Take(), platform::DatabaseLock::State::kHeld);
  const pid_t holder = std::stoi(Postgres().Value("SELECT pid FROM pg_locks WHERE (classid, objid) = (711, 3)"));
  kill(holder, SIGSTOP);
  for (const int file : OpenFiles())
    if (!before.contains(file)) shutdown(file, SHUT_RDWR);
  EXPECT_FALSE(lock.IsKept(std::chrono::seconds(30)));
  EXPECT_EQ(lock.Take(), platform::DatabaseLock::State::kUnknown);
  EXPECT_EQ(lock.Fault(), "the server has not noticed the end of the last connection");
  kill(holder, SIGCONT);
  EXPECT_TRUE(Eventually([&lock] { return lock.Take() == platform::DatabaseLock::State::kHeld; }));
}

/// Knows the session "known".
struct OneSession final : AuthenticationStub {
  std::shared_ptr<CUserSession> FindSession(const std::string& session) override {
    return session == "known" ? std::make_shared<CUserSession>(7, "O'Brien\\", "10.0.0.7", 1) : nullptr;
  }
};

/// "method:id" of each change.
std::string ChangesAfter(std::uint32_t version, int source_type) {
  std::vector<std::shared_ptr<CIncreResourceStructInterface>> changes;
  if (!TarnPlatform::IncreResource::GetIncreResourceBySourceType(changes, version, source_type)) return "failed";
  std::string texts;
  for (const auto& change : changes)
    texts += std::to_string(change->GetValEnumMethodType()) + ":" + std::to_string(change->GetValIdResource()) + " ";
  return texts;
}

class PlatformTablesTest : public DBManagerTest {
 protected:
  PlatformTablesTest() {
    ResetTables();
    EXPECT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
  }

  const platform::ScopedBackend<IDBManager> database_{manager_};
  const std::shared_ptr<kelp::ISystemAndLogAPI> api_ = platform::MakeSystemAndLogApi();
};

TEST_F(PlatformTablesTest, ChangesAreReadAfterAVersionEachWhereItCameLast) {
  const platform::ScopedBackend<platform::IIncreResourceBackend> increments(platform::MakeIncreResourceBackend());
  constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
  EXPECT_TRUE(api_->AddIncreResouce(1, 9, 2));
  EXPECT_TRUE(api_->AddIncreResouce(2, 5, 1));
  EXPECT_TRUE(api_->AddIncreResouce(1, kLargest, 1));
  EXPECT_TRUE(api_->AddIncreResouce(1, 9, 2));
  EXPECT_FALSE(api_->AddIncreResouce(1, kLargest + 1, 0));
  EXPECT_EQ(ChangesAfter(0, 1), "1:9223372036854775807 2:9 ");
  EXPECT_EQ(ChangesAfter(3, 1), "2:9 ");
  EXPECT_EQ(ChangesAfter(0, 2), "1:5 ");
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(ChangesAfter(0, 1), "failed");
}

TEST_F(PlatformTablesTest, TheLogKeepsWhoDidWhatAndRefusesStrangers) {
  const platform::ScopedBackend<platform::IAuthenticationBackend> sessions(std::make_shared<OneSession>());
  const platform::ScopedBackend<platform::ILogBackend> log(platform::MakeLogBackend());
  TarnPlatform::Log::COperationLogStruct record;
  record.SetVallog_type(306017);
  record.SetValelement_name("it's 100%s");
  record.SetValdescription("back\\slash");
  EXPECT_TRUE(TarnPlatform::Log::WriteLog("known", record));
  EXPECT_TRUE(TarnPlatform::Log::WriteLog("", record));
  EXPECT_FALSE(TarnPlatform::Log::WriteLog("stranger", record));
  EXPECT_EQ(api_->WriteOperatorLog("known", 306019, 4294967296, "a\0b\xff"s, -1, "", 0, 9808), 0)
      << "what the database cannot hold is replaced, not refused";
  EXPECT_NE(api_->WriteOperatorLog("stranger", 306019, 1, "name", -1, "", 0, 15), 0);
  EXPECT_EQ(Postgres().Query("SELECT concat_ws('|', user_name, client_address, log_type, object_id, object_name, "
                             "description, main_code, sub_code) FROM platform.operation_log ORDER BY id"),
            (Rows{{"O'Brien\\|10.0.0.7|306017|-1|it's 100%s|back\\slash|0|0"},
                  {"||306017|-1|it's 100%s|back\\slash|0|0"},
                  {"O'Brien\\|10.0.0.7|306019|4294967296|a\uFFFD"
                   "b\uFFFD||0|9808"}}));
}

}  // namespace
}  // namespace evidence_test
