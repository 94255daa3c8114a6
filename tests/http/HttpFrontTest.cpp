#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "KelpUtils/RapidJsonProto.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr std::size_t kBodyLimit = 100'000;

/// One host with the echo plugin for all tests here.
class HttpFrontTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureTester();
    host_ = std::make_unique<HostProcess>(HostProcess::SettingsMap{{"plugins", "test_echo.s.so"},
                                                                   {"body_limit", std::to_string(kBodyLimit)},
                                                                   {"header_limit", "16384"},
                                                                   {"user_tries", "100"},
                                                                   {"client_freeze", "off"},
                                                                   {"read_timeout_s", "1"}});
    host_->WaitUntilListening();
    session_ = Login(host_->port(), "tester", kTesterPassword);
  }
  static void TearDownTestSuite() {
    const auto finished = host_->Stop();
    EXPECT_EQ(finished.exit_code, 0) << finished.err;
    host_.reset();
  }

  static HttpReply Get(const std::string& path) { return Ask(host_->port(), "GET", path, session_); }
  static HttpReply PostLogin(const std::string& body) { return Ask(host_->port(), "POST", "/login", "", body); }

  inline static std::unique_ptr<HostProcess> host_;
  inline static std::string session_;
};

TEST_F(HttpFrontTest, LoginGivesAnUnguessableSession) {
  const auto body = std::string(R"({"UserName":"tester","Password":")") + kTesterPassword + R"("})";
  const auto first = PostLogin(body);
  const auto second = PostLogin(body);
  EXPECT_EQ(first.status, 200);
  EXPECT_EQ(first.headers.at("content-type"), "application/json");
  EXPECT_NE(first.body, second.body);
  kelp::CRapidJsonProto answer;
  ASSERT_TRUE(answer.set_str(first.body));
  EXPECT_THAT(answer.get_v("/SessionID", ""), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_THAT(answer.get_v("/SessionKey", ""), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_NE(answer.get_v("/SessionID", ""), answer.get_v("/SessionKey", ""));
}

TEST_F(HttpFrontTest, LoginRefusalsTellNothing) {
  Postgres().Query(
      "INSERT INTO platform.users (name, password_hash, enabled)"
      " SELECT 'dismissed', password_hash, false FROM platform.users WHERE name = 'tester'"
      " ON CONFLICT DO NOTHING");
  const std::string refusal = PostLogin(R"({"UserName":"tester","Password":"wrong"})").body;
  for (const std::string body : {
           R"({"UserName":"tester","Password":"wrong"})",
           R"({"UserName":"nobody","Password":"correct horse"})",
           R"({"UserName":"Tester","Password":"correct horse"})",
           R"({"UserName":"dismissed","Password":"correct horse"})",
           R"({"UserName":"tester","Password":""})",
           R"({"UserName":"tester' OR 'a'='a","Password":"correct horse"})",
           R"({"UserName":"tester","Password":"correct horse\u0000tail"})",
           R"({})",
       }) {
    const auto reply = PostLogin(body);
    EXPECT_EQ(reply.status, 401) << body;
    EXPECT_EQ(reply.body, refusal) << body;
  }
  EXPECT_EQ(PostLogin("no json").status, 400);
  EXPECT_EQ(PostLogin(std::string(20'000, ' ')).status, 413);
}

TEST_F(HttpFrontTest, WithoutASessionEveryPathLooksTheSame) {
  for (const char* const path : {"/Echo", "/Unknown", "/Echo/1/Sub/2", "/"}) {
    for (const auto& session : {std::string(), std::string("garbage"), std::string(64, 'a'), session_ + "a"}) {
      const auto reply = Ask(host_->port(), "GET", path, session);
      EXPECT_EQ(reply.status, 401) << path;
      EXPECT_EQ(reply.body, R"({"Error":"no session"})");
    }
  }
  for (const auto& header : {"Authorization: Basic " + session_, std::string("Authorization: Bearer "),
                             std::string("Authorization:"), "Cookie: " + session_}) {
    HttpConnection connection(host_->port());
    connection.Send("GET /Echo HTTP/1.1\r\nHost: test\r\n" + header + "\r\n\r\n");
    EXPECT_EQ(connection.ReadReply().status, 401) << header;
  }
}

TEST_F(HttpFrontTest, PathsAndMethods) {
  EXPECT_EQ(Get("/Unknown").status, 404);
  EXPECT_EQ(Get("/Ech%6F").status, 404);
  EXPECT_EQ(Get("/Echo%00").status, 404);
  EXPECT_EQ(Get("http://test/Echo").status, 404);
  EXPECT_EQ(Get("/Echo?a=b").status, 200);
  for (const char* const method : {"HEAD", "PATCH", "OPTIONS", "TRACE", "get", "X"}) {
    HttpConnection connection(host_->port());
    connection.Send(RequestText(method, "/Echo", session_));
    const auto reply = connection.ReadReply(std::string_view(method) != "HEAD");
    EXPECT_EQ(reply.status, 405) << method;
    EXPECT_EQ(reply.headers.at("allow"), "PUT, POST, DELETE, GET") << method;
  }
  const auto login = Ask(host_->port(), "GET", "/login", session_);
  EXPECT_EQ(login.status, 405);
  EXPECT_EQ(login.headers.at("allow"), "POST");
}

TEST_F(HttpFrontTest, LiveAndReadyNeedNoSession) {
  EXPECT_EQ(Ask(host_->port(), "GET", "/live", "").body, R"({"Status":"live"})");
  EXPECT_EQ(Ask(host_->port(), "GET", "/ready", "").status, 200);
}

TEST_F(HttpFrontTest, BodiesReachThePluginInEveryForm) {
  const char* const methods[] = {"PUT", "POST", "DELETE", "GET"};
  for (int code = 1; code <= 4; ++code) {
    const std::string method = methods[code - 1];
    const std::string big(70'000, 'x');
    for (const auto& body : {std::string("{}"), std::string("a\0b", 3), big}) {
      const auto expected = std::to_string(code) + " [" + body + "]";
      HttpConnection connection(host_->port());
      connection.Send(RequestText(method, "/Echo", session_, body));
      EXPECT_EQ(connection.ReadReply().body, expected) << method;
      connection.Send(ChunkedRequestText(method, "/Echo", session_, body));
      EXPECT_EQ(connection.ReadReply().body, expected) << method << ", chunked";
    }
    EXPECT_EQ(Ask(host_->port(), method, "/Echo", session_).body, std::to_string(code) + " []") << method;
  }
}

TEST_F(HttpFrontTest, AnswersOfThePlugin) {
  EXPECT_EQ(Get("/Echo/17/Sub/2147483647").body, "4 17 2147483647 []");
  EXPECT_EQ(Get("/Echo/17/Sub/2147483648").status, 404);
  const auto nothing = Get("/Nothing");
  EXPECT_EQ(nothing.status, 204);
  EXPECT_FALSE(nothing.headers.contains("content-type"));
  const auto thrown = Get("/Throw");
  EXPECT_EQ(thrown.status, 500);
  EXPECT_EQ(thrown.body, R"({"Error":"internal error"})");
  EXPECT_EQ(Get("/Echo").status, 200) << "the host stands after an exception";
}

TEST_F(HttpFrontTest, BodyLimit) {
  EXPECT_EQ(Ask(host_->port(), "PUT", "/Echo", session_, std::string(kBodyLimit, 'x')).status, 200);
  const std::string over(kBodyLimit + 1, 'x');
  HttpConnection announced(host_->port());
  const auto text = RequestText("PUT", "/Echo", session_, over);
  announced.Send(text.substr(0, text.size() - over.size()));
  EXPECT_EQ(announced.ReadReply().status, 413) << "answered before the body is sent";
  HttpConnection chunked(host_->port());
  chunked.Send(ChunkedRequestText("PUT", "/Echo", session_, over));
  EXPECT_EQ(chunked.ReadReply().status, 413);
  chunked.Send(RequestText("PUT", "/Echo", session_, "next"));
  EXPECT_EQ(chunked.ReadReply().body, "1 [next]");
}

TEST_F(HttpFrontTest, ARefusedBodyDoesNotBecomeTheNextRequest) {
  HttpConnection connection(host_->port());
  const std::string smuggled = RequestText("GET", "/live", "");
  connection.Send(RequestText("PUT", "/Unknown", session_, smuggled) + RequestText("GET", "/Echo", session_));
  EXPECT_EQ(connection.ReadReply().status, 404);
  EXPECT_EQ(connection.ReadReply().body, "4 []");
}

TEST_F(HttpFrontTest, ABodyLengthToldTwiceIsRefused) {
  const std::string start = "PUT /Echo HTTP/1.1\r\nHost: test\r\nAuthorization: Bearer " + session_ + "\r\n";
  for (const char* const length : {"Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd",
                                   "content-length: 3\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n"}) {
    HttpConnection connection(host_->port());
    connection.Send(start + length);
    EXPECT_EQ(connection.ReadReply().status, 400) << length;
    EXPECT_EQ(connection.ReadReply().status, 0) << "the connection goes on";
  }
}

TEST_F(HttpFrontTest, HeaderLimit) {
  const auto request = [](std::size_t size) {
    const std::string start = "GET /live HTTP/1.1\r\nHost: test\r\nX-Filler: ";
    return start + std::string(size - start.size() - 4, 'x') + "\r\n\r\n";
  };
  HttpConnection inside(host_->port());
  inside.Send(request(16'000));
  EXPECT_EQ(inside.ReadReply().status, 200);
  for (const std::size_t size : {17'000U, 100'000U}) {
    HttpConnection outside(host_->port());
    outside.Send(request(size));
    EXPECT_EQ(outside.ReadReply().status, 431) << size;
  }
}

TEST_F(HttpFrontTest, AnUnfinishedRequestIsCut) {
  HttpConnection connection(host_->port());
  connection.Send("PUT /Echo HTTP/1.1\r\nHost: test\r\nAuthorization: Bearer " + session_ +
                  "\r\nContent-Length: 10\r\n\r\nx");
  EXPECT_TRUE(connection.IsClosedByServer());
}

TEST_F(HttpFrontTest, PluginsSeeTheUserBehindTheSession) {
  EXPECT_EQ(Get("/WhoAmI").body, "tester 127.0.0.1 super web1 cs1 web2 cs2 web3 cs3");
  const auto guid = Postgres().Value("SELECT guid FROM platform.system");
  EXPECT_THAT(Get("/Facts").body, MatchesRegex(guid + " /.*/bin/"));

  ASSERT_EQ(RunHost({"user", "add", "clerk", "--web", "1,3", "--cs", "2", "--password-stdin"}, "pässword\n").exit_code,
            0);
  const auto before = Login(host_->port(), "clerk", "pässword");
  EXPECT_EQ(Ask(host_->port(), "GET", "/WhoAmI", before).body, "clerk 127.0.0.1 web1 cs2 web3");
  ASSERT_EQ(RunHost({"user", "permissions", "clerk", "--web", "2"}).exit_code, 0);
  EXPECT_EQ(Ask(host_->port(), "GET", "/WhoAmI", before).body, "clerk 127.0.0.1 web1 cs2 web3");
  const auto after = Login(host_->port(), "clerk", "pässword");
  EXPECT_EQ(Ask(host_->port(), "GET", "/WhoAmI", after).body, "clerk 127.0.0.1 web2");
}

TEST_F(HttpFrontTest, NoSecretIsLogged) {
  Login(host_->port(), "tester", kTesterPassword);
  PostLogin(R"({"UserName":"tester","Password":"mistyped secret"})");
  const auto log = host_->Log();
  EXPECT_THAT(log, HasSubstr("login refused"));
  EXPECT_THAT(log, testing::Not(HasSubstr(kTesterPassword)));
  EXPECT_THAT(log, testing::Not(HasSubstr("mistyped")));
}

}  // namespace
}  // namespace evidence_test
