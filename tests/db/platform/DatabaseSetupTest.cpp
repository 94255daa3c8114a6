#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "DatabaseSetup.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace {

namespace fs = std::filesystem;
using evidence_test::Eventually;
using evidence_test::Postgres;
using evidence_test::Rows;
using evidence_test::Session;
using evidence_test::ThrowawayPostgres;
using platform::SetUpDatabase;
using testing::HasSubstr;

/// A database of one test's own.
class Database {
 public:
  explicit Database(const std::string& options = "") { Postgres().Query("CREATE DATABASE own " + options); }
  ~Database() { Postgres().Query("DROP DATABASE own WITH (FORCE)"); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  Rows Query(const std::string& sql) const { return Session(connection).Query(sql); }

  const std::string connection = Postgres().ConnectionTo("own", "postgres");
};

/// A copy of the scripts up to a number.
class Scripts {
 public:
  explicit Scripts(int last = 999) {
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
    for (const auto& entry : fs::directory_iterator(ThrowawayPostgres::Scripts())) {
      if (std::stoi(entry.path().filename()) <= last) fs::copy(entry.path(), folder);
    }
  }
  ~Scripts() { fs::remove_all(folder); }
  Scripts(const Scripts&) = delete;
  Scripts& operator=(const Scripts&) = delete;

  void Add(const std::string& name, const std::string& text) const { std::ofstream(folder + "/" + name) << text; }

  std::string folder = testing::TempDir() + "scripts-XXXXXX";
};

TEST(DatabaseSetupTest, CallsThatMeetTakeTurnsAndALaterOneFindsNothingToDo) {
  const Database database;
  const auto set_up = [&] { return SetUpDatabase(database.connection, ThrowawayPostgres::Scripts()); };
  auto other = std::async(std::launch::async, set_up);
  const auto first = set_up();
  const auto second = other.get();
  EXPECT_EQ(first.fault + second.fault, "");
  EXPECT_EQ(first.applied + second.applied, first.version) << "the scripts are numbered from 1 without a gap";
  EXPECT_EQ(set_up().applied, 0);
  EXPECT_THAT(
      database.Query("SELECT guid FROM platform.system"),
      testing::ElementsAre(testing::ElementsAre(testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"))));
  EXPECT_EQ(database.Query("SELECT string_agg(id || name || deleted, ' ' ORDER BY id) FROM evidence.evidence_type "
                           "UNION ALL "
                           "SELECT string_agg(id || name || types || deleted, ' ' ORDER BY id) FROM "
                           "evidence.evidence_custom UNION ALL "
                           "SELECT string_agg(id || address || deleted, ' ') FROM evidence.ftp_setting UNION ALL "
                           "SELECT string_agg(sequencename || ' ' || nextval('evidence.' || sequencename), ' ' ORDER "
                           "BY sequencename) FROM pg_sequences WHERE schemaname = 'evidence'"),
            (Rows{{"00 10 20 30 40 50"},
                  {"110 200 300"},
                  {"00"},
                  {"evidence_custom_id_seq 6 evidence_custom_info_id_seq 1 evidence_file_id_seq 1000000001 "
                   "evidence_id_seq 1 evidence_option_id_seq 1 evidence_outcome_id_seq 1 evidence_scense_id_seq 1 "
                   "evidence_type_id_seq 6 operation_log_id_seq 1"}}));
}

TEST(DatabaseSetupTest, AFailedSetUpNamesTheFaultAndLeavesTheDatabaseAsItWas) {
  struct Case {
    const char* database;
    const char* script;
    const char* text;
    const char* fault;
  };
  for (const auto& [options, script, text, fault] : std::vector<Case>{
           {"", "900_broken.sql", "CREATE TABLE evidence.a (a integer); SELECT 1/0", "900_broken.sql: 22012"},
           {"", "003_twin.sql", "SELECT 1;", "two scripts"},
           {"ENCODING 'SQL_ASCII' LC_CTYPE 'C' TEMPLATE template0", "900_more.sql", "SELECT 1", "SQL_ASCII"},
           {"LC_CTYPE 'C' TEMPLATE template0", "900_more.sql", "SELECT 1", "LC_CTYPE"}}) {
    const Database database(options);
    const Scripts scripts;
    scripts.Add(script, text);
    EXPECT_THAT(SetUpDatabase(database.connection, scripts.folder).fault, HasSubstr(fault));
    EXPECT_EQ(database.Query("SELECT 1 FROM pg_namespace WHERE nspname IN ('platform', 'evidence')"), Rows()) << fault;
  }
  EXPECT_THAT(SetUpDatabase(Postgres().OwnerConnection(), "/nonexistent").fault, HasSubstr("/nonexistent"));
  const std::string absent = Postgres().ConnectionTo("absent", "postgres");
  EXPECT_THAT(SetUpDatabase(absent, ThrowawayPostgres::Scripts()).fault, HasSubstr("absent"));
}

TEST(DatabaseSetupTest, AnOlderSchemaWithDataComesUpToDateWithoutLosingARowAndNeverGoesBack) {
  const Database database;
  ASSERT_EQ(SetUpDatabase(database.connection, Scripts(2).folder).fault, "");
  database.Query(
      "INSERT INTO evidence.evidence (id, guid, name) SELECT n, 'g' || n, 'it''s ' || n FROM generate_series(1, 1000) "
      "n;"
      "UPDATE evidence.evidence SET cad_id = repeat('x', 5000) WHERE id % 100 = 0;"
      "INSERT INTO evidence.evidence_type (id, name) VALUES (nextval('evidence.evidence_type_id_seq'), 'own');"
      "UPDATE evidence.evidence_type SET name = 'renamed' WHERE id = 2;"
      "INSERT INTO evidence.evidence_file (id, evidence_id) VALUES (1, 1), (1, 1), (1, 2);"
      "INSERT INTO evidence.operation_log (id, evidence_id) VALUES (-1, 1), (-1, 1);"
      "UPDATE evidence.ftp_setting SET address = 'kept'");
  const std::string contents =
      "SELECT (SELECT md5(string_agg(e::text, '' ORDER BY id)) FROM evidence.evidence e), (SELECT count(*) FROM "
      "evidence.evidence_file), (SELECT count(*) FROM evidence.operation_log), (SELECT address FROM "
      "evidence.ftp_setting), (SELECT string_agg(id || name, ',' ORDER BY id) FROM evidence.evidence_type), "
      "(SELECT guid FROM platform.system)";
  const auto before = database.Query(contents);
  const Scripts newer;
  newer.Add("900_more.sql", "CREATE TABLE evidence.extra (a integer);");
  const auto upgraded = SetUpDatabase(database.connection, newer.folder);
  EXPECT_EQ(upgraded.fault, "");
  EXPECT_EQ(upgraded.version, 900);
  EXPECT_EQ(database.Query(contents), before);
  EXPECT_EQ(database.Query("SELECT nextval('evidence.evidence_type_id_seq')"), (Rows{{"7"}}));
  const Session app(Postgres().ConnectionTo("own", "evidence_app"));
  app.Query("INSERT INTO evidence.extra VALUES (1); UPDATE evidence.extra SET a = 2");
  EXPECT_THROW(app.Query("DELETE FROM evidence.extra"), std::runtime_error);
  EXPECT_THAT(SetUpDatabase(database.connection, ThrowawayPostgres::Scripts()).fault, HasSubstr("version 900"));
}

/// What the scripts made, as the application meets it.
class SchemaTest : public testing::Test {
 protected:
  void SetUp() override { Postgres().Query("DELETE FROM evidence.evidence; DELETE FROM evidence.operation_log"); }

  const Session app_{Postgres().AppConnection()};
};

TEST_F(SchemaTest, TheApplicationHasItsLeastRights) {
  app_.Query("INSERT INTO evidence.evidence (ID) VALUES (1); UPDATE evidence.evidence SET deleted = 1");
  app_.Query("INSERT INTO evidence.operation_log (ID, occur_time_offset) VALUES (-1, '-60'), (-1, '120')");
  app_.Query("INSERT INTO platform.operation_log (log_type) VALUES (306020)");
  EXPECT_EQ(app_.Query("SELECT count(*) FROM evidence.operation_log"), (Rows{{"2"}}));
  for (const char* const refused :
       {"DELETE FROM evidence.evidence", "TRUNCATE evidence.evidence", "DELETE FROM evidence.operation_log",
        "UPDATE evidence.operation_log SET user_name = 'x'", "UPDATE platform.operation_log SET user_name = 'x'",
        "DELETE FROM platform.users", "DELETE FROM platform.devices", "DELETE FROM filemanager.link",
        "INSERT INTO platform.camera_list VALUES (true, 1)", "UPDATE platform.system SET guid = 'x'",
        "INSERT INTO platform.schema_version VALUES (9)", "SELECT setval('evidence.evidence_id_seq', 1)",
        "CREATE TABLE evidence.mine (a integer)", "CREATE TABLE public.mine (a integer)", "CREATE SCHEMA mine",
        "CREATE ROLE mine", "SELECT FROM evidence.evidence_outsize",
        "INSERT INTO evidence.evidence_ordinary (ID) VALUES (1)", "CREATE TABLE filemanager.mine (a integer)"}) {
    try {
      app_.Query(refused);
      ADD_FAILURE() << refused;
    } catch (const std::runtime_error& fault) {
      EXPECT_THAT(fault.what(), HasSubstr("permission denied")) << refused;
    }
  }
}

TEST_F(SchemaTest, NoIndexRefusesATextThatTheRulesAccept) {
  // Random characters of four bytes: no compression brings a long text below the size at which an index refuses it.
  std::mt19937 random(1);
  const auto character = [&random] {
    const char bytes[] = {'\xF0', static_cast<char>(0x90 + random() % 32), static_cast<char>(0x80 + random() % 64),
                          static_cast<char>(0x80 + random() % 64)};
    return std::string(bytes, sizeof bytes);
  };
  const auto columns = app_.Query(
      "SELECT column_name FROM information_schema.columns WHERE table_schema = 'evidence' AND table_name = 'evidence' "
      "AND data_type = 'text'");
  ASSERT_GT(columns.size(), 10U);
  app_.Query("INSERT INTO evidence.evidence (ID) VALUES (1)");
  std::string all_at_the_bound;
  for (const auto& row : columns) {
    const std::string& column = row[0];
    std::string text;
    for (const std::size_t length : {64, 250, 900, 5000}) {
      // The rules hold two columns to 64 characters.
      if (length > 64 && (column == "guid" || column == "name")) break;
      while (text.size() < 4 * length)
        text += character();
      const std::string change = column + " = '" + text + "'";
      EXPECT_NO_THROW(app_.Query("UPDATE evidence.evidence SET " + change)) << column << length;
      EXPECT_EQ(app_.Query("SELECT " + column + " FROM evidence.evidence"), (Rows{{text}}));
      if (length == 250) all_at_the_bound += (all_at_the_bound.empty() ? "" : ", ") + change;
    }
  }
  EXPECT_NO_THROW(app_.Query("UPDATE evidence.evidence SET " + all_at_the_bound));
}

TEST_F(SchemaTest, AGuidStandsOnceAmongLiveRowsOfAnyLength) {
  const auto insert = [](int id, const std::string& guid, const std::string& cad_id) {
    return "INSERT INTO evidence.evidence (ID, guid, cad_id) VALUES (" + std::to_string(id) + ", '" + guid + "', " +
           cad_id + ")";
  };
  const std::string kShort = "'short'";
  const std::string kLong = "repeat('x', 9000)";
  const std::string kChange = "UPDATE evidence.evidence SET ";
  struct Step {
    std::string sql;
    bool taken;
  };
  for (const auto& [sql, taken] : std::vector<Step>{
           {insert(1, "S", kShort), true},
           {insert(2, "L", kLong), true},
           {insert(3, "S3", kShort), true},
           {insert(9, "S", kShort), false},
           {insert(9, "S", kLong), false},
           {insert(9, "L", kShort), false},
           {insert(1, "new", kLong), false},
           {insert(2, "new", kShort), false},
           {kChange + "guid = 'L' WHERE ID = 1", false},
           {kChange + "guid = 'S', cad_id = " + kLong + " WHERE ID = 3", false},
           // A row that changes sides is not its own twin, and a deleted one frees its guid until it is to live again.
           {kChange + "guid = 'S', cad_id = " + kLong + " WHERE ID = 1", true},
           {kChange + "guid = 'L', cad_id = '' WHERE ID = 2", true},
           {kChange + "deleted = 1 WHERE ID = 1", true},
           {insert(4, "S", kShort), true},
           {kChange + "deleted = 0 WHERE ID = 1", false}}) {
    if (taken) {
      EXPECT_NO_THROW(app_.Query(sql)) << sql;
    } else {
      EXPECT_THROW(app_.Query(sql), std::runtime_error) << sql;
    }
  }
  // Of two at the same time the one that comes second waits for the first, and is refused.
  app_.Query("BEGIN; " + insert(5, "both", kShort));
  auto second =
      std::async(std::launch::async, [&] { Session(Postgres().AppConnection()).Query(insert(6, "both", kLong)); });
  EXPECT_TRUE(Eventually([&] {
    return second.wait_for(std::chrono::seconds(0)) == std::future_status::ready ||
           Postgres().Value("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory' AND NOT granted") == "1";
  }));
  app_.Query("COMMIT");
  EXPECT_THROW(second.get(), std::runtime_error);
}

}  // namespace
