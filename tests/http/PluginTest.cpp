// The plugins in the real host: the answers to clients and other plugins, and the rows that remain.

#include <cstdlib>
#include <regex>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";

std::string Answer(int code, const std::string& data = {}) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
         (data.empty() ? "" : R"(,"Data":)" + data) + "}}";
}

class PluginTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureUser("clara", {"--cs", "41,44", "--control", "43", "--web", "1423,1424"});
    ResetTables();
    Start();
  }
  void Start() {
    host_ = std::make_unique<HostProcess>(SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so, test_show.s.so"}});
    session_ = Login(host_->WaitUntilListening(), "clara");
  }
  void TearDown() override {
    EXPECT_EQ(host_->Stop().exit_code, 0);
    const auto log = host_->Log();
    EXPECT_LT(log.find("casefile.s.so stopped"), log.find("file_manager.s.so stopped"));
    EXPECT_THAT(log, Not(HasSubstr(kPassword)));
  }

  /// The answer with its times made equal; the status instead of an empty one.
  std::string Call(const std::string& method, const std::string& path, const std::string& body = {}) const {
    const auto reply = Ask(host_->port(), method, path, session_.id, body);
    if (reply.body.empty()) return std::to_string(reply.status);
    return std::regex_replace(reply.body, std::regex(R"("\d{4}-\d\d-\d\dT[\d:]{8}[+-][\d:]{5}")"), R"("T")");
  }
  struct Exchange {
    std::string method;
    std::string path;
    std::string body;
    std::string answer;
  };
  void Play(const std::vector<Exchange>& exchanges) const {
    for (const auto& [method, path, body, answer] : exchanges)
      EXPECT_EQ(Call(method, path, body), answer) << method << " " << path << " " << body;
  }
  std::string ChangeType() const { return Call("PUT", kV1 + "/Type/1", R"({"EvidenceType":{"Name":"Burglary"}})"); }
  /// The part of a deletion's body that names clara and her password.
  std::string Confirmation(const std::string& password) const {
    return R"("UserList":{"User":[{"UserName":"clara","Password":")" + Openssl("-A", password, session_.key) +
           R"("}]})";
  }

  /// Evidences, their files and links, the platform's log and the histories: a line each.
  static std::string Tables() {
    std::string lines;
    for (const char* const sql :
         {"SELECT concat_ws(' ', id, guid, name, evidence_type_id, evidence_status, label, cad_id, deleted) "
          "FROM evidence.evidence ORDER BY id",
          "SELECT concat_ws(' ', f.evidence_id, f.id, f.file_name, f.deleted, l.linked) FROM evidence.evidence_file f "
          "JOIN filemanager.link l ON (l.file_id, l.evidence_id) = (f.id, f.evidence_id) ORDER BY f.evidence_id, f.id",
          "SELECT concat_ws(' ', log_type, user_name, object_name || '/' || description, nullif(sub_code, 0)) "
          "FROM platform.operation_log ORDER BY id",
          "SELECT concat_ws(' ', evidence_id, operation_type, mod_type, user_name || '@' || user_ip) || '|' || "
          "concat_ws('|', file_name, before_mod, after_mod) FROM evidence.operation_log ORDER BY id"}) {
      for (const auto& row : Postgres().Query(sql))
        lines += row[0] + "\n";
    }
    return lines;
  }

  std::unique_ptr<HostProcess> host_;
  OpenedSession session_;
};

TEST_F(PluginTest, HeadersTellTheErrorInWordsAndTheVersionOfADictionary) {
  const auto headers = [this](const std::string& method, const std::string& path, const std::string& body) {
    auto reply = Ask(host_->port(), method, path, session_.id, body);
    return reply.headers["Evidence-Error"] + "|" + reply.headers["Evidence-Version"];
  };
  EXPECT_EQ(headers("GET", kV1 + "/9", "{}"), R"(9804; "no such evidence"|)");
  EXPECT_EQ(headers("PATCH", kV1 + "/9", "{}"), "|");
  EXPECT_EQ(headers("PUT", kV1 + "/Type/1", R"({"EvidenceType":{"Name":"Robbery"}})"),
            "9808; \"name of a type in use\"|");
  EXPECT_EQ(headers("GET", kV1 + "/Type", "{}"), "|0") << "with 0 the whole dictionary is asked for";
  ChangeType();
  for (const char* const path : {"/Type", "/Custom"}) {
    const auto version = headers("GET", kV1 + path, "{}");
    EXPECT_EQ(headers("QUERY", kV1 + path, "{}"), version);
    EXPECT_EQ(headers("GET", "/TRELL/Halyard/BaseVideo/V0/Evidence/Type", "{}"), version);
    // Each change after it, and none before it, is what a client with that version asks for.
    const auto changes = [&, number = version.substr(1)] {
      return Call("GET", kV1 + "/Type", R"({"EvidenceTypeQueryReq":{"ClientResourceVersion":)" + number + "}}");
    };
    EXPECT_THAT(changes(), HasSubstr(R"("TotalNum":0)"));
    ChangeType();
    EXPECT_NE(headers("GET", kV1 + path, "{}"), version);
    EXPECT_THAT(changes(), HasSubstr(R"("TotalNum":1)"));
  }
}

TEST_F(PluginTest, TheLifeOfAnEvidence) {
  const std::string clara = R"("Creator":{"ID":)" +
                            Postgres().Value("SELECT id FROM platform.users WHERE name = 'clara'") +
                            R"(,"Name":"clara"},)";
  const std::string beta = R"({"ID":1,"Guid":"b","Name":"Beta case","EvidenceType":{"ID":1,"Name":"Theft"},)"
                           R"("Desc":"by the gate","Status":1,)" +
                           clara;
  const std::string two = R"("EvidenceList":{"Evidence":[{"EvidenceID":9},{"EvidenceID":2},{"EvidenceID":1}]})";
  Play({
      {"POST", kV1,
       R"({"Evidence":{"Guid":"b","Name":"Beta case","Status":1,"EvidenceType":{"ID":1},"Desc":"by the gate",)"
       R"("Label":"x|y","CADID":"C7"}})",
       Answer(0, R"({"Evidence":)" + beta + R"("CreateTime":""}})")},
      {"POST", kV1, R"({"Evidence":{"Guid":"a","Status":1}})",
       Answer(0, R"({"Evidence":{"ID":2,"Guid":"a","Name":"","EvidenceType":{"ID":4294967295,"Name":""},"Desc":"",)"
                 R"("Status":1,)" +
                     clara + R"("CreateTime":""}})")},
      {"GET", kV1, R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":1,"Filter":{"Keyword":"CASE"}}})",
       Answer(0, R"({"EvidenceList":{"Evidence":[)" + beta +
                     R"("CreateTime":"T","Label":"x|y","EvidenceBeginTime":"","EvidenceEndTime":"","CADID":"C7",)"
                     R"("EvidenceCustomList":{}}]},"Completeness":1,"PageIndex":1,"PageSize":1,"TotalNum":1})")},
      {"PUT", kV1 + "/1",
       R"({"Evidence":{"ID":3,"Guid":"b","Name":"O'Brien","EvidenceType":{"ID":2},"Status":1,"Label":"y"}})",
       Answer(0)},
      {"PUT", kV1, R"({"EvidenceList":{"Evidence":[{"ID":1,"Status":0},{"ID":9,"Status":0}]}})",
       Answer(99999, R"({"EvidenceErrorList":{"EvidenceError":[{"Evidence":{"ID":1,"Guid":"b","Name":"O'Brien"},)"
                     R"("Error":{"ErrorModule":0,"ErrorCode":0}},{"Evidence":{"ID":9,"Guid":"","Name":""},)"
                     R"("Error":{"ErrorModule":0,"ErrorCode":9804}}]}})")},
      {"POST", kV1 + "/1/Files", R"({"FileList":{"File":[{"ID":11,"FileName":"a"},{"ID":12,"FileName":"b"}]}})",
       Answer(0, R"({"FileErrorList":{}})")},
      {"POST", kV1 + "/1/Files", R"({"FileList":{"File":[{"ID":11,"FileName":"a","Delete":1}]}})",
       Answer(0, R"({"FileErrorList":{}})")},
      {"POST", kV2 + "/Files/BatchLinks",
       R"({"Request":{)" + two + R"(,"FileList":{"File":[{"FileID":21,"FileName":"x"}]}}})",
       R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9999,"CascadingErrorInfo":"","Data":{"EvidenceErrorList":)"
       R"([{"EvidenceError":{"EvidenceID":9,"EvidenceName":"","ErrorList":[{"FileID":21,"ErrorCode":9804,)"
       R"("ErrorModule":0}]}}]}}})"},
      {"PUT", kV2 + "/Files/BatchLinks",
       R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":2}]},"FileList":{"File":[{"FileID":21,)"
       R"("FileName":"x"}]}}})",
       Answer(0)},
      {"POST", kV2 + "/OperationLog",
       R"({"OperationLog":[{"EvidenceID":1,"UserName":"Gate","UserIP":"10.0.0.4","OperationType":5}]})",
       R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":""}})"},
      {"DELETE", kV1 + "/2", "{}", Answer(2, R"({"EvidenceDeleteRsp":{}})")},
      {"DELETE", kV1, R"({"EvidenceDeleteReq":{"IDs":"1,2",)" + Confirmation("guessed") + "}}",
       Answer(201, R"({"EvidenceDeleteRsp":{"RemainTimes":4,"RemainType":1,"Username":"clara"}})")},
      {"DELETE", kV1 + "/1", R"({"EvidenceDeleteReq":{)" + Confirmation(kPassword) + "}}",
       Answer(0, R"({"EvidenceDeleteRsp":{}})")},
      {"PUT", kV1 + "/Type", R"({"EvidenceTypeList":{"EvidenceType":[{"ID":0}]}})",
       Answer(10, R"({"EvidenceTypeErrorList":{}})")},
      {"DELETE", kV1 + "/Type/5", "", "204"},
      {"GET", kV1 + "/Type", R"({"EvidenceTypeQueryReq":{"PageIndex":2,"PageSize":4}})",
       Answer(0, R"({"TotalNum":6,"PageIndex":2,"PageSize":4,"EvidenceTypeList":{"EvidenceType":[)"
                 R"({"ID":4,"Name":"Missing person"},{"ID":5,"Name":"Suspicious behavior"}]}})")},
  });
  EXPECT_EQ(Tables(),
            "1 b O'Brien 2 0 y  1\n2 a  -1 1   0\n"
            "1 11 a 1 f\n1 12 b 1 f\n1 21 x 1 f\n2 21 x 0 t\n"
            "306017 clara Beta case/\n306017 clara /\n306020 clara /\n306018 clara O'Brien/\n306018 clara O'Brien/\n"
            "306018 clara /\n306018 clara O'Brien/\n306021 clara a;b/O'Brien\n306018 clara O'Brien/\n"
            "306022 clara a/O'Brien\n306018 clara O'Brien/\n306021 clara x/O'Brien\n306018 clara /\n"
            "306021 clara x/\n306018 clara O'Brien/\n306022 clara x/O'Brien\n306019 clara / 2\n"
            "306019 clara O'Brien/\n"
            "1 1 -1 clara@127.0.0.1|||\n2 1 -1 clara@127.0.0.1|||\n1 2 7 clara@127.0.0.1||-1:x|y|-1:y\n"
            "1 2 6 clara@127.0.0.1||-1:by the gate|-1:\n1 2 1 clara@127.0.0.1||-1:Beta case|-1:O'Brien\n"
            "1 2 10 clara@127.0.0.1||-1:C7|-1:\n1 2 2 clara@127.0.0.1||1:Theft|2:Robbery\n"
            "1 2 5 clara@127.0.0.1||1:|0:\n1 4 -1 clara@127.0.0.1|a|b||\n1 7 -1 clara@127.0.0.1|a||\n"
            "1 4 -1 clara@127.0.0.1|x||\n2 4 -1 clara@127.0.0.1|x||\n1 7 -1 clara@127.0.0.1|x||\n"
            "1 5 -1 Gate@10.0.0.4|||\n2 3 -1 clara@127.0.0.1|||\n1 3 -1 clara@127.0.0.1|||\n"
            "2 3 -1 clara@127.0.0.1|||\n1 3 -1 clara@127.0.0.1|||\n");
}

TEST_F(PluginTest, AnotherPluginCreatesEvidencesAndListsTypes) {
  EXPECT_EQ(Call("POST", "/Api",
                 R"(/API/Evidence/V1/Evidence {"Request":{"Evidence":[)"
                 R"({"Guid":"g1","Name":"zebra","Status":0,"File":{"Name":"z","Path":"p"}},)"
                 R"({"Guid":"g2","Name":"ant","Status":1,"File":[{"Name":"b"},{"Name":"a"}]}]}})"),
            R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":{"Evidence":[)"
            R"({"ID":1,"Name":"zebra","File":[{"ID":1000000001,"Name":"z"}]},{"ID":2,"Name":"ant","File":)"
            R"([{"ID":1000000002,"Name":"b"},{"ID":1000000003,"Name":"a"}]}]}}})");
  EXPECT_EQ(Tables(),
            "1 g1 zebra -1 0   0\n2 g2 ant -1 1   0\n"
            "1 1000000001 z 0 t\n2 1000000002 b 0 t\n2 1000000003 a 0 t\n"
            "306017  zebra/\n306021  z/zebra\n306017  ant/\n306021  b;a/ant\n"
            "1 1 -1 @|||\n1 4 -1 @|z||\n2 1 -1 @|||\n2 4 -1 @|b|a||\n");
  EXPECT_EQ(
      Call("POST", "/Api", R"(/API/Evidence/V1/Evidence/Type {"Request":{"SearchCriteria":{"EvidenceTypeIDs":[1]}}})"),
      R"({"BinarySize":"","Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":)"
      R"({"EvidenceTypeList":{"EvidenceType":[{"ID":1,"Name":"Theft"}]},"PageIndex":-1,"PageSize":-1,)"
      R"("TotalNum":1}}})");
  EXPECT_EQ(Call("POST", "/Api", "/API/Evidence/V1/Evidence"), "no reply") << "without a request";
}

TEST_F(PluginTest, ADatabaseThatComesBackIsUsedAgain) {
  Postgres().Stop();
  EXPECT_EQ(ChangeType(), Answer(15));
  const auto becomes = [this](int status) {
    return Eventually([&] { return Ask(host_->port(), "GET", "/ready", "").status == status; });
  };
  EXPECT_TRUE(becomes(503));
  EXPECT_EQ(Ask(host_->port(), "POST", "/login", "", LoginText("clara", "x")).status, 503);
  EXPECT_THAT(Call("GET", kV1 + "/Type", "{}"), HasSubstr("Theft")) << "reads are served from memory";
  Postgres().Start();
  EXPECT_EQ(ChangeType(), Answer(0));
  EXPECT_TRUE(becomes(200));
}

TEST(ExportTest, PluginsShowTheirTwoEntryPointsOnly) {
  for (const std::string file : {PLUGIN_FILE, FILE_MANAGER_FILE, DESK_FILE}) {
    const auto command =
        "test \"$(echo $(nm -D --defined-only --format=just-symbols '" + file + "'))\" = 'Init UnInit'";
    EXPECT_EQ(std::system(command.c_str()), 0) << file;
  }
}

}  // namespace
}  // namespace evidence_test
