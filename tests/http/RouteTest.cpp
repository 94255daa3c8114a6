// The route table by itself, and over sockets what its rows are given and how they answer.

#include <algorithm>
#include <future>
#include <set>

#include "http/HostProcess.h"
#include "http/RouteTable.h"
#include "platform/ErrorWords.h"

namespace evidence_test {
namespace {

using host::RouteTable;
using platform::HttpAccess;
using platform::HttpPool;
using platform::HttpRoute;
using testing::HasSubstr;
using testing::Not;

HttpRoute RouteOf(const std::string& method, const std::string& path) {
  HttpRoute route;
  route.method = method;
  route.path = path;
  route.run = [](const platform::HttpRequest&) { return platform::HttpResponse(); };
  return route;
}

/// "<pattern> name=value …", the methods that there are, or "-".
std::string Found(const RouteTable& routes, const std::string& method, const std::string& path) {
  const auto found = routes.Find(method, path);
  if (const auto* const others = std::get_if<RouteTable::OtherMethods>(&found)) return others->allow;
  const auto* const match = std::get_if<RouteTable::Match>(&found);
  if (match == nullptr) return "-";
  auto text = match->route->path.substr(host::kRoutesBegin.size() - 1);
  for (const auto& [name, value] : match->values)
    text += " " + name + "=" + value;
  return text;
}

TEST(RouteTableTest, TheMostExactRowOfAPathAnswersItsMethods) {
  RouteTable routes(platform::MakeRouteTable());
  for (const char* const path : {"/{a}", "/users/{name}", "/users/me", "/{a}/{b}", "/users/{name}/files/{id}"})
    ASSERT_TRUE(routes.Register(RouteOf("GET", "/platform/v1" + std::string(path)))) << path;
  ASSERT_TRUE(routes.Register(RouteOf("PUT", "/platform/v1/users/{name}")));
  EXPECT_EQ(routes.Close(), "");
  EXPECT_FALSE(routes.Register(RouteOf("GET", "/platform/v1/late")));
  struct Case {
    const char* method;
    const char* path;
    const char* found;
  };
  for (const auto& [method, path, found] : std::initializer_list<Case>{
           {"GET", "users/me", "/users/me"},
           {"HEAD", "users/me", "/users/me"},
           {"GET", "users/you", "/users/{name} name=you"},
           {"PUT", "users/you", "/users/{name} name=you"},
           {"PUT", "users/me", "GET"},
           {"POST", "users/you", "GET, PUT"},
           {"get", "users/you", "GET, PUT"},
           {"GET", "other/you", "/{a}/{b} a=other b=you"},
           {"GET", "users/a%2Fb/files/7", "/users/{name}/files/{id} name=a/b id=7"},
           {"GET", "users/%C3%A9", "/users/{name} name=é"},
           {"GET", "users/%FF", "-"},
           {"GET", "users/%00", "-"},
           {"GET", "users/%4", "-"},
           {"GET", "users/%zz", "-"},
           {"GET", "users/", "-"},
           {"GET", "users", "/{a} a=users"},
           {"GET", "users/me/", "-"},
           {"GET", "", "-"},
       }) {
    EXPECT_EQ(Found(routes, method, "/platform/v1/" + std::string(path)), found) << method << " " << path;
  }
  EXPECT_EQ(Found(routes, "GET", "/users/me"), "-");
}

TEST(RouteTableTest, AWrongRowIsRefusedAndNamed) {
  struct Case {
    const char* path;
    std::function<void(HttpRoute&)> change;
    const char* reason;
  };
  const auto nothing = [](HttpRoute&) {};
  for (const auto& [path, change, reason] : std::initializer_list<Case>{
           {"/else/where", nothing, "stands outside"},
           {"/platform/v1/known", nothing, "is there twice"},
           {"/platform/v1/known/{other}", nothing, "has other names"},
           {"/platform/v1/new", [](HttpRoute& route) { route.method = "get"; }, "unknown method"},
           {"/platform/v1/new", [](HttpRoute& route) { route.run = nullptr; }, "no function"},
           {"/platform/v1/new",
            [](HttpRoute& route) {
              route.access = {HttpAccess::Who::kRole, {"auditor", "king"}};
            },
            "unknown role, king"},
           {"/platform/v1/new",
            [](HttpRoute& route) {
              route.access = {HttpAccess::Who::kRole, {}};
            },
            "roles"},
           {"/platform/v1/new",
            [](HttpRoute& route) {
              route.access = {HttpAccess::Who::kAnybody, {"auditor"}};
            },
            "roles"},
           {"/platform/v1/new", [](HttpRoute& route) { route.streams = true; }, "streams on other threads"},
           {"/platform/v1/new",
            [](HttpRoute& route) {
              route.pool = HttpPool::kConnections;
              route.body_limit = 1;
            },
            "no thread"},
       }) {
    RouteTable routes(platform::MakeRouteTable());
    ASSERT_TRUE(routes.Register(RouteOf("GET", "/platform/v1/known")));
    ASSERT_TRUE(routes.Register(RouteOf("GET", "/platform/v1/known/{name}")));
    auto route = RouteOf("GET", path);
    change(route);
    EXPECT_FALSE(routes.Register(std::move(route))) << reason;
    EXPECT_THAT(routes.Close(), HasSubstr(reason));
  }
}

TEST(RouteTableTest, TheRowsOfAPluginThatFailedAreGone) {
  RouteTable routes(platform::MakeRouteTable());
  ASSERT_TRUE(routes.Register(RouteOf("GET", "/platform/v1/a")));
  routes.BeginPlugin();
  ASSERT_TRUE(routes.Register(RouteOf("PUT", "/platform/v1/a")));
  ASSERT_TRUE(routes.Register(RouteOf("GET", "/platform/v1/b")));
  routes.DropPlugin();
  EXPECT_EQ(Found(routes, "PUT", "/platform/v1/a"), "GET");
  EXPECT_EQ(Found(routes, "GET", "/platform/v1/b"), "-");
  EXPECT_TRUE(routes.Register(RouteOf("GET", "/platform/v1/b"))) << "another plugin may have it";
}

TEST(RouteTableTest, APluginsCallbackNeedsASession) {
  const auto paths = platform::MakeRouteTable();
  ASSERT_TRUE(paths->RegisterUrl("/Files/ID", kelp::kMethodPut, 0,
                                 [](kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
                                   response.response_body = request.session_id + std::to_string(request.url_ids.at(0)) +
                                                            request.request_body + std::to_string(request.method_code);
                                 }));
  RouteTable routes(paths);
  EXPECT_EQ(routes.CallPlugin(kelp::kMethodGet, "/Files/7", "session ", "body "), "session 7body 4");
  EXPECT_EQ(routes.CallPlugin(kelp::kMethodGet, "/Files/7", "", "body"), std::nullopt);
  EXPECT_EQ(routes.CallPlugin(kelp::kMethodGet, "/Other", "session", "body"), std::nullopt);
}

TEST(ErrorWordsTest, EachPairStandsOnceAndFitsIntoAHeader) {
  std::set<std::pair<int, int>> pairs;
  for (const auto& row : platform::AllErrorWords()) {
    EXPECT_TRUE(pairs.emplace(row.module, row.code).second) << row.code;
    EXPECT_EQ(platform::FindErrorWords(row.module, row.code), &row);
    const std::string_view words(row.words);
    EXPECT_TRUE(std::ranges::all_of(words, [](char c) { return c >= ' ' && c < '\x7f' && c != '"' && c != '\\'; }));
    EXPECT_TRUE(row.status >= 400 && row.status < 600) << row.code;
  }
  EXPECT_EQ(platform::FindErrorWords(0, 0), nullptr);
}

/// A host with the plugin of routes.
class RoutesTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureUser("clerk");
    EnsureTester();
    host_ = std::make_unique<HostProcess>(SettingsMap{{"plugins", "test_routes.s.so"}, {"read_timeout_s", "1"}});
    session_ = Login(host_->WaitUntilListening(), "clerk").id;
  }
  static void TearDownTestSuite() {
    EXPECT_EQ(host_->Stop().exit_code, 0);
    host_.reset();
  }

  static HttpReply Ask(const std::string& method, const std::string& path, const std::string& body = "") {
    return evidence_test::Ask(host_->port(), method, "/platform/v1/test/" + path, session_, body);
  }

  inline static std::unique_ptr<HostProcess> host_;
  inline static std::string session_;
};

TEST_F(RoutesTest, ARequestHasItsPartsDecoded) {
  const HttpConnection connection(host_->port());
  connection.Send(RequestHead("GET", "/platform/v1/test/a%20b/12?x=1%262&y&z=a+b&x=%C3%A9", session_) +
                  "X-Extra: more\r\nX-Request-Id: abc.DEF-1_2\r\n\r\n");
  auto reply = connection.ReadReply();
  EXPECT_EQ(reply.body, "GET a b 12 x=1&2 y= z=a b x=é more 127.0.0.1 private []");
  EXPECT_EQ(reply.headers["Content-Type"], "text/plain");
  EXPECT_EQ(reply.headers["X-Seen"], "abc.DEF-1_2");
  EXPECT_EQ(reply.headers["X-Request-Id"], "abc.DEF-1_2");
  EXPECT_EQ(Ask("PATCH", "x/y", "12345").body, "PATCH x -1 - 127.0.0.1 private [12345]");
  for (const auto* const id :
       {"a b", "", "a/b", "0123456789012345678901234567890123456789012345678901234567890123456"}) {
    connection.Send(RequestHead("GET", "/platform/v1/test/a/1", session_) + "X-Request-Id: " + id + "\r\n\r\n");
    const auto made = connection.ReadReply().headers["X-Request-Id"];
    EXPECT_NE(made, id);
    EXPECT_GT(made.size(), 12U);
  }
}

TEST_F(RoutesTest, EachRefusalIsAProblemDocument) {
  struct Case {
    const char* method;
    const char* path;
    const char* body;
    bool with_session;
    int status;
    const char* code;
  };
  for (const auto& [method, path, body, with_session, status, code] : std::initializer_list<Case>{
           {"GET", "a/1", "", false, 401, "no_session"},
           {"GET", "nothing", "", false, 401, "no_session"},
           {"POST", "a/1", "", false, 401, "no_session"},
           {"GET", "nothing", "", true, 404, "no_such_path"},
           {"POST", "a/1", "", true, 405, "method_not_allowed"},
           {"GET", "audit", "", true, 403, "role_required"},
           {"GET", "a/1?x=%zz", "", true, 400, "bad_request"},
           {"GET", "a/1?x=%00", "", true, 400, "bad_request"},
           {"GET", "a/1", "body", true, 413, "body_too_large"},
           {"PATCH", "a/1", "12345678901", true, 413, "body_too_large"},
           {"GET", "refused", "", true, 422, "too_blue"},
           {"GET", "throw", "", true, 500, "internal_error"},
       }) {
    auto reply = evidence_test::Ask(host_->port(), method, "/platform/v1/test/" + std::string(path),
                                    with_session ? session_ : "", body);
    EXPECT_EQ(reply.status, status) << method << path;
    EXPECT_EQ(reply.headers["Content-Type"], "application/problem+json") << method << path;
    EXPECT_THAT(reply.body, HasSubstr(R"("code":")" + std::string(code) + R"(")")) << method << path;
    EXPECT_THAT(reply.body, HasSubstr(R"("request_id":")" + reply.headers["X-Request-Id"] + R"(")"));
  }
  const auto super = Login(host_->port()).id;
  EXPECT_EQ(evidence_test::Ask(host_->port(), "GET", "/platform/v1/test/audit", super).status, 200);
  EXPECT_EQ(Ask("POST", "a/1").headers["Allow"], "GET, PATCH");
  EXPECT_THAT(Ask("GET", "refused").body,
              HasSubstr(R"("title":"Unprocessable Content","status":422,"detail":"It is \"too\" blue.")"));
}

TEST_F(RoutesTest, WhoMustChangeThePasswordMayDoNothingElse) {
  EnsureUser("novice");
  const auto session = Login(host_->port(), "novice").id;
  const auto status = [&session](const std::string& path) {
    return evidence_test::Ask(host_->port(), "GET", path, session).status;
  };
  EXPECT_EQ(status("/platform/v1/test/a/1"), 200);
  Postgres().Query("UPDATE platform.users SET must_change_password = true WHERE name = 'novice'");
  const auto fresh = Login(host_->port(), "novice").id;
  const auto ask = [&fresh](const char* path) { return evidence_test::Ask(host_->port(), "GET", path, fresh); };
  EXPECT_EQ(ask("/platform/v1/test/a/1").status, 403);
  EXPECT_THAT(ask("/platform/v1/test/a/1").body, HasSubstr(R"("code":"password_change_required")"));
  EXPECT_THAT(ask("/TRELL/Halyard/Evidence/V1/Evidence").body, HasSubstr("the password must be changed first"));
}

TEST_F(RoutesTest, AFileIsSentInPart) {
  const ScratchFolder folder;
  const auto file = folder.Write("file", "0123456789");
  EXPECT_EQ(Ask("GET", "file?offset=2&size=3&file=" + file).body, "234");
  const HttpConnection connection(host_->port());
  connection.Send(RequestText("HEAD", "/platform/v1/test/refused", session_) + RequestText("GET", "/live", ""));
  EXPECT_EQ(connection.ReadHead().status, 422);
  EXPECT_EQ(connection.ReadReply().body, R"({"Status":"live"})") << "a HEAD has no body";
}

TEST_F(RoutesTest, AWriterIsTakenAsFastAsItsClientReads) {
  const HttpConnection connection(host_->port());
  connection.Send(RequestText("GET", "/platform/v1/test/blocks?blocks=20000", session_));
  const auto body = connection.ReadChunks();
  ASSERT_EQ(body.size(), 20'000'000U);
  for (std::size_t block = 0; block < 20'000; ++block)
    ASSERT_EQ(body.compare(block * 1000, 1000, std::string(1000, static_cast<char>('a' + block % 26))), 0) << block;
  for (const char* const end : {"cut=1", "cut=throw"}) {
    const HttpConnection other(host_->port());
    other.Send(RequestText("GET", "/platform/v1/test/blocks?blocks=3&" + std::string(end), session_));
    EXPECT_THROW(other.ReadChunks(), std::runtime_error) << "the client must see that it is not all: " << end;
  }
  // Those that nobody reads hold no thread once their clients have gone.
  for (int i = 0; i < 20; ++i) {
    const HttpConnection gone(host_->port());
    gone.Send(RequestText("GET", "/platform/v1/test/blocks?blocks=1000000", session_));
    gone.ReadHead();
  }
  EXPECT_EQ(Ask("PUT", "sum", "ab").body, "2 195");
}

TEST_F(RoutesTest, ABodyStreams) {
  constexpr std::size_t kSize = 10'000'000;
  constexpr std::size_t kLimit = 20'000'000;
  std::string body;
  body.resize(kSize);
  std::uint64_t sum = 0;
  for (std::size_t at = 0; at < body.size(); ++at) {
    body[at] = static_cast<char>(at * 7 % 251);
    sum += static_cast<unsigned char>(body[at]);
  }
  EXPECT_EQ(Ask("PUT", "sum", body).body, std::to_string(body.size()) + " " + std::to_string(sum));
  EXPECT_EQ(Ask("PUT", "sum").body, "0 0");
  EXPECT_EQ(Ask("PUT", "sum?stop=100000", body).status, 422) << "answered when the client has sent all";
  std::string too_large;
  too_large.resize(kLimit + 1, 'x');
  EXPECT_EQ(Ask("PUT", "sum", too_large).status, 413);
  const HttpConnection chunked(host_->port());
  const std::string head = RequestHead("PUT", "/platform/v1/test/sum", session_) + "Transfer-Encoding: chunked\r\n\r\n";
  chunked.Send(head + "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
  EXPECT_EQ(chunked.ReadReply().body, "5 495");
  // One that goes away in its middle, and one that sends nothing more, give their threads back.
  for (int i = 0; i < 20; ++i)
    HttpConnection(host_->port()).Send(head + "3\r\nabc\r\n");
  const HttpConnection silent(host_->port());
  silent.Send(head + "3\r\nabc\r\n");
  EXPECT_EQ(silent.ReadReply().status, 0);
  EXPECT_EQ(Ask("PUT", "sum", "ab").body, "2 195");
}

TEST(RoutesStreamTest, ABodyThatTricklesHoldsNoThread) {
  EnsureTester();
  HostProcess host(SettingsMap{{"plugins", "test_routes.s.so"}, {"read_timeout_s", "1"}, {"stream_workers", "1"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const HttpConnection trickle(host.port());
  trickle.Send(RequestHead("PUT", "/platform/v1/test/sum", session) + "Transfer-Encoding: chunked\r\n\r\n1\r\na\r\n");
  // It waits for the only thread.
  const auto other = std::async(std::launch::async,
                                [&] { return Ask(host.port(), "PUT", "/platform/v1/test/sum", session, "ab").body; });
  EXPECT_TRUE(Eventually([&] {
    trickle.Send("1\r\na\r\n");
    return other.wait_for(std::chrono::milliseconds(50)) == std::future_status::ready;
  }));
}

TEST(RoutesStartTest, AWrongRowStopsTheStart) {
  EnsureTester();
  const auto finished = HostProcess(SettingsMap{{"plugins", "test_wrong_route.s.so"}}).Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("the route GET /elsewhere stands outside of /platform/v1/"));
}

TEST(RoutesStopTest, AStopEndsWhatStreams) {
  EnsureTester();
  HostProcess host(SettingsMap{{"plugins", "test_routes.s.so"}, {"drain_timeout_s", "1"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const HttpConnection reader(host.port());
  reader.Send(RequestText("GET", "/platform/v1/test/blocks?blocks=1000000", session));
  EXPECT_EQ(reader.ReadHead().status, 200);
  const HttpConnection writer(host.port());
  writer.Send(RequestHead("PUT", "/platform/v1/test/sum", session) + "Content-Length: 1000000\r\n\r\nabc");
  EXPECT_THAT(host.Stop().err, Not(HasSubstr("abort")));
}

}  // namespace
}  // namespace evidence_test
