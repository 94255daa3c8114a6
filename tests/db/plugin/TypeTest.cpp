// Evidence types from the route's callback to the rows, on a real PostgreSQL.

#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;
using evidence_test::Rows;
using evidence_test::RunningPlugin;
using Texts = std::vector<std::string>;

const std::string kTypes = "/TRELL/Halyard/Evidence/V1/Evidence/Type";

const std::string kBuiltIn =
    R"({"ID":0,"Name":"Other"},{"ID":1,"Name":"Theft"},{"ID":2,"Name":"Robbery"},{"ID":3,"Name":"Attack"},)"
    R"({"ID":4,"Name":"Missing person"},{"ID":5,"Name":"Suspicious behavior"})";

std::string Answer(int code, const std::string& data) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
         (data.empty() ? "" : R"(,"Data":)" + data) + "}}";
}

std::string Entries(const std::string& own) {
  return R"({"EvidenceTypeList":{"EvidenceType":[)" + kBuiltIn + (own.empty() ? "" : "," + own) + "]}}";
}

/// The texts with times and keys made equal from run to run.
Texts Plain(Texts texts) {
  static const std::regex time(R"('\d{4}-\d\d-\d\d \d\d:\d\d:\d\d')");
  for (auto& text : texts)
    text = std::regex_replace(text, time, "'NOW'");
  return texts;
}

class TypeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query("DELETE FROM evidence.evidence_type WHERE id > 5");
    Postgres().Query("UPDATE evidence.evidence_type SET name = '', update_time = NULL, deleted = 0");
    Postgres().Query("DELETE FROM evidence.evidence");
    Postgres().Query("DELETE FROM platform.incre_resource");
    Postgres().Query("DELETE FROM platform.operation_log");
    Postgres().Query("ALTER SEQUENCE evidence.evidence_type_id_seq RESTART 6");
  }
};

TEST_F(TypeTest, WalkLeavesRowsStatementsIncrementsAndLogLines) {
  const RunningPlugin plugin;
  EXPECT_EQ(plugin.Get(kTypes, "{}"),
            Answer(0, R"({"TotalNum":6,"EvidenceTypeList":{"EvidenceType":[)" + kBuiltIn + "]}}"));

  (void)plugin.TakeStatements();
  EXPECT_EQ(plugin.Put(kTypes, Entries(R"({"Name":"O'Brien \\ 100%"},{"Name":"\u4e2d\u6587"})")),
            Answer(0, R"({"EvidenceTypeErrorList":{}})"));
  auto statements = Plain(plugin.TakeStatements());
  ASSERT_GE(statements.size(), 3U);
  EXPECT_EQ(statements[0], "SELECT NEXTVAL('evidence.evidence_type_id_seq')");
  EXPECT_EQ(statements[1], "SELECT NEXTVAL('evidence.evidence_type_id_seq')");
  EXPECT_EQ(statements[2],
            "INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (6, 'O''Brien \\ 100%', 'NOW', "
            "0);INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (7, "
            "'\xE4\xB8\xAD\xE6\x96\x87', 'NOW', 0);");

  EXPECT_EQ(plugin.Put(kTypes + "/6", R"({"EvidenceType":{"ID":99,"Name":"renamed"}})"), Answer(0, ""));
  Postgres().Query(
      "INSERT INTO evidence.evidence (id, guid, evidence_type_id, deleted) VALUES (1, 'a', 7, 0), (2, 'b', 7, 1), "
      "(3, 'c', 6, 0)");
  EXPECT_EQ(plugin.Delete(kTypes + "/7"), Answer(0, ""));
  EXPECT_EQ(Postgres().Query("SELECT id, name, deleted, update_time IS NOT NULL FROM evidence.evidence_type "
                             "WHERE id > 5 ORDER BY id"),
            (Rows{{"6", "renamed", "0", "t"}, {"7", "\xE4\xB8\xAD\xE6\x96\x87", "1", "f"}}));
  EXPECT_EQ(Postgres().Query("SELECT evidence_type_id, update_time IS NOT NULL FROM evidence.evidence ORDER BY id"),
            (Rows{{"-1", "t"}, {"7", "f"}, {"6", "f"}}))
      << "only live evidences lose the type";
  EXPECT_EQ(Postgres().Query("SELECT source_type, resource_id, method FROM platform.incre_resource ORDER BY version"),
            (Rows{{"13001", "6", "0"}, {"13001", "7", "0"}, {"13001", "6", "1"}, {"13001", "7", "2"}}));
  EXPECT_EQ(Postgres().Query("SELECT log_type, user_name, client_address, object_name FROM platform.operation_log "
                             "ORDER BY id"),
            (Rows{{"306011", "alice", "10.0.0.7", "O'Brien \\ 100%;\xE4\xB8\xAD\xE6\x96\x87"},
                  {"306012", "alice", "10.0.0.7", "renamed"},
                  {"306013", "alice", "10.0.0.7", "\xE4\xB8\xAD\xE6\x96\x87"}}));

  EXPECT_EQ(plugin.Get(kTypes + "/7"), Answer(9809, "{}"));
  EXPECT_EQ(plugin.Get(kTypes + "/6"), Answer(0, R"({"EvidenceType":{"ID":6,"Name":"renamed"}})"));
  EXPECT_EQ(plugin.Get(kTypes, R"({"EvidenceTypeQueryReq":{"PageIndex":4,"PageSize":2}})"),
            Answer(0, R"({"TotalNum":7,"PageIndex":4,"PageSize":2,"EvidenceTypeList":{"EvidenceType":[)"
                      R"({"ID":6,"Name":"renamed"}]}})"));
}

TEST_F(TypeTest, RestartReadsTheTable) {
  const std::string hostile = "';DROP TABLE evidence.evidence_type;--\\'\" %s%n$1";
  {
    const RunningPlugin plugin;
    EXPECT_EQ(plugin.Put(kTypes, Entries(R"({"Name":"';DROP TABLE evidence.evidence_type;--\\'\" %s%n$1"})")),
              Answer(0, R"({"EvidenceTypeErrorList":{}})"));
    EXPECT_EQ(plugin.Put(kTypes + "/0", R"({"EvidenceType":{"Name":"Fire"}})"), Answer(0, ""));
  }
  EXPECT_EQ(Postgres().Value("SELECT name FROM evidence.evidence_type WHERE id = 6"), hostile);
  const RunningPlugin plugin;
  const std::string list = plugin.Get(kTypes, "{}");
  EXPECT_NE(list.find(R"({"ID":0,"Name":"Fire"},{"ID":1,"Name":"Theft"})"), std::string::npos)
      << "a built-in entry that a user named keeps that name: " << list;
  EXPECT_NE(list.find(R"({"ID":6,"Name":"';DROP TABLE)"), std::string::npos);
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_type WHERE id < 6 AND name <> ''"), "1")
      << "localised names are not stored";
}

TEST_F(TypeTest, IncrementalAnswerFollowsTheVersion) {
  const RunningPlugin plugin;
  plugin.Put(kTypes, Entries(R"({"Name":"a"},{"Name":"b"})"));
  const std::string version = Postgres().Value("SELECT max(version) FROM platform.incre_resource");
  const auto ask = [&](const std::string& since) {
    return plugin.Get(kTypes,
                      R"({"EvidenceTypeQueryReq":{"PageIndex":1,"PageSize":1,"ClientResourceVersion":)" + since + "}}");
  };
  EXPECT_EQ(ask(version), Answer(0, R"({"TotalNum":0,"EvidenceTypeList":{}})"));
  plugin.Put(kTypes + "/6", R"({"EvidenceType":{"Name":"A"}})");
  plugin.Delete(kTypes + "/7");
  EXPECT_EQ(ask(version), Answer(0, R"({"TotalNum":2,"EvidenceTypeList":{"EvidenceType":[)"
                                    R"({"ID":6,"Name":"A","Method":1},{"ID":7,"Method":2}]}})"));
}

TEST_F(TypeTest, UnreadableIncrementsAreNoSuccess) {
  const RunningPlugin plugin;
  Postgres().Query("REVOKE SELECT ON platform.incre_resource FROM evidence_app");
  const std::string answer = plugin.Get(kTypes, R"({"EvidenceTypeQueryReq":{"ClientResourceVersion":1}})");
  Postgres().Query("GRANT SELECT ON platform.incre_resource TO evidence_app");
  EXPECT_EQ(answer, Answer(15, R"({"TotalNum":0,"EvidenceTypeList":{}})"));
}

// The line holds every name of the request, so one of them must not be able to keep it out of the log.
TEST_F(TypeTest, NoNameKeepsALineOutOfTheLog) {
  const RunningPlugin plugin;
  plugin.Put(kTypes, Entries(R"({"Name":"quiet"},{"Name":"a\u0000b"})"));
  EXPECT_EQ(Postgres().Value("SELECT name FROM evidence.evidence_type WHERE id = 6"), "quiet");
  EXPECT_EQ(Postgres().Value("SELECT object_name FROM platform.operation_log"),
            "quiet;a\xEF\xBF\xBD"
            "b");
}

TEST_F(TypeTest, RefusedStatementsLeaveCacheAndConnectionAsTheyWere) {
  const RunningPlugin plugin;
  plugin.Put(kTypes, Entries(R"({"Name":"a"})"));
  Postgres().Query("REVOKE INSERT, UPDATE ON evidence.evidence_type FROM evidence_app");
  EXPECT_EQ(plugin.Put(kTypes, Entries(R"({"ID":6,"Name":"A"},{"Name":"n"})")),
            Answer(99999, R"({"EvidenceTypeErrorList":{"EvidenceTypeError":[)"
                          R"({"ID":6,"Name":"A","Error":{"ErrorModule":0,"ErrorCode":15}},)"
                          R"({"Name":"n","Error":{"ErrorModule":0,"ErrorCode":15}}]}})"));
  EXPECT_EQ(plugin.Delete(kTypes + "/6"), Answer(15, ""));
  EXPECT_TRUE(plugin.Log().Has(5, "]Delete evidence type failed, sqls[UPDATE evidence.evidence_type SET deleted = 1"));
  Postgres().Query("GRANT INSERT, UPDATE ON evidence.evidence_type TO evidence_app");
  EXPECT_EQ(plugin.Get(kTypes + "/6"), Answer(0, R"({"EvidenceType":{"ID":6,"Name":"a"}})"));
  EXPECT_EQ(plugin.Put(kTypes + "/6", R"({"EvidenceType":{"Name":"A"}})"), Answer(0, ""));
}

// A batch is one text: when one of its statements fails, none is done.
TEST_F(TypeTest, BatchIsAllOrNothing) {
  const RunningPlugin plugin;
  Postgres().Query("INSERT INTO evidence.evidence_type (id, name) VALUES (7, 'in the way')");
  EXPECT_EQ(plugin.Put(kTypes, Entries(R"({"Name":"x"},{"Name":"y"})")),
            Answer(99999, R"({"EvidenceTypeErrorList":{"EvidenceTypeError":[)"
                          R"({"Name":"x","Error":{"ErrorModule":0,"ErrorCode":15}},)"
                          R"({"Name":"y","Error":{"ErrorModule":0,"ErrorCode":15}}]}})"));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_type WHERE name IN ('x', 'y')"), "0");
  EXPECT_EQ(plugin.Get(kTypes + "/6"), Answer(9809, "{}"));
}

TEST_F(TypeTest, SessionWithoutPermissionGetsNoAnswerToADeletion) {
  const RunningPlugin plugin;
  EXPECT_EQ(plugin.Request(kelp::kMethodDelete, kTypes + "/1", "", "stranger"), "");
  EXPECT_EQ(plugin.Request(kelp::kMethodPut, kTypes + "/1", R"({"EvidenceType":{"Name":"x"}})", "stranger"),
            Answer(10, ""));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_type WHERE deleted = 0 AND name = ''"), "6");
}

TEST_F(TypeTest, ParallelWritersLeaveCacheAndTableAlike) {
  const RunningPlugin plugin;
  constexpr int kWriters = 8;
  plugin.Put(kTypes, Entries([] {
               std::string own;
               for (int n = 0; n < kWriters; ++n)
                 own += (n ? "," : "") + (R"({"Name":"start)" + std::to_string(n) + "\"}");
               return own;
             }()));
  {
    std::vector<std::jthread> writers;
    for (int n = 0; n < kWriters; ++n) {
      writers.emplace_back([&plugin, n] {
        const std::string path = kTypes + "/" + std::to_string(6 + n);
        for (int round = 0; round < 20; ++round) {
          plugin.Put(path, R"({"EvidenceType":{"Name":"w)" + std::to_string(n) + "r" + std::to_string(round) + "\"}}");
          plugin.Get(kTypes, "{}");
        }
        if (n % 2 == 0) plugin.Delete(path);
      });
    }
  }
  std::string expected;
  for (const auto& row : Postgres().Query("SELECT id, name FROM evidence.evidence_type WHERE deleted = 0 AND id > 5 "
                                          "ORDER BY id")) {
    expected += R"(,{"ID":)" + row[0] + R"(,"Name":")" + row[1] + "\"}";
  }
  EXPECT_NE(expected.find(R"("Name":"w7r19")"), std::string::npos);
  EXPECT_EQ(plugin.Get(kTypes, "{}"),
            Answer(0, R"({"TotalNum":10,"EvidenceTypeList":{"EvidenceType":[)" + kBuiltIn + expected + "]}}"));
}

}  // namespace
