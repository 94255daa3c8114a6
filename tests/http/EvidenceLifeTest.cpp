// The life of an evidence as a client leads it: what the host answers, the rows, the history and the platform's log.

#include <gtest/gtest.h>

#include <memory>
#include <regex>

#include "KelpUtils/RapidJsonProto.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "http/OpensslCommand.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";
constexpr char kPassword[] = "clara's password";

std::string Answer(int code, const std::string& data = {}) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
         (data.empty() ? "" : R"(,"Data":)" + data) + "}}";
}

/// The answer with its times made equal.
std::string Timeless(const std::string& answer) {
  return std::regex_replace(answer, std::regex(R"("\d{4}-\d\d-\d\dT[\d:]{8}[+-][\d:]{5}")"), R"("T")");
}

/// "clara", who may create, change and delete, at a host with the file manager.
class EvidenceLifeTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureTester();
    const auto added = RunHost({"user", "add", "clara", "--cs", "41,44", "--control", "43", "--password-stdin"},
                               std::string(kPassword) + "\n");
    ASSERT_EQ(added.exit_code, 0) << added.err;
    host_ = std::make_unique<HostProcess>(HostProcess::SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so"}});
    host_->WaitUntilListening();
  }
  static void TearDownTestSuite() {
    EXPECT_EQ(host_->Stop().exit_code, 0);
    host_.reset();
  }

  void SetUp() override {
    for (const char* const table : {"evidence.evidence", "evidence.evidence_file", "evidence.operation_log",
                                    "filemanager.link", "platform.operation_log"})
      Postgres().Query(std::string("DELETE FROM ") + table);
    Postgres().Query("ALTER SEQUENCE evidence.evidence_id_seq RESTART 1");
    const auto reply = Ask(host_->port(), "POST", "/login", "",
                           std::string(R"({"UserName":"clara","Password":")") + kPassword + "\"}");
    kelp::CRapidJsonProto answer;
    ASSERT_TRUE(answer.set_str(reply.body)) << reply.body;
    session_ = answer.get_v("/SessionID", "");
    key_ = answer.get_v("/SessionKey", "");
  }

  std::string Call(const std::string& method, const std::string& path, const std::string& body = {}) const {
    return Timeless(Ask(host_->port(), method, path, session_, body).body);
  }
  std::string Create(const std::string& name, const std::string& more = R"("Status":1)") const {
    return Call("POST", kV1, R"({"Evidence":{"Guid":"G-)" + name + R"(","Name":")" + name + "\"," + more + "}}");
  }
  /// The part of a deletion's body that names clara and her password.
  std::string Confirmation(const std::string& password) const {
    return R"("UserList":{"User":[{"UserName":"clara","Password":")" + SealedByOpenssl(password, key_) + R"("}]})";
  }

  /// The lines that the platform's log got since the last call, "type name/description", and " code" of a failure.
  static Rows TakeLog() {
    auto rows = Postgres().Query(
        "SELECT log_type || ' ' || object_name || '/' || description || "
        "CASE WHEN sub_code = 0 THEN '' ELSE ' ' || sub_code END || CASE user_name WHEN 'clara' THEN '' ELSE '?' END "
        "FROM platform.operation_log ORDER BY id");
    Postgres().Query("DELETE FROM platform.operation_log");
    return rows;
  }
  /// The rows of all histories from the last call on: "evidence type mod_type file before after".
  static Rows TakeHistory() {
    auto rows = Postgres().Query(
        "SELECT concat_ws(' ', evidence_id, operation_type, mod_type) || '|' || concat_ws('|', file_name, before_mod, "
        "after_mod), user_name, user_ip FROM evidence.operation_log ORDER BY id");
    for (auto& row : rows) {
      EXPECT_EQ(row[1] + "@" + row[2], "clara@127.0.0.1") << row[0];
      row.resize(1);
    }
    Postgres().Query("DELETE FROM evidence.operation_log");
    return rows;
  }
  static std::string Files() {
    return Postgres().Value(
        "SELECT string_agg(concat_ws(' ', f.evidence_id, f.id, f.file_name, f.deleted, l.linked), ', ' "
        "ORDER BY f.evidence_id, f.id) FROM evidence.evidence_file f "
        "JOIN filemanager.link l ON (l.file_id, l.evidence_id) = (f.id, f.evidence_id)");
  }

  inline static std::unique_ptr<HostProcess> host_;
  std::string session_;
  std::string key_;
};

TEST_F(EvidenceLifeTest, CreatedFoundAndChanged) {
  EXPECT_EQ(
      Create("Beta case", R"("Status":1,"EvidenceType":{"ID":1},"Desc":"by the gate","Label":"x|y","CADID":"C7")"),
      Answer(0, R"({"Evidence":{"ID":1,"Guid":"G-Beta case","Name":"Beta case","EvidenceType":{"ID":1,"Name":)"
                R"("Theft"},"Desc":"by the gate","Status":1,"Creator":{"ID":)" +
                    Postgres().Value("SELECT id FROM platform.users WHERE name = 'clara'") +
                    R"(,"Name":"clara"},"CreateTime":""}})"));
  EXPECT_NE(Create("alpha case").find(R"("ID":2,)"), std::string::npos);
  EXPECT_EQ(Create("Beta case"), Answer(9805, "{}")) << "the guid is taken";
  EXPECT_NE(Create("Gamma").find(R"("ID":3,)"), std::string::npos);
  EXPECT_EQ(TakeLog(), (Rows{{"306017 Beta case/"}, {"306017 alpha case/"}, {"306017 Gamma/"}}));
  EXPECT_EQ(TakeHistory(), (Rows{{"1 1 -1|||"}, {"2 1 -1|||"}, {"3 1 -1|||"}}));

  const std::string rest = R"("Desc":"by the gate","Status":1,"Creator":{"ID":)" +
                           Postgres().Value("SELECT id FROM platform.users WHERE name = 'clara'") +
                           R"(,"Name":"clara"},"CreateTime":"T",)";
  const std::string times = R"("EvidenceBeginTime":"","EvidenceEndTime":"","CADID":"C7","EvidenceCustomList":{}})";
  const std::string beta =
      R"({"ID":1,"Guid":"G-Beta case","Name":"Beta case","EvidenceType":{"ID":1,"Name":"Theft"},)" + rest;
  EXPECT_EQ(Call("GET", kV1 + "/1", "{}"), Answer(0, R"({"Evidence":)" + beta + times + "}"));
  EXPECT_EQ(TakeLog(), Rows{}) << "reading one leaves no line";
  const auto search = [this](int page, const std::string& keyword) {
    return Call("GET", kV1,
                R"({"EvidenceQueryReq":{"PageIndex":)" + std::to_string(page) +
                    R"(,"PageSize":1,"SortType":7,"Filter":{"Keyword":")" + keyword + R"("}}})");
  };
  EXPECT_EQ(search(1, "CASE"), Answer(0, R"({"EvidenceList":{"Evidence":[)" + beta + R"("Label":"x|y",)" + times +
                                             R"(]},"Completeness":0,"PageIndex":1,"PageSize":1,"TotalNum":2})"));
  EXPECT_NE(search(2, "case").find(R"([{"ID":2,)"), std::string::npos);
  EXPECT_EQ(search(1, "100%"), Answer(0, R"({"EvidenceList":{},"Completeness":1,"PageIndex":1,"PageSize":1,)"
                                         R"("TotalNum":0})"));
  EXPECT_EQ(TakeLog(), (Rows{{"306020 /"}, {"306020 /"}, {"306020 /"}}));

  EXPECT_EQ(Call("PUT", kV1 + "/1",
                 R"({"Evidence":{"ID":3,"Guid":"G-Beta case","Name":"O'Brien","EvidenceType":{"ID":2},"Status":1,)"
                 R"("Desc":"by the gate","Label":"y"}})"),
            Answer(0));
  EXPECT_EQ(TakeLog(), Rows{{"306018 O'Brien/"}});
  EXPECT_EQ(TakeHistory(), (Rows{{"1 2 7||-1:x|y|-1:y"},
                                 {"1 2 1||-1:Beta case|-1:O'Brien"},
                                 {"1 2 10||-1:C7|-1:"},
                                 {"1 2 2||1:Theft|2:Robbery"}}));
  EXPECT_EQ(Call("PUT", kV1,
                 R"({"EvidenceList":{"Evidence":[{"ID":1,"Status":0},{"ID":9,"Status":0},)"
                 R"({"ID":2,"Status":1}]}})"),
            Answer(99999, R"({"EvidenceErrorList":{"EvidenceError":[)"
                          R"({"Evidence":{"ID":1,"Guid":"G-Beta case","Name":"O'Brien"},"Error":{"ErrorModule":0,)"
                          R"("ErrorCode":0}},{"Evidence":{"ID":9,"Guid":"","Name":""},"Error":{"ErrorModule":0,)"
                          R"("ErrorCode":9804}},{"Evidence":{"ID":2,"Guid":"G-alpha case","Name":"alpha case"},)"
                          R"("Error":{"ErrorModule":0,"ErrorCode":0}}]}})"));
  EXPECT_EQ(TakeLog(), (Rows{{"306018 O'Brien/"}, {"306018 /"}, {"306018 alpha case/"}}));
  EXPECT_EQ(TakeHistory(), Rows{{"1 2 5||1:|0:"}});
  EXPECT_EQ(Postgres().Query("SELECT id, name, evidence_type_id, evidence_status, label, cad_id, evidence_desc "
                             "FROM evidence.evidence WHERE deleted = 0 ORDER BY id"),
            (Rows{{"1", "O'Brien", "2", "0", "y", "", "by the gate"},
                  {"2", "alpha case", "-1", "1", "", "", ""},
                  {"3", "Gamma", "-1", "1", "", "", ""}}));
}

TEST_F(EvidenceLifeTest, FilesOfOneAndOfMany) {
  Create("One");
  Create("Two");
  TakeLog();
  TakeHistory();
  const auto files = [](const std::string& list) { return R"({"FileList":{"File":[)" + list + "]}}"; };
  EXPECT_EQ(Call("POST", kV1 + "/1/Files", files(R"({"ID":11,"FileName":"a"},{"ID":12,"FileName":"b"})")),
            Answer(0, R"({"FileErrorList":{}})"));
  EXPECT_EQ(Call("POST", kV1 + "/1/Files", files(R"({"ID":11,"FileName":"a","Delete":1},{"ID":13,"FileName":"c"})")),
            Answer(0, R"({"FileErrorList":{}})"));
  EXPECT_EQ(TakeLog(),
            (Rows{{"306018 One/"}, {"306021 a;b/One"}, {"306018 One/"}, {"306021 c/One"}, {"306022 a/One"}}));
  EXPECT_EQ(TakeHistory(), (Rows{{"1 4 -1|a|b||"}, {"1 4 -1|c||"}, {"1 7 -1|a||"}}));
  EXPECT_EQ(Files(), "1 11 a 1 f, 1 12 b 0 t, 1 13 c 0 t");

  const auto batch = [](const std::string& evidences, const std::string& list) {
    return R"({"Request":{"EvidenceList":{"Evidence":[)" + evidences + R"(]},"FileList":{"File":[)" + list + "]}}}";
  };
  const std::string links = kV2 + "/Files/BatchLinks";
  EXPECT_EQ(Call("POST", links,
                 batch(R"({"EvidenceID":9},{"EvidenceID":2},{"EvidenceID":1})",
                       R"({"FileID":21,"FileName":"x"},{"FileID":22,"FileName":"y"})")),
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9999,"CascadingErrorInfo":"","Data":{)"
            R"("EvidenceErrorList":[{"EvidenceError":{"EvidenceID":9,"EvidenceName":"","ErrorList":[)"
            R"({"FileID":21,"ErrorCode":9804,"ErrorModule":0},{"FileID":22,"ErrorCode":9804,"ErrorModule":0}]}}]}}})");
  EXPECT_EQ(
      Call("PUT", links, batch(R"({"EvidenceID":2})", R"({"FileID":21,"FileName":"x"},{"FileID":12,"FileName":"b"})")),
      Answer(0));
  EXPECT_EQ(Call("PUT", links, batch("", R"({"FileID":22})")), Answer(0));
  EXPECT_EQ(TakeLog(), (Rows{{"306018 One/"},
                             {"306021 x;y/One"},
                             {"306018 Two/"},
                             {"306021 x;y/Two"},
                             {"306018 One/"},
                             {"306022 x/One"},
                             {"306018 One/"},
                             {"306022 b/One"},
                             {"306018 Two/"},
                             {"306021 b/Two"},
                             {"306018 One/"},
                             {"306022 y/One"},
                             {"306018 Two/"},
                             {"306022 y/Two"}}));
  EXPECT_EQ(TakeHistory(), (Rows{{"1 4 -1|x|y||"},
                                 {"2 4 -1|x|y||"},
                                 {"1 7 -1|x||"},
                                 {"1 7 -1|b||"},
                                 {"2 4 -1|b||"},
                                 {"1 7 -1|y||"},
                                 {"2 7 -1|y||"}}));
  EXPECT_EQ(Files(), "1 11 a 1 f, 1 12 b 1 f, 1 13 c 0 t, 1 21 x 1 f, 1 22 y 1 f, 2 12 b 0 t, 2 21 x 0 t, 2 22 y 1 f");
  const std::string one = Call("GET", kV1 + "/1", R"({"EvidenceQueryReq":{"Field":"FileList"}})");
  EXPECT_NE(one.find(R"("File":[{"ID":13}]}}})"), std::string::npos) << one;
}

TEST_F(EvidenceLifeTest, AHistoryReadsBack) {
  Create("One");
  Call("PUT", kV1 + "/1", R"({"Evidence":{"Guid":"G-One","Name":"One","Status":0,"EvidenceType":{"ID":3}}})");
  EXPECT_EQ(Call("POST", kV2 + "/OperationLog",
                 R"({"OperationLog":[{"EvidenceID":1,"UserName":"Gate","UserIP":"10.0.0.4","OperationType":5,)"
                 R"("Details":[{"Type":-1,"Name":"a"},{"Type":2,"Name":"b"}]},{"EvidenceID":2,"OperationType":1}]})"),
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":""}})");
  const auto item = [](int type, const std::string& is_device, const std::string& name, const std::string& ip,
                       const std::string& details) {
    return R"({"Time":"T","OperatorInfo":{"Type":)" + is_device + R"(,"Name":")" + name +
           R"(","AdditionName":"","IP":")" + ip + R"(","ClientType":1},"OperationType":)" + std::to_string(type) +
           (details.empty() ? "" : R"(,"OperationDetails":[)" + details + "]") + "}";
  };
  const auto detail = [](int type, int id, const std::string& name, int new_id, const std::string& new_name) {
    return R"({"OperationInfo":{"Type":)" + std::to_string(type) + R"(,"NameID":)" + std::to_string(id) +
           R"(,"Name":")" + name + R"(","NameUpdatedID":)" + std::to_string(new_id) + R"(,"NameUpdated":")" + new_name +
           R"("}})";
  };
  EXPECT_EQ(
      Call("GET", kV2 + "/1/OperationLog"),
      R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":{"OperationLogList":[)" +
          item(1, "0", "clara", "127.0.0.1", "") + "," +
          item(2, "0", "clara", "127.0.0.1", detail(5, -1, "", -1, "") + "," + detail(2, -1, "", 3, "Attack")) + "," +
          item(5, "1", "Gate", "10.0.0.4", detail(-1, -1, "a", -1, "") + "," + detail(-1, -1, "b", -1, "")) + "]}}}");
  EXPECT_EQ(Call("GET", kV2 + "/7/OperationLog"),
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":{}}})");
}

TEST_F(EvidenceLifeTest, DeletedWithAPasswordOnly) {
  Create("One");
  Create("Two");
  Create("Three");
  Call("POST", kV1 + "/1/Files", R"({"FileList":{"File":[{"ID":11,"FileName":"a"}]}})");
  TakeLog();
  TakeHistory();
  const auto list = [this](const std::string& password) {
    return R"({"EvidenceDeleteReq":{"IDs":"1,2",)" + Confirmation(password) + "}}";
  };
  EXPECT_EQ(Call("DELETE", kV1 + "/3", "{}"), Answer(2, R"({"EvidenceDeleteRsp":{}})")) << "nobody confirms";
  EXPECT_EQ(Call("DELETE", kV1, list("guessed")),
            Answer(201, R"({"EvidenceDeleteRsp":{"RemainTimes":4,"RemainType":1,"Username":"clara"}})"));
  EXPECT_EQ(TakeLog(), Rows{{"306019 / 2"}});
  EXPECT_EQ(TakeHistory(), (Rows{{"3 3 -1|||"}, {"1 3 -1|||"}, {"2 3 -1|||"}}));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence WHERE deleted = 0"), "3");

  EXPECT_EQ(Call("DELETE", kV1, list(kPassword)), Answer(0, R"({"EvidenceDeleteRsp":{}})"));
  EXPECT_EQ(Call("DELETE", kV1 + "/3", R"({"EvidenceDeleteReq":{)" + Confirmation(kPassword) + "}}"),
            Answer(0, R"({"EvidenceDeleteRsp":{}})"));
  EXPECT_EQ(TakeLog(), (Rows{{"306019 One;Two/"}, {"306019 Three/"}}));
  EXPECT_EQ(TakeHistory(), (Rows{{"1 3 -1|||"}, {"2 3 -1|||"}, {"3 3 -1|||"}}));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence WHERE deleted = 1"), "3");
  EXPECT_EQ(Files(), "1 11 a 1 f");
  EXPECT_EQ(Call("GET", kV1 + "/1", "{}"), Answer(9804, "{}"));
  EXPECT_NE(Create("One").find(R"("ID":4,)"), std::string::npos) << "its guid is free again";
  EXPECT_EQ(host_->Log().find(kPassword), std::string::npos);
}

}  // namespace
}  // namespace evidence_test
