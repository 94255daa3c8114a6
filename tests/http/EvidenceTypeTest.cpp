// The plugin in the real host, as a client on the network and an operator at the machine see it.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <thread>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

const std::string kTypes = "/TRELL/Halyard/Evidence/V1/Evidence/Type";

std::string Envelope(int code) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) + "}}";
}

class EvidenceTypeTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    Postgres().Query("DELETE FROM evidence.evidence_type WHERE id > 5");
    Postgres().Query("UPDATE evidence.evidence_type SET name = '', deleted = 0");
    Postgres().Query("ALTER SEQUENCE evidence.evidence_type_id_seq RESTART 6");
    Start();
  }

  void Start() {
    host_ = std::make_unique<HostProcess>(HostProcess::SettingsMap{{"plugins", "casefile.s.so"}});
    host_->WaitUntilListening();
    session_ = Login(host_->port(), "tester", kTesterPassword);
  }

  HttpReply Call(const std::string& method, const std::string& path, const std::string& body = {}) const {
    return Ask(host_->port(), method, path, session_, body);
  }

  std::unique_ptr<HostProcess> host_;
  std::string session_;
};

TEST_F(EvidenceTypeTest, WholeWalkOutlivesARestart) {
  const std::string builtin = R"({"ID":0},{"ID":1},{"ID":2},{"ID":3},{"ID":4},{"ID":5})";
  EXPECT_EQ(Call("PUT", kTypes, R"({"EvidenceTypeList":{"EvidenceType":[)" + builtin + R"(,{"Name":"Arson"}]}})").body,
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"EvidenceTypeErrorList":{}}}})");
  EXPECT_EQ(Call("PUT", kTypes + "/6", R"({"EvidenceType":{"Name":"Burglary"}})").body, Envelope(0));
  EXPECT_EQ(Call("DELETE", kTypes + "/5").body, Envelope(0));
  EXPECT_EQ(host_->Stop().exit_code, 0);
  EXPECT_NE(host_->Log().find("Evidence Plugin UnInit success."), std::string::npos);

  Start();
  EXPECT_EQ(Call("GET", kTypes, R"({"EvidenceTypeQueryReq":{"PageIndex":2,"PageSize":4}})").body,
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"TotalNum":6,"PageIndex":2,"PageSize":4,)"
            R"("EvidenceTypeList":{"EvidenceType":[{"ID":4,"Name":"Missing person"},{"ID":6,"Name":"Burglary"}]}}}})");
  EXPECT_EQ(Postgres().Query("SELECT id, name, deleted FROM evidence.evidence_type WHERE id > 4 ORDER BY id"),
            (Rows{{"5", "", "1"}, {"6", "Burglary", "0"}}));
}

TEST_F(EvidenceTypeTest, StatusLinesFollowTheBody) {
  EXPECT_EQ(Call("GET", kTypes).status, 200) << "an empty body is a refused request, not a broken one";
  EXPECT_EQ(Call("POST", kTypes).body, Envelope(8));
  EXPECT_EQ(Call("POST", "/TRELL/Halyard/Evidence/V1/Evidence/Custom").status, 204);
  EXPECT_EQ(Call("PATCH", kTypes).status, 405);
  EXPECT_EQ(Call("GET", kTypes + "/x").status, 404);
  EXPECT_EQ(Ask(host_->port(), "GET", kTypes, "").status, 401);
}

TEST_F(EvidenceTypeTest, PermissionsComeFromTheUser) {
  const auto added = RunHost({"user", "add", "clerk", "--web", "1423,1424", "--password-stdin"}, "clerk's password\n");
  ASSERT_EQ(added.exit_code, 0) << added.err;
  session_ = Login(host_->port(), "clerk", "clerk's password");
  EXPECT_EQ(Call("DELETE", kTypes + "/1").status, 204) << "no permission, no body";
  const auto put = [this](const std::string& entries) {
    return Call("PUT", kTypes, R"({"EvidenceTypeList":{"EvidenceType":[)" + entries + "]}}").body;
  };
  EXPECT_NE(
      put(R"({"ID":0},{"ID":1},{"ID":2},{"ID":3},{"ID":4},{"ID":5},{"Name":"By clerk"})").find("\"ErrorCode\":0,"),
      std::string::npos);
  EXPECT_EQ(Postgres().Value("SELECT user_name FROM platform.operation_log WHERE object_name = 'By clerk'"), "clerk");
  EXPECT_NE(put(R"({"ID":0})").find("\"ErrorCode\":10,"), std::string::npos) << "entries left out are deletions";
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_type WHERE deleted = 0"), "7");
}

TEST_F(EvidenceTypeTest, WorksAgainByItselfWhenTheDatabaseIsBack) {
  Postgres().Stop();
  EXPECT_EQ(Call("PUT", kTypes + "/1", R"({"EvidenceType":{"Name":"x"}})").body, Envelope(15));
  EXPECT_EQ(Call("GET", kTypes, "{}").status, 200) << "reads are served from memory";
  EXPECT_EQ(Ask(host_->port(), "GET", "/ready", "").status, 503);
  Postgres().Start();
  EXPECT_EQ(Ask(host_->port(), "GET", "/ready", "").status, 200);
  EXPECT_EQ(Call("PUT", kTypes + "/1", R"({"EvidenceType":{"Name":"x"}})").body, Envelope(0));
}

/// What a shared object gives to others.
std::set<std::string> ExportedSymbols(const std::string& file) {
  std::set<std::string> symbols;
  const std::string command = "nm -D --defined-only --format=posix '" + file + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), &pclose);
  char line[4096];
  while (output && std::fgets(line, sizeof(line), output.get()) != nullptr) {
    const std::string text(line);
    symbols.insert(text.substr(0, text.find(' ')));
  }
  return symbols;
}

TEST(ExportTest, PluginsShowTheirTwoEntryPointsOnly) {
  for (const char* const file : {PLUGIN_FILE, FILE_MANAGER_FILE}) {
    EXPECT_EQ(ExportedSymbols(file), (std::set<std::string>{"Init", "UnInit"})) << file;
  }
}

}  // namespace
}  // namespace evidence_test
