// Who did what, as the log of requests tells it: over sockets, with the plugins.

#include <regex>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";
const std::string kRequests = "/platform/v1/requests";

class NotedRequestsTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureUser("clara", {"--cs", "41,44", "--control", "43", "--web", "1423,1424"});
    EnsureUser("audrey", {"--role", "auditor"});
    ResetTables();
    Postgres().Query("DELETE FROM platform.request_log");
  }
  void Start(SettingsMap settings = {}) {
    settings.emplace("plugins", "file_manager.s.so, casefile.s.so");
    host_.emplace(std::move(settings));
    session_ = Login(host_->WaitUntilListening(), "clara");
  }
  HttpReply Call(const std::string& method, const std::string& path, const std::string& body = {}) const {
    return Ask(host_->port(), method, path, session_.id, body);
  }
  HttpReply ChangeType(const std::string& name = "Burglary") const {
    return Call("PUT", kV1 + "/Type/1", R"({"EvidenceType":{"Name":")" + name + "\"}}");
  }
  /// One row a line, in the order in which they were answered.
  static Rows Noted(const std::string& columns) {
    return Postgres().Query("SELECT " + columns + " FROM platform.request_log ORDER BY id");
  }

  std::optional<HostProcess> host_;
  OpenedSession session_;
};

TEST_F(NotedRequestsTest, AStopLeavesWhoDidWhat) {
  Start();
  Call("POST", kV1, R"({"Evidence":{"ID":77,"Guid":"b","Name":"Beta","Status":1}})");
  Call("PUT", kV1 + "/1", R"({"Evidence":{"Guid":"b","Name":"Gamma","Status":1}})");
  Call("GET", kV1 + "/1");
  Call("POST", kV2 + "/OperationLog", R"({"OperationLog":[{"EvidenceID":1,"UserName":"mallory","OperationType":5}]})");
  Call("PUT", kV1, R"({"EvidenceList":{"Evidence":[{"ID":1,"Status":0},{"ID":9,"Status":0}]}})");
  Call("DELETE", kV1,
       R"({"EvidenceDeleteReq":{"IDs":"1,2","UserList":{"User":[{"UserName":"clara","Password":")" +
           Openssl("-A", kPassword, session_.key) + R"("}]}}})");
  Call("PUT", kV1 + "/Type/1", "no JSON");
  Call("PUT", kV1 + "/1/Nothing");
  Ask(host_->port(), "PUT", kV1 + "/1", "");
  EXPECT_EQ(host_->Stop().exit_code, 0);
  EXPECT_EQ(Noted("method, path, ids, evidence_ids, status, error_module, error_code"),
            (Rows{{"POST", kV1, "{1}", "{1}", "200", "0", "0"},
                  {"PUT", kV1 + "/1", "{1}", "{1}", "200", "0", "0"},
                  {"POST", kV2 + "/OperationLog", "{1}", "{1}", "200", "0", "0"},
                  {"PUT", kV1, "{1,9}", "{1,9}", "200", "0", "99999"},
                  {"DELETE", kV1, "{1,2}", "{1,2}", "200", "0", "0"},
                  {"PUT", kV1 + "/Type/1", "{1}", "{}", "200", "0", "2"}}));
  EXPECT_EQ(Postgres().Value("SELECT user_name FROM evidence.operation_log WHERE operation_type = 5"), "mallory");
  EXPECT_EQ(Postgres().Query("SELECT DISTINCT user_id = (SELECT id FROM platform.users WHERE name = 'clara'), "
                             "user_name, client_address, session ~ '^[0-9a-f]{32}$', request_id <> '' "
                             "FROM platform.request_log"),
            (Rows{{"t", "clara", "127.0.0.1", "t", "t"}}));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM platform.request_log AS r WHERE position('" + session_.id +
                             "' in r::text) > 0"),
            "0");
  EXPECT_EQ(RunHost({"requests", "--since", "2999-01-01"}).out, "");
  EXPECT_EQ(RunHost({"requests", "--since", "then"}).exit_code, 1);
  const auto lines =
      RunHost({"requests", "--evidence", "1", "--user", "clara", "--since", "2000-01-01", "--limit", "2"}).out;
  EXPECT_TRUE(std::regex_match(lines, std::regex("[^\n]*PUT " + kV1 +
                                                 "\tids \\[1,9\\]\t200 \\(0, 99999\\)[^\n]*\n"
                                                 "[^\n]*DELETE " +
                                                 kV1 + "\tids \\[1,2\\][^\n]*\n")))
      << lines;
}

TEST_F(NotedRequestsTest, RoutesOfHostAndDeskAreNotedToo) {
  EnsureUser("admin", {"--super"});
  Start({{"plugins", "file_manager.s.so, casefile.s.so, desk.s.so"}});
  const auto admin = Login(host_->port(), "admin").id;
  const auto clara = Postgres().Value("SELECT id FROM platform.users WHERE name = 'clara'");
  const auto send = [&](const std::string& session, const std::string& method, const std::string& path,
                        const std::string& headers, const std::string& body) {
    const HttpConnection connection(host_->port());
    connection.Send(RequestHead(method, path, session) + headers + "Content-Length: " + std::to_string(body.size()) +
                    "\r\n\r\n" + body);
    return connection.ReadReply().status;
  };
  const std::string desk = "/platform/v1/evidence";
  const std::string merge = "Content-Type: application/merge-patch+json\r\n";
  EXPECT_EQ(
      send(session_.id, "POST", desk, "Content-Type: application/json\r\n", R"({"guid":"a","name":"A","status":0})"),
      201);
  EXPECT_EQ(send(session_.id, "PATCH", desk + "/1", merge + "If-Match: *\r\n", R"({"name":"B"})"), 200);
  EXPECT_EQ(send(session_.id, "PATCH", desk + "/1", merge, R"({"name":"C"})"), 428);
  EXPECT_EQ(send(session_.id, "GET", desk + "/1", "", ""), 200);
  EXPECT_EQ(send(session_.id, "DELETE", "/platform/v1/session", "", ""), 204);
  EXPECT_EQ(send(session_.id, "DELETE", "/platform/v1/session", "", ""), 401);
  EXPECT_EQ(send(admin, "PATCH", "/platform/v1/users/" + clara, "", R"({"enabled":true})"), 200);
  EXPECT_EQ(host_->Stop().exit_code, 0);
  EXPECT_EQ(Noted("user_name, method, path, evidence_ids, status, bytes_in"),
            (Rows{{"clara", "POST", desk, "{1}", "201", "34"},
                  {"clara", "PATCH", desk + "/1", "{1}", "200", "12"},
                  {"clara", "PATCH", desk + "/1", "{1}", "428", "12"},
                  {"clara", "DELETE", "/platform/v1/session", "{}", "204", "0"},
                  {"admin", "PATCH", "/platform/v1/users/" + clara, "{}", "200", "16"}}));
}

TEST_F(NotedRequestsTest, AuditorsReadThemPageByPage) {
  Start({{"request_log", "all"}});
  for (const char* const id : {"1", "2", "1"})
    Call("QUERY", kV1 + "/" + id, "{}");
  const auto audrey = Login(host_->port(), "audrey").id;
  const auto ask = [&](const std::string& query) { return Ask(host_->port(), "GET", kRequests + query, audrey); };
  const auto of_1 = "?limit=1&user=clara&since=2000-01-01T00:00:00Z&until=2999-01-01T00:00:00Z&evidence=1";
  ASSERT_TRUE(Eventually([&] { return Noted("1").size() == 3; }));
  const auto first = ask(of_1).body;
  std::smatch next;
  ASSERT_TRUE(std::regex_search(first, next, std::regex(R"x("next":"([^"]*)"\})x"))) << first;
  EXPECT_THAT(first, AllOf(HasSubstr(R"("user_name":"clara")"), HasSubstr(R"("evidence_ids":[1],"status":200,)"
                                                                          R"("error_module":0,"error_code":9804,)")));
  const auto second = ask(of_1 + ("&after=" + next[1].str())).body;
  EXPECT_THAT(second, AllOf(HasSubstr(R"("evidence_ids":[1],)"), Not(HasSubstr("next"))));
  EXPECT_EQ(ask(of_1 + std::string("&after=") + "2000-01-01T00:00:00.000000Z_1").body, R"({"items":[]})");
  EXPECT_EQ(ask("?user=nobody").body, R"({"items":[]})");
  EXPECT_EQ(ask("?until=2000-01-01T00:00:00Z").body, R"({"items":[]})");
  for (const char* const wrong : {"?evidence=x", "?evidence=-1", "?limit=0", "?since=yesterday", "?until=2026-02-31",
                                  "?after=1", "?after=2000-01-01T00:00:00.000000Z_1;", "?after='_1"})
    EXPECT_EQ(ask(wrong).status, 400) << wrong;
  EXPECT_EQ(Call("GET", kRequests).status, 403);
  EXPECT_EQ(Ask(host_->port(), "GET", kRequests, "").status, 401);
}

TEST_F(NotedRequestsTest, WithoutTheDatabaseNothingIsWrittenThatCannotBeNoted) {
  Start({{"request_log_queue", "16"}});
  const auto noted = [] { return Postgres().Value("SELECT count(*) FROM platform.request_log"); };
  Postgres().Stop();
  int answered = 0;
  ASSERT_TRUE(Eventually([&] {
    const auto reply = ChangeType();
    if (reply.status == 200) ++answered;
    return reply.status == 503 && reply.headers.contains("Retry-After");
  }));
  EXPECT_GE(answered, 16);
  EXPECT_EQ(Call("GET", kV1 + "/Type", "{}").status, 200);
  Postgres().Start();
  ASSERT_TRUE(Eventually([this] { return ChangeType("Fraud").status == 200; }));
  EXPECT_TRUE(Eventually([&] { return noted() == std::to_string(answered + 1); })) << noted() << " of " << answered;
  Postgres().Stop();
  EXPECT_EQ(ChangeType().status, 200);
  host_->Stop();
  Postgres().Start();
  EXPECT_THAT(host_->Log(), HasSubstr("requests wait to be noted in the database: until it takes them, no more"));
  EXPECT_TRUE(std::regex_search(host_->Log(), std::regex("not noted: [^\n]*\tclara\t[^\n]*\tPUT\t" + kV1 +
                                                         "/Type/1\t\\{1\\}\t\\{\\}\t200\t0\t15\t")))
      << "a stop without the database keeps the rows in the log";
}

}  // namespace
}  // namespace evidence_test
