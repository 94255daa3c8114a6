#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>

#include "DatabaseSetup.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;
using evidence_test::Rows;
using evidence_test::Session;
using evidence_test::ThrowawayPostgres;
using platform::SetUpDatabase;
using testing::ElementsAre;
using testing::HasSubstr;

/// The numbers of the scripts in `folder`.
std::set<int> ScriptNumbers(const std::string& folder) {
  std::set<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    numbers.insert(std::stoi(entry.path().filename().string()));
  return numbers;
}

/// A database of one test's own.
class Database {
 public:
  explicit Database(std::string name, const std::string& options = "") : name_(std::move(name)) {
    Postgres().Query("CREATE DATABASE " + name_ + " " + options);
  }
  ~Database() { Postgres().Query("DROP DATABASE " + name_ + " WITH (FORCE)"); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  [[nodiscard]] std::string Connection(const std::string& user = "postgres") const {
    return Postgres().ConnectionTo(name_, user);
  }
  Rows Query(const std::string& sql) const { return Session(Connection()).Query(sql); }

 private:
  std::string name_;
};

/// A copy of the scripts with one more.
class ScriptsWith {
 public:
  ScriptsWith(const std::string& name, const std::string& text) : added_(name) {
    std::string pattern = (std::filesystem::temp_directory_path() / "scripts-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    std::filesystem::copy(ThrowawayPostgres::Scripts(), folder_);
    std::ofstream(folder_ / name) << text;
  }
  ~ScriptsWith() { std::filesystem::remove_all(folder_); }
  ScriptsWith(const ScriptsWith&) = delete;
  ScriptsWith& operator=(const ScriptsWith&) = delete;

  [[nodiscard]] std::string Folder() const { return folder_.string(); }
  /// Takes the scripts with a number above `last` out of the copy.
  void RemoveAfter(int last) const {
    for (const auto& entry : std::filesystem::directory_iterator(ThrowawayPostgres::Scripts())) {
      const auto name = entry.path().filename();
      if (std::stoi(name.string()) > last) std::filesystem::remove(folder_ / name);
    }
    std::filesystem::remove(folder_ / added_);
  }

 private:
  std::string added_;
  std::filesystem::path folder_;
};

bool IsRefused(const Session& session, const std::string& sql) {
  try {
    session.Query(sql);
    return false;
  } catch (const std::runtime_error& fault) {
    EXPECT_THAT(fault.what(), HasSubstr("permission denied")) << sql;
    return true;
  }
}

/// Random hex digits: no compression brings a long one below the size at which a b-tree refuses a row.
std::string Digits(int length) {
  std::mt19937 random(static_cast<unsigned>(length));
  std::string digits;
  for (int i = 0; i < length; ++i)
    digits += "0123456789ABCDEF"[random() % 16];
  return digits;
}

TEST(DatabaseSetupTest, CallsThatMeetTakeTurnsAndALaterOneFindsNothingToDo) {
  const Database database("turns");
  const auto scripts = ScriptNumbers(ThrowawayPostgres::Scripts());
  const int newest = *scripts.rbegin();
  const auto set_up = [&] { return SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()); };
  auto other = std::async(std::launch::async, set_up);
  const auto first = set_up();
  const auto second = other.get();
  EXPECT_TRUE(first.ok) << first.fault;
  EXPECT_TRUE(second.ok) << second.fault;
  EXPECT_EQ(first.applied + second.applied, static_cast<int>(scripts.size()));
  EXPECT_EQ(first.version, newest);
  const auto guid = database.Query("SELECT guid FROM platform.system");
  const auto again = set_up();
  EXPECT_TRUE(again.ok) << again.fault;
  EXPECT_EQ(again.version, newest);
  EXPECT_EQ(again.applied, 0);
  EXPECT_EQ(database.Query("SELECT guid FROM platform.system"), guid);
  ASSERT_EQ(guid.size(), 1U);
  EXPECT_THAT(guid[0][0], testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
}

TEST(DatabaseSetupTest, AFailedScriptLeavesTheDatabaseAsItWas) {
  const Database database("broken");
  const ScriptsWith broken("900_broken.sql", "CREATE TABLE evidence.extra (a integer); SELECT 1/0;");
  const auto failed = SetUpDatabase(database.Connection(), broken.Folder());
  EXPECT_FALSE(failed.ok);
  EXPECT_THAT(failed.fault, HasSubstr("900_broken.sql: 22012"));
  EXPECT_TRUE(database.Query("SELECT 1 FROM pg_namespace WHERE nspname IN ('platform', 'evidence')").empty());
}

TEST(DatabaseSetupTest, AddsWhatIsNewAndRefusesADatabaseNewerThanItself) {
  const Database database("upgrade");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const ScriptsWith newer("900_more.sql", "CREATE TABLE evidence.extra (a integer);");
  const auto upgraded = SetUpDatabase(database.Connection(), newer.Folder());
  EXPECT_TRUE(upgraded.ok) << upgraded.fault;
  EXPECT_EQ(upgraded.version, 900);
  EXPECT_EQ(upgraded.applied, 1);
  const auto older = SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts());
  EXPECT_FALSE(older.ok);
  EXPECT_THAT(older.fault, HasSubstr("version 900"));
}

TEST(DatabaseSetupTest, AnOlderSchemaWithDataComesUpToDateWithoutLosingARow) {
  const Database database("older");
  const ScriptsWith newest("900_more.sql",
                           "ALTER TABLE evidence.evidence_type ADD COLUMN colour text NOT NULL DEFAULT 'grey';"
                           "CREATE TABLE evidence.extra (a integer);");
  const int later_scripts = static_cast<int>(ScriptNumbers(newest.Folder()).size()) - 2;
  {
    const ScriptsWith old("900_unused.sql", "");
    old.RemoveAfter(2);
    const auto first = SetUpDatabase(database.Connection(), old.Folder());
    ASSERT_TRUE(first.ok) << first.fault;
    ASSERT_EQ(first.version, 2);
  }
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
  for (const int applied : {later_scripts, 0}) {
    const auto upgraded = SetUpDatabase(database.Connection(), newest.Folder());
    EXPECT_TRUE(upgraded.ok) << upgraded.fault;
    EXPECT_EQ(upgraded.applied, applied);
    EXPECT_EQ(database.Query(contents), before);
  }
  EXPECT_THAT(database.Query("SELECT nextval('evidence.evidence_type_id_seq')"), ElementsAre(ElementsAre("7")));
  const Session application(database.Connection("evidence_app"));
  application.Query("INSERT INTO evidence.extra VALUES (1); UPDATE evidence.extra SET a = 2");
  EXPECT_TRUE(IsRefused(application, "DELETE FROM evidence.extra"));
}

TEST(DatabaseSetupTest, NamesWhatMakesItImpossible) {
  const Database ascii("ascii", "ENCODING 'SQL_ASCII' LC_CTYPE 'C' TEMPLATE template0");
  EXPECT_THAT(SetUpDatabase(ascii.Connection(), ThrowawayPostgres::Scripts()).fault, HasSubstr("SQL_ASCII"));
  const Database plain("plain", "LC_CTYPE 'C' TEMPLATE template0");
  EXPECT_THAT(SetUpDatabase(plain.Connection(), ThrowawayPostgres::Scripts()).fault, HasSubstr("LC_CTYPE"));
  EXPECT_THAT(SetUpDatabase(plain.Connection(), "/nonexistent").fault, HasSubstr("/nonexistent"));
  EXPECT_THAT(SetUpDatabase(Postgres().ConnectionTo("absent", "postgres"), ThrowawayPostgres::Scripts()).fault,
              HasSubstr("absent"));
  EXPECT_THAT(SetUpDatabase(Postgres().AppConnection() + " dbname=plain", ThrowawayPostgres::Scripts()).fault,
              testing::Not(testing::IsEmpty()));
  const ScriptsWith twins("003_twin.sql", "SELECT 1;");
  EXPECT_THAT(SetUpDatabase(plain.Connection(), twins.Folder()).fault, HasSubstr("two scripts"));
}

TEST(DatabaseSetupTest, SeedsAndSequencesAgree) {
  const Database database("seeds");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  EXPECT_EQ(database.Query("SELECT id, name, deleted FROM evidence.evidence_type ORDER BY id"),
            (Rows{{"0", "", "0"}, {"1", "", "0"}, {"2", "", "0"}, {"3", "", "0"}, {"4", "", "0"}, {"5", "", "0"}}));
  EXPECT_EQ(database.Query("SELECT id, name, types, deleted FROM evidence.evidence_custom ORDER BY id"),
            (Rows{{"1", "", "1", "0"}, {"2", "", "0", "0"}, {"3", "", "0", "0"}}));
  EXPECT_EQ(database.Query("SELECT id, deleted FROM evidence.ftp_setting"), (Rows{{"0", "0"}}));
  const std::pair<const char*, const char*> kFirst[] = {
      {"evidence_id_seq", "1"},         {"evidence_type_id_seq", "6"},          {"evidence_scense_id_seq", "1"},
      {"evidence_outcome_id_seq", "1"}, {"evidence_custom_id_seq", "6"},        {"evidence_custom_info_id_seq", "1"},
      {"evidence_option_id_seq", "1"},  {"evidence_file_id_seq", "1000000001"}, {"operation_log_id_seq", "1"}};
  const Session app(database.Connection("evidence_app"));
  for (const auto& [sequence, first] : kFirst) {
    EXPECT_EQ(app.Query("SELECT NEXTVAL('evidence." + std::string(sequence) + "')"), (Rows{{first}})) << sequence;
  }
}

TEST(DatabaseSetupTest, TheApplicationHasItsLeastRights) {
  const Database database("rights");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const Session app(database.Connection("evidence_app"));
  app.Query(
      "INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (6, 'x', '2026-01-02 03:04:05', 0)");
  app.Query("UPDATE evidence.evidence_type SET deleted = 1 WHERE id = 6");
  app.Query("INSERT INTO evidence.operation_log (ID, occur_time_offset) VALUES (-1, '-60'), (-1, '120')");
  app.Query("INSERT INTO platform.operation_log (log_type) VALUES (306020)");
  app.Query("INSERT INTO platform.users (name, password_hash) VALUES ('a', 'b')");
  EXPECT_EQ(app.Query("SELECT count(*) FROM evidence.operation_log"), (Rows{{"2"}}));
  for (const char* refused :
       {"DELETE FROM evidence.evidence", "TRUNCATE evidence.evidence", "DELETE FROM evidence.operation_log",
        "UPDATE evidence.operation_log SET user_name = 'x'", "UPDATE platform.operation_log SET user_name = 'x'",
        "DELETE FROM platform.users", "DELETE FROM platform.devices",
        "INSERT INTO platform.camera_list VALUES (true, 1)", "UPDATE platform.system SET guid = 'x'",
        "INSERT INTO platform.schema_version VALUES (9)", "SELECT setval('evidence.evidence_id_seq', 1)",
        "CREATE TABLE evidence.mine (a integer)", "CREATE TABLE public.mine (a integer)", "CREATE SCHEMA mine",
        "CREATE ROLE mine", "SELECT FROM evidence.evidence_outsize",
        "INSERT INTO evidence.evidence_ordinary (ID) VALUES (1)"}) {
    EXPECT_TRUE(IsRefused(app, refused)) << refused;
  }
}

TEST(DatabaseSetupTest, EvidenceRowsKeepWhatIsWritten) {
  const Database database("rows");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const Session app(database.Connection("evidence_app"));
  app.Query(
      "INSERT INTO evidence.evidence (ID, guid, evidence_begin_time, local_create_time) VALUES "
      "(1, 'A', '', '2026-01-02T03:04:05')");
  EXPECT_EQ(app.Query("SELECT evidence_begin_time, local_create_time, upload_status, succeed_camera_ids, "
                      "evidence_type_id FROM evidence.evidence"),
            (Rows{{"", "2026-01-02 03:04:05", "-1", "", "-1"}}));
  const char* const kSameGuid = "INSERT INTO evidence.evidence (ID, guid) VALUES (2, 'A')";
  EXPECT_THROW(app.Query(kSameGuid), std::runtime_error);
  app.Query("UPDATE evidence.evidence SET deleted = 1 WHERE id = 1");
  EXPECT_NO_THROW(app.Query(kSameGuid));
  EXPECT_THROW(app.Query("UPDATE evidence.evidence SET deleted = 0 WHERE id = 1"), std::runtime_error);
  EXPECT_NO_THROW(app.Query("INSERT INTO evidence.evidence_file (ID, evidence_id) VALUES (7, 2), (7, 2)"));
  EXPECT_NO_THROW(app.Query("INSERT INTO evidence.evidence_custom_info (ID, evidence_id) VALUES (7, 2), (7, 2)"));
  EXPECT_EQ(app.Query("SELECT 1 WHERE 'ÄÖ' ILIKE 'äö'").size(), 1U);
}

TEST(DatabaseSetupTest, NoIndexRefusesATextThatTheRulesAccept) {
  const Database database("longtexts");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const Session app(database.Connection("evidence_app"));
  const auto columns = app.Query(
      "SELECT column_name FROM information_schema.columns WHERE table_schema = 'evidence' AND table_name = 'evidence' "
      "AND data_type = 'text'");
  ASSERT_GT(columns.size(), 10U);
  // The rules hold these to 64 characters, of at most four bytes each.
  const std::set<std::string> limited = {"guid", "name"};
  int id = 0;
  for (const auto& row : columns) {
    const std::string& column = row[0];
    const std::string text = Digits(limited.contains(column) ? 4 * 64 : 20000);
    const std::string where = " WHERE ID = " + std::to_string(++id);
    const std::string key = std::to_string(id);
    app.Query("INSERT INTO evidence.evidence (ID, guid) VALUES (" + key + ", '" + key + "')");
    EXPECT_NO_THROW(app.Query("UPDATE evidence.evidence SET " + column + " = '" + text + "'" + where)) << column;
    EXPECT_EQ(app.Query("SELECT " + column + " FROM evidence.evidence" + where), (Rows{{text}})) << column;
  }
  // The longest texts that stand in indexes do so together, too.
  EXPECT_NO_THROW(
      app.Query("INSERT INTO evidence.evidence (ID, evidence_begin_time, evidence_end_time, cad_id) VALUES "
                "(100, '" +
                Digits(1000) + "', '" + Digits(999) + "', '" + Digits(998) + "')"));
  EXPECT_EQ(database.Query("SELECT tableoid::regclass FROM evidence.evidence WHERE ID = 100"),
            (Rows{{"evidence.evidence_ordinary"}}));
}

TEST(DatabaseSetupTest, OutsizeRowsStandInOrderAmongTheOthers) {
  const Database database("merged");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const Session app(database.Connection("evidence_app"));
  for (const std::string column : {"cad_id", "evidence_begin_time", "evidence_end_time", "evidence_create_user_name"}) {
    app.Query("UPDATE evidence.evidence SET deleted = 1");
    // Every third value is far above what an index takes, and two of them change sides.
    app.Query("INSERT INTO evidence.evidence (ID, guid, " + column +
              ") SELECT n, n, lpad(n::text, 3, '0') || repeat('x', CASE WHEN n % 3 = 0 THEN 9000 ELSE 0 END) FROM "
              "(SELECT coalesce(max(ID), 0) AS last FROM evidence.evidence) AS old, "
              "LATERAL generate_series(last + 1, last + 9) AS n;"
              "UPDATE evidence.evidence SET " +
              column + " = left(" + column +
              ", 3) WHERE ID % 9 = 3;"
              "UPDATE evidence.evidence SET " +
              column + " = " + column + " || repeat('y', 9000) WHERE ID % 9 = 4");
    const std::string page =
        "SET enable_sort = off; SELECT string_agg(((ID - 1) % 9)::text, '') FROM (SELECT ID FROM evidence.evidence "
        "WHERE deleted = 0 ORDER BY " +
        column;
    EXPECT_EQ(app.Query(page + " LIMIT 9) AS page"), (Rows{{"012345678"}})) << column;
    EXPECT_EQ(app.Query(page + " DESC LIMIT 9) AS page"), (Rows{{"876543210"}})) << column;
  }
}

TEST(DatabaseSetupTest, AGuidStandsOnceAmongLiveRowsOfAnyLength) {
  const Database database("guids");
  ASSERT_TRUE(SetUpDatabase(database.Connection(), ThrowawayPostgres::Scripts()).ok);
  const Session app(database.Connection("evidence_app"));
  const auto insert = [](int id, const std::string& guid, const std::string& cad_id) {
    return "INSERT INTO evidence.evidence (ID, guid, cad_id) VALUES (" + std::to_string(id) + ", '" + guid + "', " +
           cad_id + ")";
  };
  const std::string kShort = "'short'";
  const std::string kLong = "repeat('x', 9000)";
  app.Query(insert(1, "S", kShort));
  app.Query(insert(2, "L", kLong));
  app.Query(insert(3, "S3", kShort));
  for (const std::string& refused :
       {insert(9, "S", kLong), insert(9, "L", kShort), insert(1, "new", kLong), insert(2, "new", kShort),
        std::string("UPDATE evidence.evidence SET guid = 'L' WHERE ID = 1"),
        std::string("UPDATE evidence.evidence SET guid = 'S' WHERE ID = 2"),
        "UPDATE evidence.evidence SET guid = 'S', cad_id = " + kLong + " WHERE ID = 3"}) {
    EXPECT_THROW(app.Query(refused), std::runtime_error) << refused;
  }
  // A row that changes sides is not its own twin, and a deleted one frees its guid until it is to live again.
  EXPECT_NO_THROW(app.Query("UPDATE evidence.evidence SET guid = 'S', cad_id = " + kLong + " WHERE ID = 1"));
  EXPECT_NO_THROW(app.Query("UPDATE evidence.evidence SET guid = 'L', cad_id = '' WHERE ID = 2"));
  app.Query("UPDATE evidence.evidence SET deleted = 1 WHERE ID = 1");
  EXPECT_NO_THROW(app.Query(insert(4, "S", kShort)));
  EXPECT_THROW(app.Query("UPDATE evidence.evidence SET deleted = 0 WHERE ID = 1"), std::runtime_error);

  // Of two at the same time the one that comes second waits for the first, and is refused.
  app.Query("BEGIN; " + insert(5, "both", kShort));
  auto second = std::async(std::launch::async,
                           [&] { Session(database.Connection("evidence_app")).Query(insert(6, "both", kLong)); });
  const auto waits = [&] {
    return database.Query("SELECT FROM pg_locks WHERE locktype = 'advisory' AND NOT granted").size() == 1;
  };
  while (second.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready && !waits()) {
  }
  app.Query("COMMIT");
  EXPECT_THROW(second.get(), std::runtime_error);
}

}  // namespace
