// Backup and restore of the database of a running host.

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "http/HostProcess.h"
#include "support/BesideTables.h"

namespace evidence_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";
constexpr char kSqlNoted[] = "SELECT count(*) FROM platform.request_log";

class BackupTest : public testing::Test {
 protected:
  BackupTest() {
    Postgres().Query("DROP DATABASE IF EXISTS copy WITH (FORCE)");
    Postgres().Query("CREATE DATABASE copy");
  }
  static std::string Owner(const std::string& database) { return Postgres().ConnectionTo(database, "postgres"); }
  static Rows Query(const std::string& database, const std::string& sql) { return Session(Owner(database)).Query(sql); }

  static HostProcess Start(const std::string& command, const std::string& database, const std::string& file) {
    return HostProcess({{"setup_database", Owner(database)}}, {command, file});
  }
  /// The fault that a command prints; "" when it succeeds.
  static std::string Fault(const std::string& command, const std::string& database, const std::string& file) {
    const auto done = Start(command, database, file).Wait();
    EXPECT_EQ(done.exit_code, done.err.empty() ? 0 : 1);
    return done.err;
  }
  /// Whether a database holds nothing of the host's.
  static bool IsEmpty(const std::string& database) {
    return Query(database, "SELECT FROM pg_namespace WHERE nspname IN ('platform', 'evidence', 'filemanager')").empty();
  }

  /// Puts a script before the program of that name; the former path.
  std::string Before(const std::string& program, const std::string& script) const {
    std::string path = std::getenv("PATH");
    chmod(folder_.Write(program, "#!/bin/sh\n" + script + "\n").c_str(), 0755);
    setenv("PATH", (folder_.path() + ":" + path).c_str(), 1);
    return path;
  }

  const ScratchFolder folder_;
  const std::string file_ = folder_.path() + "/evidence.backup";
};

/// Rows of every table: over the routes what they write, the other kinds and many of some by statements.
void Fill(int port, const std::string& session) {
  const auto call = [&](const std::string& method, const std::string& path, const std::string& body) {
    const auto reply = Ask(port, method, path, session, body);
    if (reply.body.find(R"("ErrorModule":0,"ErrorCode":0)") == std::string::npos) {
      throw std::runtime_error(path + ": " + reply.body);
    }
  };
  call("PUT", kV1 + "/Type/1", R"({"EvidenceType":{"Name":"O'Brien \\ 100%"}})");
  call(
      "PUT", kV1 + "/Custom",
      R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"CustomType":1},{"ID":2,"CustomType":0},{"ID":3,"CustomType":)"
      R"(0},{"Name":"colour","CustomType":0,"CustomOptionList":{"CustomOption":[{"OptionName":"red"}]}}]}})");
  for (const std::string cad : {"C7", "long"}) {
    call("POST", kV1,
         R"({"Evidence":{"Guid":"guid )" + cad +
             R"(","Name":"Beta 停车场","Status":1,"EvidenceType":{"ID":1},"Label":)" + R"("x|y","CADID":")" +
             (cad == "long" ? std::string(3000, 'c') : cad) +
             R"(","EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"Content":"plate"}]}}})");
  }
  call("POST", kV2 + "/Files/BatchLinks",
       R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":1},{"EvidenceID":2}]},"FileList":{"File":)"
       R"([{"FileID":21,"FileName":"x"}]}}})");
  Postgres().Query(R"(
    INSERT INTO evidence.evidence (id, guid, name, evidence_type_id, cad_id, evidence_desc, deleted, local_create_time)
      SELECT n, 'g' || n, 'Case ' || n, n % 7, 'C' || n, repeat('words ', 100), (n % 9 = 0)::integer,
      timestamp '2024-01-01' + n * interval '1 hour' FROM generate_series(nextval('evidence.evidence_id_seq'), 5000) n;
    SELECT setval('evidence.evidence_id_seq', 5000);
    INSERT INTO evidence.evidence_scense (id, name) VALUES (nextval('evidence.evidence_scense_id_seq'), 'scene');
    INSERT INTO evidence.evidence_outcome (id, name) VALUES (nextval('evidence.evidence_outcome_id_seq'), 'outcome');
    UPDATE evidence.ftp_setting SET address = 'store')");
  Postgres().Query("VACUUM (ANALYZE)");
}

/// Answers of routes that read.
std::vector<std::string> Answers(int port, const std::string& session) {
  const auto query = [](const std::string& filter) {
    return R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":5,"Filter":{)" + filter + "}}}";
  };
  std::vector<std::string> answers;
  for (const auto& [path, body] : std::vector<std::pair<std::string, std::string>>{
           {kV1 + "/Type", "{}"},
           {kV1 + "/Custom", "{}"},
           {kV1, query(R"("KeywordType":-1,"Keyword":"停车场")")},
           {kV1 + "/2", "{}"},
           {kV2 + "/1/OperationLog", ""},
           {kV1 + "/Custom", R"({"CustomQueryReq":{"ClientResourceVersion":1}})"}}) {
    const auto reply = Ask(port, "GET", path, session, body);
    answers.push_back(path + " " + body + " " + std::to_string(reply.status) + " " + reply.body);
  }
  return answers;
}

/// The plans of statements that routes run.
std::vector<Rows> Plans(const std::string& database) {
  const std::string live = "FROM evidence.evidence WHERE deleted = 0";
  std::vector<Rows> plans;
  const Session session(Postgres().ConnectionTo(database, "evidence_app"));
  for (const auto& sql :
       {"SELECT count(*) " + live, "SELECT * " + live + " ORDER BY cad_id DESC limit 21 offset 0",
        "SELECT * " + live + " AND evidence_type_id = 3 ORDER BY local_create_time DESC limit 21 offset 0",
        "SELECT COUNT(id) " + live + " AND name ilike '%case 49%'", "SELECT * " + live + " AND guid = 'g7'",
        "SELECT * " + live + " AND (name ilike '%49%' OR evidence_desc ilike '%49%' OR label ilike '%49%')",
        std::string("SELECT * FROM evidence.evidence_file WHERE evidence_id = 7 AND deleted = 0"),
        std::string(
            "SELECT * FROM evidence.evidence_file WHERE evidence_id = -1 AND deleted = 0 AND file_name ilike '%x%'"),
        std::string("SELECT * FROM evidence.operation_log WHERE evidence_id = 7"),
        std::string("SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = 7 AND deleted = 0")})
    plans.push_back(session.Query("EXPLAIN (COSTS OFF) " + sql));
  return plans;
}

TEST_F(BackupTest, AFilledDatabaseComesBackWithItsAnswersPlansRightsAndNumbers) {
  // A count's plan depends on the pages that a vacuum marks: only those whose commits are on the disk, unless another
  // one has them.
  Postgres().Query("ALTER ROLE postgres SET synchronous_commit = on");
  Postgres().Query("ALTER SYSTEM SET autovacuum = off");
  Postgres().Query("SELECT pg_reload_conf()");
  EnsureTester();
  const ScratchFolder data;
  ASSERT_EQ(RunHost({"cameras", "load", CAMERA_SAMPLE}).err, "");
  Postgres().Query(
      R"(CREATE ROLE "the ""reader""" LOGIN; GRANT SELECT ON evidence.evidence TO "the ""reader""" WITH GRANT OPTION;)"
      "ALTER DATABASE evidence SET search_path = '$user', public; ALTER ROLE evidence_app IN DATABASE evidence SET "
      "work_mem = '5MB'");
  std::vector<std::string> answers;
  {
    HostProcess host({{"data", data.path()}});
    const auto session = Login(host.WaitUntilListening()).id;
    Fill(host.port(), session);
    answers = Answers(host.port(), session);
    ASSERT_TRUE(Eventually([] { return Query("evidence", kSqlNoted) == Rows{{"5"}}; })) << "so that no more are added";
    for (const auto& answer : answers)
      EXPECT_THAT(answer, testing::ContainsRegex(" 200 .*\"(ID|OperationType)\":"));
    EXPECT_EQ(Fault("backup", "evidence", file_), "") << "beside the running host";
    EXPECT_EQ(host.Stop().exit_code, 0);
  }
  struct stat state {};
  ASSERT_EQ(stat(file_.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 0777U, 0600U);
  EXPECT_EQ(std::system(("pg_restore -f /dev/null '" + file_ + "'").c_str()), 0) << "it is a plain dump, too";

  const auto restored = Start("restore", "copy", file_).Wait();
  EXPECT_EQ(restored.exit_code, 0) << restored.err;
  EXPECT_THAT(restored.out, testing::AllOf(HasSubstr("\nevidence.evidence_ordinary\t4999\t4999\n"),
                                           HasSubstr("\nevidence.evidence_outsize\t1\t1\n"),
                                           HasSubstr("\nfilemanager.link\t2\t2\n")));
  EXPECT_EQ(Query("copy", kSqlBeside), Query("evidence", kSqlBeside));
  const auto noted = "SELECT tableoid::regclass, request_log FROM platform.request_log ORDER BY answered_at, id";
  EXPECT_EQ(Query("copy", noted), Query("evidence", noted));
  EXPECT_EQ(
      Query("copy", "SELECT has_table_privilege('the \"reader\"', 'evidence.evidence', 'SELECT WITH GRANT OPTION')"),
      (Rows{{"t"}}));
  EXPECT_EQ(Plans("copy"), Plans("evidence"));

  HostProcess host({{"data", data.path()}, {"database", Postgres().ConnectionTo("copy", "evidence_app")}});
  const auto session = Login(host.WaitUntilListening()).id;
  EXPECT_EQ(Answers(host.port(), session), answers);
  EXPECT_THAT(Ask(host.port(), "POST", kV1, session, R"({"Evidence":{"Guid":"new","Status":1}})").body,
              HasSubstr(R"("ID":5001,)"));
  EXPECT_THAT(Ask(host.port(), "POST", kV1, session, R"({"Evidence":{"Guid":"guid long","Name":"n","Status":1}})").body,
              HasSubstr(R"("ErrorCode":9805)"));
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST_F(BackupTest, WhatIsNotWholeNewOrEmptyIsRefused) {
  ASSERT_EQ(Fault("backup", "evidence", file_), "");
  const auto whole = folder_.Read("evidence.backup");
  EXPECT_THAT(Fault("backup", "evidence", file_), HasSubstr("is there already"));
  EXPECT_THAT(Fault("backup", "copy", folder_.path() + "/none"), HasSubstr("no schema of this host"));
  EXPECT_THAT(Fault("backup", "evidence", folder_.path() + "/no/folder"), HasSubstr("No such file"));
  auto changed = whole;
  changed[whole.size() / 2] = static_cast<char>(changed[whole.size() / 2] ^ 1);
  Query("evidence", "INSERT INTO platform.schema_version (version) VALUES (999)");
  const auto newer = folder_.path() + "/newer";
  EXPECT_EQ(Fault("backup", "evidence", newer), "");
  Query("evidence", "DELETE FROM platform.schema_version WHERE version = 999");
  const auto no_backup = "no backup of this program, or not a whole one";
  const std::pair<std::string, std::string> kFiles[] = {
      {folder_.Write("changed", changed), no_backup},
      {folder_.Write("cut", whole.substr(0, whole.size() - 100)), no_backup},
      {folder_.Write("end", whole.substr(1000)), no_backup},
      {folder_.Write("longer", whole + "\n"), no_backup},
      {folder_.Write("empty", ""), no_backup},
      {folder_.path(), no_backup},
      {folder_.path() + "/absent", "No such file"},
      {newer, "schema version 999"},
  };
  for (const auto& [file, fault] : kFiles)
    EXPECT_THAT(Fault("restore", "copy", file),
                testing::AllOf(HasSubstr("evidence-host: nothing was restored: "), HasSubstr(fault)));
  EXPECT_TRUE(IsEmpty("copy"));
  Query("copy", "CREATE TABLE public.own (a integer)");
  EXPECT_THAT(Fault("restore", "copy", file_), HasSubstr("not empty, it has public.own"));
  EXPECT_THAT(Fault("restore", "evidence", file_), HasSubstr("not empty, it has schema evidence"));
  Query("copy", "DROP TABLE public.own");
  EXPECT_EQ(Fault("restore", "copy", file_), "");
}

TEST_F(BackupTest, AStoppedBackupLeavesNoFileAndNoPasswordIsSeen) {
  const auto path =
      Before("pg_dump", "cd '" + folder_.path() + "'\necho \"$@\" >arguments\necho \"$PGPASSWORD\" >password\n" +
                            "echo begun\nexec sleep 600");
  HostProcess host({{"setup_database", Owner("evidence") + " password=hush"}}, {"backup", file_});
  setenv("PATH", path.c_str(), 1);
  EXPECT_TRUE(Eventually([&] { return folder_.Read("evidence.backup.part") == "begun\n"; }));
  EXPECT_THAT(Fault("backup", "evidence", file_), HasSubstr("is being written by another backup"));
  const auto stopped = host.Stop(SIGINT);
  EXPECT_EQ(stopped.exit_code, 1);
  EXPECT_EQ(stopped.err, "evidence-host: no backup was made: stopped\n");
  EXPECT_FALSE(fs::exists(file_) || fs::exists(file_ + ".part"));
  EXPECT_THAT(folder_.Read("arguments"), testing::AllOf(HasSubstr("--snapshot="), testing::Not(HasSubstr("hush"))));
  EXPECT_EQ(folder_.Read("password"), "hush\n");
}

TEST_F(BackupTest, ARestoreThatLostARowSaysSo) {
  ASSERT_EQ(Fault("backup", "evidence", file_), "");
  const auto path = Before("pg_restore", "PATH=${PATH#*:}\npg_restore \"$@\" && psql -qd '" + Owner("copy") +
                                             "' -c 'DELETE FROM evidence.evidence_type WHERE id = 5'");
  const auto done = Start("restore", "copy", file_).Wait();
  setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(done.exit_code, 1);
  EXPECT_THAT(done.err, HasSubstr("the database does not hold what the backup says"));
  EXPECT_THAT(done.out, HasSubstr("\nevidence.evidence_type\t6\t5\n"));
}

TEST_F(BackupTest, AStoppedRestoreLeavesTheDatabaseEmpty) {
  ASSERT_EQ(Fault("backup", "evidence", file_), "");
  const Session gate(Owner("copy"));
  gate.Query("BEGIN; LOCK TABLE pg_catalog.pg_trigger IN SHARE MODE");
  auto host = Start("restore", "copy", file_);
  ASSERT_TRUE(Eventually([] { return !Postgres().Query("SELECT FROM pg_locks WHERE NOT granted").empty(); }));
  const auto stopped = host.Stop(SIGINT);
  EXPECT_EQ(stopped.exit_code, 1);
  EXPECT_THAT(stopped.err, HasSubstr("evidence-host: nothing was restored: stopped\n"));
  gate.Query("ROLLBACK");
  EXPECT_TRUE(IsEmpty("copy"));
}

}  // namespace
}  // namespace evidence_test
