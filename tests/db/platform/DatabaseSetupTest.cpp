#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <stdexcept>

#include "DatabaseSetup.h"
#include "support/BesideTables.h"
#include "support/Eventually.h"
#include "support/ScratchFolder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A database and a copy of the scripts of each test's own.
class DatabaseSetupTest : public testing::Test {
 protected:
  DatabaseSetupTest() {
    fs::copy(ThrowawayPostgres::Scripts(), folder_);
    MakeDatabase("");
  }

  static void MakeDatabase(const std::string& options) {
    Postgres().Query("DROP DATABASE IF EXISTS own WITH (FORCE)");
    Postgres().Query("CREATE DATABASE own " + options);
  }
  platform::SetupResult Apply() const { return platform::SetUpDatabase(owner_, folder_); }
  Rows Query(const std::string& sql) const { return Session(owner_).Query(sql); }

  const std::string owner_ = Postgres().ConnectionTo("own", "postgres");
  const ScratchFolder scratch_;
  const std::string& folder_ = scratch_.path();
};

TEST_F(DatabaseSetupTest, CallsThatMeetTakeTurnsAndALaterOneFindsNothingToDo) {
  auto other = std::async(std::launch::async, [this] { return Apply(); });
  const auto first = Apply();
  const auto second = other.get();
  EXPECT_EQ(first.fault + second.fault, "");
  EXPECT_EQ(first.applied + second.applied, first.version) << "the scripts are numbered from 1 without a gap";
  EXPECT_EQ(Apply().applied, 0);
  EXPECT_EQ(Query("SELECT FROM platform.system WHERE guid ~ '^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$'").size(), 1U);
  EXPECT_EQ(Query("SELECT string_agg(id || name || deleted, ' ' ORDER BY id) FROM evidence.evidence_type UNION ALL "
                  "SELECT string_agg(id || name || types || deleted, ' ' ORDER BY id) FROM evidence.evidence_custom "
                  "UNION ALL SELECT id || address || deleted FROM evidence.ftp_setting UNION ALL "
                  "SELECT string_agg(sequencename || nextval('evidence.' || sequencename), ' ' ORDER BY sequencename) "
                  "FROM pg_sequences WHERE schemaname = 'evidence'"),
            (Rows{{"00 10 20 30 40 50"},
                  {"110 200 300"},
                  {"00"},
                  {"evidence_custom_id_seq6 evidence_custom_info_id_seq1 evidence_file_id_seq1000000001 "
                   "evidence_id_seq1 evidence_option_id_seq1 evidence_outcome_id_seq1 evidence_scense_id_seq1 "
                   "evidence_type_id_seq6 operation_log_id_seq1"}}));
}

TEST_F(DatabaseSetupTest, AFailureNamesTheFaultAndLeavesTheDatabaseAsItWas) {
  const auto expect_fault = [this](const std::string& fault) {
    EXPECT_THAT(Apply().fault, HasSubstr(fault));
    EXPECT_EQ(Query("SELECT 1 FROM pg_namespace WHERE nspname IN ('platform', 'evidence')"), Rows()) << fault;
  };
  scratch_.Write("900_broken.sql", "CREATE TABLE evidence.extra (a integer); SELECT 1/0;");
  expect_fault("900_broken.sql: 22012");
  MakeDatabase("ENCODING 'SQL_ASCII' LC_CTYPE 'C' TEMPLATE template0");
  expect_fault("SQL_ASCII");
  MakeDatabase("LC_CTYPE 'C' TEMPLATE template0");
  expect_fault("LC_CTYPE");
  scratch_.Write("003_twin.sql", "SELECT 1;");
  expect_fault("two scripts");
  fs::remove_all(folder_);
  expect_fault(folder_);
}

TEST_F(DatabaseSetupTest, AnOlderSchemaWithDataComesUpToDateWithoutLosingARowAndNeverGoesBack) {
  for (const auto& entry : fs::directory_iterator(ThrowawayPostgres::Scripts())) {
    const auto name = entry.path().filename();
    if (name > "003") fs::remove(fs::path(folder_) / name);
  }
  EXPECT_THAT(Apply().fault, HasSubstr("every_setup.sql: cannot be read"));
  scratch_.Write("every_setup.sql", "SELECT 1");
  ASSERT_EQ(Apply().version, 2);
  Query(R"(
    INSERT INTO evidence.evidence (id, guid, cad_id) SELECT n, n, repeat('it''s', n) FROM generate_series(1, 999) n;
    INSERT INTO evidence.evidence_type (id, name) VALUES (nextval('evidence.evidence_type_id_seq'), 'own');
    UPDATE evidence.evidence_type SET name = 'renamed' WHERE id = 2;
    INSERT INTO evidence.evidence_file (id, evidence_id) VALUES (1, 1), (1, 1), (1, 2);
    INSERT INTO evidence.operation_log (id, evidence_id) VALUES (-1, 1), (-1, 1);
    UPDATE evidence.ftp_setting SET address = 'kept';
    INSERT INTO platform.users (name, password_hash, super_user, enabled) VALUES ('a', 'h1', true, true), ('b', 'h2', false, false);
    INSERT INTO platform.permissions (user_id, kind, code, granted) VALUES (1, 1, 7, true), (2, 3, 43, true), (2, 3, 44, false))");
  // The columns of today: a later script may add one.
  const auto columns = Query(
      "SELECT string_agg(column_name, ', ') FROM information_schema.columns WHERE "
      "(table_schema, table_name) = ('evidence', 'evidence')")[0][0];
  const std::string contents =
      "SELECT (SELECT md5(string_agg(row(" + columns +
      ")::text, '' ORDER BY id)) FROM evidence.evidence), "
      "(SELECT count(*) FROM evidence.evidence_file), (SELECT count(*) FROM evidence.operation_log), "
      "(SELECT address FROM evidence.ftp_setting), "
      "(SELECT string_agg(name, ',' ORDER BY id) FROM evidence.evidence_type), guid, "
      "(SELECT string_agg(concat(id, name, password_hash, super_user, enabled, created_at), ',' ORDER BY id) "
      "FROM platform.users), (SELECT string_agg(p::text, ',' ORDER BY p::text) FROM platform.permissions p) "
      "FROM platform.system";
  const auto before = Query(contents);
  fs::copy(ThrowawayPostgres::Scripts(), folder_, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  scratch_.Write("900_more.sql", "CREATE TABLE evidence.extra (a integer);");
  const auto upgraded = Apply();
  EXPECT_EQ(upgraded.fault, "");
  EXPECT_EQ(upgraded.version, 900);
  EXPECT_EQ(Query(contents), before);
  EXPECT_EQ(Query("SELECT nextval('evidence.evidence_type_id_seq')"), (Rows{{"7"}}));
  EXPECT_EQ(Query("SELECT count(*) FROM platform.users WHERE NOT must_change_password AND session_epoch = 0 UNION ALL "
                  "SELECT count(*) FROM platform.user_permissions"),
            (Rows{{"2"}, {"2"}}));
  EXPECT_EQ(Query("SELECT strict FROM filemanager.site"), (Rows{{"f"}})) << "its clients link files that lie elsewhere";
  EXPECT_EQ(Postgres().Query("SELECT strict FROM filemanager.site"), (Rows{{"t"}})) << "a new site";
  const Session app(Postgres().ConnectionTo("own", "evidence_app"));
  app.Query("INSERT INTO evidence.extra VALUES (1); UPDATE evidence.extra SET a = 2");
  EXPECT_THROW(app.Query("DELETE FROM evidence.extra"), std::runtime_error);
  fs::remove(folder_ + "/900_more.sql");
  EXPECT_THAT(Apply().fault, HasSubstr("version 900"));
}

TEST_F(DatabaseSetupTest, EachCallBringsBackRightsAndSettingsAndKeepsWhatAnOperatorSet) {
  for (const auto& entry : fs::directory_iterator(folder_)) {
    if (entry.path().filename() == "every_setup.sql") fs::rename(entry.path(), folder_ + "/kept");
  }
  scratch_.Write("every_setup.sql", "SELECT 1");
  ASSERT_EQ(Apply().fault, "");
  const auto numbered = Query(kSqlBeside);
  fs::rename(folder_ + "/kept", folder_ + "/every_setup.sql");
  ASSERT_EQ(Apply().fault, "");
  auto whole = Query(kSqlBeside);
  EXPECT_EQ(whole.size(), numbered.size() + 10);
  for (const auto& row : numbered)
    EXPECT_THAT(whole, testing::Contains(row)) << "the numbered scripts leave it otherwise";
  EXPECT_THAT(whole, testing::IsSupersetOf(Rows{{"app client_connection_check_interval=5s"},
                                                {"app lock_timeout=30s"},
                                                {"app statement_timeout=30s"},
                                                {"app jit=off"},
                                                {"app cpu_tuple_cost=0.05"}}));
  Query(
      "DROP OWNED BY evidence_app; GRANT DELETE ON evidence.operation_log TO evidence_app; ALTER DATABASE own RESET "
      "ALL; ALTER ROLE evidence_app IN DATABASE own RESET ALL");
  ASSERT_NE(Query(kSqlBeside), whole);
  const auto again = Apply();
  EXPECT_EQ(again.fault, "");
  EXPECT_THAT(again.remarks, testing::IsEmpty());
  EXPECT_EQ(Query(kSqlBeside), whole);
  Query(
      "ALTER ROLE evidence_app IN DATABASE own SET lock_timeout = '7s'; ALTER DATABASE own SET jit = on; "
      "ALTER ROLE evidence_app IN DATABASE own RESET jit");
  const auto set = Query(kSqlBeside);
  ASSERT_EQ(Apply().fault, "");
  EXPECT_EQ(Query(kSqlBeside), set);
}

TEST_F(DatabaseSetupTest, WhatFormerScriptsSetOutsideTheRoleIsTakenBackAndTheOperatorsIsNot) {
  const std::string former =
      "SELECT procost FROM pg_proc WHERE oid = 'texticlike(text, text)'::regprocedure UNION ALL "
      "SELECT count(*) FROM pg_db_role_setting, unnest(setconfig) WHERE setrole = 0 AND "
      "setdatabase = (SELECT oid FROM pg_database WHERE datname = 'own')";
  for (const auto& entry : fs::directory_iterator(ThrowawayPostgres::Scripts())) {
    const auto name = entry.path().filename();
    if (name > "009") fs::remove(fs::path(folder_) / name);
  }
  scratch_.Write("every_setup.sql", "SELECT 1");
  ASSERT_EQ(Apply().version, 8);
  ASSERT_EQ(Query(former), (Rows{{"200"}, {"4"}}));
  Query("ALTER DATABASE own SET jit = on");
  fs::copy(ThrowawayPostgres::Scripts(), folder_, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  ASSERT_EQ(Apply().fault, "");
  EXPECT_EQ(Query(former), (Rows{{"1"}, {"1"}}));
  EXPECT_THAT(Query(kSqlBeside), testing::Contains(Rows::value_type{"jit=on"}));
  EXPECT_THAT(Query(kSqlBeside), testing::Not(testing::Contains(Rows::value_type{"app jit=off"})));
}

TEST_F(DatabaseSetupTest, AnOwnerWithoutTheRightsIsToldAndTimeLimitsDoNotHoldASetUp) {
  Query(
      "DO $$ BEGIN CREATE ROLE owner LOGIN; EXCEPTION WHEN duplicate_object THEN NULL; END $$; "
      "ALTER DATABASE own OWNER TO owner; ALTER ROLE owner IN DATABASE own SET statement_timeout = 1");
  const std::string owner = Postgres().ConnectionTo("own", "owner");
  const auto done = platform::SetUpDatabase(owner, folder_);
  EXPECT_EQ(done.fault, "");
  EXPECT_THAT(done.remarks, testing::SizeIs(10));
  EXPECT_THAT(done.remarks, testing::Each(HasSubstr("superuser runs: ALTER ROLE evidence_app IN DATABASE own SET ")));
  ASSERT_EQ(Apply().fault, "") << "a superuser's";
  EXPECT_THAT(platform::SetUpDatabase(owner, folder_).remarks, testing::IsEmpty());
}

/// What the scripts made, as the application meets it.
class SchemaTest : public testing::Test {
 protected:
  void SetUp() override { Postgres().Query("DELETE FROM evidence.evidence; DELETE FROM evidence.operation_log"); }

  static std::string Insert(int id, const std::string& columns, const std::string& values) {
    return "INSERT INTO evidence.evidence (ID, " + columns + ") VALUES (" + std::to_string(id) + ", " + values + ")";
  }
  /// Why the server refuses `sql`; "" when it does not.
  static std::string Fault(const Session& session, const std::string& sql) {
    try {
      session.Query(sql);
      return {};
    } catch (const std::runtime_error& fault) {
      return fault.what();
    }
  }
  std::string Fault(const std::string& sql) const { return Fault(app_, sql); }

  const Session app_{Postgres().AppConnection()};
};

TEST_F(SchemaTest, TheApplicationHasItsLeastRights) {
  app_.Query("INSERT INTO evidence.evidence (ID) VALUES (1); UPDATE evidence.evidence SET deleted = 1");
  app_.Query("INSERT INTO evidence.operation_log (ID) VALUES (-1), (-1); SELECT FROM evidence.operation_log");
  app_.Query("INSERT INTO platform.operation_log (log_type) VALUES (306020)");
  for (const char* const refused :
       {// Rows.
        "DELETE FROM evidence.evidence", "TRUNCATE evidence.evidence", "DELETE FROM evidence.operation_log",
        "UPDATE evidence.operation_log SET user_name = 'x'", "UPDATE platform.operation_log SET user_name = 'x'",
        "DELETE FROM platform.users", "DELETE FROM platform.devices", "DELETE FROM filemanager.link",
        "INSERT INTO platform.camera_list VALUES (true, 1)", "UPDATE platform.system SET guid = 'x'",
        "UPDATE platform.key_check SET value = 'x'", "UPDATE platform.users SET name = 'x'",
        "UPDATE platform.users SET created_at = now()", "INSERT INTO platform.users (id, name) VALUES (7, 'x')",
        "UPDATE platform.permissions SET user_id = 1", "UPDATE platform.user_roles SET role = 'administrator'",
        "INSERT INTO platform.role_permissions VALUES ('operator', 3, 43)", "UPDATE platform.roles SET name = 'x'",
        "UPDATE platform.account_change SET revision = 0", "UPDATE platform.auth_event SET user_name = 'x'",
        "DELETE FROM platform.auth_event", "DELETE FROM platform.user_roles",
        "UPDATE platform.request_log SET user_name = 'x'", "DELETE FROM platform.request_log",
        "TRUNCATE platform.request_log", "SELECT FROM platform.request_log_rest",
        "INSERT INTO platform.schema_version VALUES (9)", "SELECT FROM evidence.evidence_outsize",
        "INSERT INTO evidence.evidence_ordinary (ID) VALUES (1)",
        // Sequences and objects.
        "SELECT setval('evidence.evidence_id_seq', 1)", "CREATE TABLE evidence.mine (a integer)",
        "CREATE TABLE public.mine (a integer)", "CREATE SCHEMA mine", "CREATE ROLE mine",
        "CREATE TABLE filemanager.mine (a integer)"})
    EXPECT_THAT(Fault(refused), HasSubstr("permission denied")) << refused;
}

TEST_F(SchemaTest, TheLogOfRequestsHasThisMonthAndAYearAndRefusesNoTime) {
  app_.Query(
      "INSERT INTO platform.request_log SELECT time::timestamptz, 1, 1, '', '', '', '', '', '', '{}', '{}', 200, NULL, "
      "NULL, 0, 0 FROM unnest(ARRAY['1970-01-01', '9999-12-31', now()::text, (now() + '1 year')::text]) AS time");
  EXPECT_EQ(app_.Query("SELECT tableoid::regclass::text = 'platform.request_log_' || to_char(answered_at AT TIME ZONE "
                       "'UTC', 'YYYY_MM'), tableoid = 'platform.request_log_rest'::regclass "
                       "FROM platform.request_log ORDER BY answered_at"),
            (Rows{{"f", "t"}, {"t", "f"}, {"t", "f"}, {"f", "t"}}));
  // A month whose rows are in the rest gets no partition by a later set-up, which succeeds.
  const auto month = Postgres().Value("SELECT to_char(now() + '1 year', 'YYYY_MM')");
  Postgres().Query("DROP TABLE platform.request_log_" + month);
  app_.Query(
      "INSERT INTO platform.request_log SELECT now() + '1 year', 1, 1, '', '', '', '', '', '', '{}', '{}', 200, "
      "NULL, NULL, 0, 0");
  Postgres().SetUp();
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM pg_tables WHERE tablename = 'request_log_" + month + "'"), "0");
  Postgres().Query("DELETE FROM platform.request_log");
  Postgres().SetUp();
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM pg_tables WHERE tablename = 'request_log_" + month + "'"), "1");
}

TEST_F(SchemaTest, EachChangeOfUsersPermissionsAndRolesIsARevision) {
  const auto revision = [] { return std::stoi(Postgres().Value("SELECT revision FROM platform.account_change")); };
  int expected = revision();
  for (const char* const change :
       {"INSERT INTO platform.users (name, password_hash) VALUES ('revised', 'h')",
        "UPDATE platform.users SET enabled = true WHERE name = 'revised'",
        "INSERT INTO platform.permissions SELECT id, 1, 7 FROM platform.users WHERE name = 'revised'",
        "UPDATE platform.permissions SET granted = false WHERE code = 7",
        "INSERT INTO platform.user_roles SELECT id, 'custodian' FROM platform.users WHERE name = 'revised'",
        "UPDATE platform.user_roles SET granted = false"}) {
    app_.Query(change);
    EXPECT_EQ(revision(), ++expected) << change;
  }
  for (const char* const change :
       {"UPDATE platform.role_permissions SET code = code", "UPDATE platform.roles SET description = description",
        "DELETE FROM platform.user_roles", "DELETE FROM platform.permissions",
        "DELETE FROM platform.users WHERE name = 'revised'"}) {
    Postgres().Query(change);
    EXPECT_EQ(revision(), ++expected) << change;
  }
}

TEST_F(SchemaTest, NoIndexRefusesATextThatTheRulesAccept) {
  // Random characters of four bytes: no compression brings a long text below the size at which an index refuses it.
  const auto characters = [](int count) {
    return "(SELECT string_agg(chr(65536 + floor(random() * 60000)::integer), '') FROM generate_series(1, " +
           std::to_string(count) + "))";
  };
  int id = 0;
  for (const auto& row : app_.Query("SELECT column_name FROM information_schema.columns WHERE data_type = 'text' AND "
                                    "table_schema = 'evidence' AND table_name = 'evidence'")) {
    const std::string& column = row[0];
    // The rules hold two columns to 64 characters.
    for (const int length : column == "guid" || column == "name" ? std::vector{64} : std::vector{250, 900, 5000}) {
      EXPECT_EQ(Fault(Insert(++id, column, characters(length))), "") << column << length;
      app_.Query("UPDATE evidence.evidence SET deleted = 1");
    }
  }
  EXPECT_GT(id, 30);
  // The longest texts of the indexes fit together, too.
  const std::string three = characters(250) + ", " + characters(250) + ", " + characters(250);
  EXPECT_EQ(Fault(Insert(0, "evidence_begin_time, evidence_end_time, cad_id", three)), "");
}

TEST_F(SchemaTest, AGuidIsUniqueAmongLiveRowsOfAnyLength) {
  const auto insert = [](int id, const std::string& guid) { return Insert(id, "guid", "'" + guid + "'"); };
  const auto insert_long = [](int id, const std::string& guid) {
    return Insert(id, "guid, cad_id", "'" + guid + "', repeat('x', 9000)");
  };
  const std::string kChange = "UPDATE evidence.evidence SET ";
  const std::vector<std::pair<std::string, bool>> steps{
      {insert(1, "S"), true},
      {insert_long(2, "L"), true},
      {insert(3, "S3"), true},
      {insert(9, "S"), false},
      {insert_long(9, "S"), false},
      {insert(9, "L"), false},
      {insert_long(9, "L"), false},
      {insert_long(1, "new"), false},
      {kChange + "guid = 'L' WHERE ID = 1", false},
      {kChange + "guid = 'S', cad_id = repeat('x', 9000) WHERE ID = 3", false},
      // A row that changes sides is not its own twin, and a deleted one frees its guid until it is to live again.
      {kChange + "guid = 'S', cad_id = repeat('x', 9000) WHERE ID = 1", true},
      {kChange + "deleted = 1 WHERE ID = 1", true},
      {insert(4, "S"), true},
      {kChange + "deleted = 0 WHERE ID = 1", false}};
  for (const auto& [sql, taken] : steps)
    EXPECT_EQ(Fault(sql).empty(), taken) << sql;
}

/// Writers of the guid "both" that meet, each on a connection of its own.
class TwinsTest : public SchemaTest {
 protected:
  static constexpr char kOrdinary[] = "INSERT INTO evidence.evidence (ID, guid) VALUES (5, 'both')";
  static constexpr char kOutsize[] =
      "INSERT INTO evidence.evidence (ID, guid, cad_id) VALUES (6, 'both', repeat('x', 9000))";

  /// Why `sql` is refused that is sent while `first` is not yet committed; "" when it is done.
  std::string FaultBehind(const std::string& first, const std::string& sql) {
    app_.Query("BEGIN; " + first);
    auto second = std::async(std::launch::async, [&sql] { return Fault(Session(Postgres().AppConnection()), sql); });
    EXPECT_TRUE(Eventually([&] {
      return second.wait_for(std::chrono::seconds(0)) == std::future_status::ready ||
             !Postgres().Query("SELECT FROM pg_locks WHERE NOT granted").empty();
    }));
    app_.Query("COMMIT");
    return second.get();
  }
};

TEST_F(TwinsTest, TheSecondOfTwoWaitsForTheFirstAndIsRefused) {
  const std::string there = "INSERT INTO evidence.evidence (ID, guid) VALUES (7, 'both')";
  const std::string move = "UPDATE evidence.evidence SET cad_id = repeat('x', 9000) WHERE ID = 7";
  const std::string free = "UPDATE evidence.evidence SET deleted = 1 WHERE ID = 7";
  const std::string rename = "UPDATE evidence.evidence SET guid = 'both' WHERE ID = 8";
  struct Meeting {
    std::string before, first, second;
    bool refused;
  };
  for (const auto& [before, first, second, refused] :
       std::vector<Meeting>{{"", kOrdinary, kOutsize, true},
                            {"", kOutsize, kOrdinary, true},
                            {"", kOutsize, kOutsize, true},
                            {Insert(8, "guid", "'other'"), kOutsize, rename, true},
                            {Insert(8, "guid", "'other'"), rename, kOutsize, true},
                            {there, move, kOrdinary, true},
                            {there, move, kOutsize, true},
                            {there, free, kOrdinary, false}}) {
    SCOPED_TRACE(first + " / " + second);
    Postgres().Query("DELETE FROM evidence.evidence");
    if (!before.empty()) app_.Query(before);
    EXPECT_EQ(FaultBehind(first, second).empty(), !refused);
    EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence WHERE guid = 'both' AND deleted = 0"), "1");
  }
}

TEST_F(TwinsTest, ALoadTakesFewLocksAndHoldsUpLongRowsOnly) {
  app_.Query(
      "BEGIN; INSERT INTO evidence.evidence (ID, guid) SELECT n, 'load ' || n FROM generate_series(100, 3000) n");
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'"), "64");
  const std::string bounded = "SET lock_timeout = '50ms'; ";
  const Session other(Postgres().AppConnection());
  EXPECT_EQ(Fault(other, bounded + kOrdinary), "");
  EXPECT_THAT(Fault(other, bounded + kOutsize), HasSubstr("lock timeout"));
  app_.Query("COMMIT");
  EXPECT_THAT(Fault(other, "BEGIN ISOLATION LEVEL REPEATABLE READ; " + Insert(9, "guid", "'late'")),
              HasSubstr("read committed"))
      << "its snapshot lacks a twin that it has waited for";
}

}  // namespace
}  // namespace evidence_test
