// What operators' programs get: metrics, state, and the log as JSON.

#include <rapidjson/document.h>

#include <set>
#include <sstream>

#include "http/HostProcess.h"
#include "metrics/RouteNames.h"

namespace evidence_test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr char kTypes[] = "/TRELL/Halyard/Evidence/V1/Evidence/Type";

TEST(RouteNamesTest, ARequestIsNamedByWhatItWants) {
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"GET", "/TRELL/Halyard/Evidence/V1/Evidence", "list_evidences"},
      {"GET", "/TRELL/Halyard/BaseVideo/V0/Evidence/17", "read_evidence"},
      {"PUT", "/TRELL/Halyard/Evidence/V1/Evidence/-1", "change_evidence"},
      {"POST", "/TRELL/Halyard/Evidence/V1/Evidence", "create_evidence"},
      {"DELETE", "/TRELL/Halyard/Evidence/V1/Evidence", "delete_evidence"},
      {"GET", kTypes, "read_dictionary"},
      {"DELETE", "/TRELL/Halyard/Evidence/V1/Evidence/Type/4", "change_dictionary"},
      {"POST", "/TRELL/Halyard/Evidence/V1/Evidence/17/Files", "link_files"},
      {"POST", "/TRELL/Halyard/Evidence/V2/Evidence/Files/BatchLinks", "link_files"},
      {"GET", "/TRELL/Halyard/Evidence/V2/Evidence/17/OperationLog", "read_history"},
      {"POST", "/TRELL/Halyard/Evidence/V2/Evidence/OperationLog", "write_history"},
      {"GET", "/platform/v1/evidence", "desk_list"},
      {"PATCH", "/platform/v1/evidence/17", "desk_change"},
      {"DELETE", "/platform/v1/sessions/3", "accounts"},
      {"POST", "/login", "login"},
      {"POST", "/Evidence/17x", "other"},
      {"GET", "17", "other"},
      {"GET", "", "other"},
      {"PATCH", "/TRELL/Halyard/Evidence/V1/Evidence/17", "other"},
  };
  const auto names = host::RouteNames();
  EXPECT_LE(names.size(), 20U);
  for (const auto& [method, path, name] : kCases)
    EXPECT_EQ(names[host::RouteNumber(method, path)], name) << method << " " << path;
}

/// The port of the operators' server, which the log tells.
int AdminPort(const HostProcess& host) {
  const std::string before = "metrics on http://127.0.0.1:";
  int port = 0;
  EXPECT_TRUE(Eventually([&] {
    const auto log = host.Log();
    const auto at = log.find(before);
    if (at != std::string::npos) port = std::atoi(log.c_str() + at + before.size());
    return port != 0;
  }));
  return port;
}

/// The value of a series, as its line has it; "" without one.
std::string Value(const std::string& metrics, const std::string& series) {
  std::istringstream lines(metrics);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(series + " ")) return line.substr(series.size() + 1);
  }
  return "";
}

TEST(MetricsTest, CountWhatWasAnswered) {
  EnsureTester();
  HostProcess host(
      SettingsMap{{"admin_listen", "127.0.0.1:0"}, {"log_level", "3"}, {"plugins", "file_manager.s.so,casefile.s.so"}});
  const int port = host.WaitUntilListening();
  const int admin = AdminPort(host);
  const auto session = Login(port).id;
  ASSERT_EQ(Ask(port, "POST", "/login", "", LoginText("tester", "wrong")).status, 401);
  ASSERT_EQ(Ask(port, "QUERY", kTypes, session, "{}").status, 200);
  ASSERT_EQ(Ask(port, "GET", kTypes, session, "{}").status, 200);
  ASSERT_EQ(Ask(port, "GET", "/TRELL/Halyard/Evidence/V1/Evidence/2000000000", session, "{}").status, 200);
  ASSERT_EQ(Ask(port, "GET", kTypes, "nobody").status, 401);
  ASSERT_EQ(Ask(port, "GET", "/x\"y{z}", session).status, 404);
  const auto reply = Ask(admin, "GET", "/metrics", "");
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.headers.at("Content-Type"), HasSubstr("text/plain; version=0.0.4"));
  const std::pair<const char*, const char*> kSeries[] = {
      {R"(evidence_http_requests_total{route="read_dictionary",status="200",code="0"})", "2"},
      {R"(evidence_http_requests_total{route="read_evidence",status="200",code="9804"})", "1"},
      {R"(evidence_http_requests_total{route="other",status="404",code="none"})", "1"},
      {R"(evidence_http_request_duration_seconds_count{route="login"})", "2"},
      {R"(evidence_http_request_duration_seconds_bucket{route="login",le="+Inf"})", "2"},
      {R"(evidence_http_rejected_total{reason="no_session"})", "1"},
      {R"(evidence_logins_total{result="ok"})", "1"},
      {R"(evidence_logins_total{result="refused"})", "1"},
      {R"(evidence_db_statement_duration_seconds_count{statement="read_evidence"})", "1"},
      {R"(evidence_db_connections{plugin="casefile.s",state="used"})", "0"},
      {"evidence_sessions", "1"},
      {"evidence_http_in_flight", "0"},
  };
  for (const auto& [series, value] : kSeries)
    EXPECT_EQ(Value(reply.body, series), value) << series;
  EXPECT_NE(Value(reply.body, R"(evidence_records{state="living"})"), "");
  EXPECT_THAT(reply.body, Not(HasSubstr("y{z}"))) << "what a client sends is no label";
  EXPECT_EQ(Ask(admin, "POST", "/metrics", "").status, 405);
  EXPECT_EQ(Ask(admin, "GET", kTypes, session).status, 404);
  EXPECT_EQ(Ask(admin, "GET", "/live", "").status, 200);
  EXPECT_EQ(Ask(admin, "GET", "/ready", "").status, 200);
  EXPECT_EQ(Ask(port, "GET", "/metrics", session).status, 404) << "metrics stay with the operators";
  const auto is_ready = [admin](int status) { return Ask(admin, "GET", "/ready", "").status == status; };
  Postgres().Stop();
  EXPECT_TRUE(Eventually([&] { return is_ready(503); })) << "without its database";
  Postgres().Start();
  EXPECT_TRUE(Eventually([&] { return is_ready(200); }));
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST(MetricsTest, OtherMachinesAreNotServedUnasked) {
  HostProcess host(SettingsMap{{"admin_listen", "0.0.0.0:0"}});
  const auto end = host.Wait();
  EXPECT_EQ(end.exit_code, 1);
  EXPECT_THAT(end.err, HasSubstr("admin_listen = 0.0.0.0:0 lets other machines connect"));
}

TEST(JsonLogTest, EachLineIsAnObjectThatTellsItsRequest) {
  EnsureTester();
  HostProcess host(
      SettingsMap{{"log_format", "json"}, {"log_level", "1"}, {"plugins", "file_manager.s.so,casefile.s.so"}});
  const int port = host.WaitUntilListening();
  const auto session = Login(port).id;
  HttpConnection connection(port);
  connection.Send(RequestHead("GET", "/TRELL/Halyard/Evidence/V1/Evidence/2000000000", session) +
                  "X-Request-Id: find-me.1\r\nContent-Length: 2\r\n\r\n{}");
  ASSERT_EQ(connection.ReadReply().headers.at("X-Request-Id"), "find-me.1");
  ASSERT_EQ(host.Stop().exit_code, 0);
  std::set<std::string> tags;
  std::istringstream lines(host.Log());
  for (std::string line; std::getline(lines, line);) {
    rapidjson::Document parsed;
    ASSERT_FALSE(parsed.Parse(line.c_str()).HasParseError()) << line;
    for (const char* const key : {"ts", "level", "tag", "text"})
      ASSERT_TRUE(parsed.HasMember(key)) << line;
    if (!parsed.HasMember("request_id") || parsed["request_id"] != "find-me.1") continue;
    tags.insert(parsed["tag"].GetString());
    if (!parsed.HasMember("function")) continue;
    EXPECT_STREQ(parsed["user"].GetString(), "tester") << line;
    EXPECT_GT(parsed["line"].GetInt(), 0) << line;
    EXPECT_THAT(parsed["text"].GetString(), HasSubstr(parsed["function"].GetString()));
  }
  EXPECT_THAT(tags, Contains("host"));
  EXPECT_THAT(tags, Contains("casefile.s.evidence"));
  EXPECT_THAT(tags, Contains("db_layer"));
}

}  // namespace
}  // namespace evidence_test
