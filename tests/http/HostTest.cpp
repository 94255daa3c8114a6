// The host as a program: what it answers to requests of any form, how it starts and how it stops.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kBodyLimit = 100'000;
const std::string kNoSession = R"(401 {"Error":"no session"})";
const std::string kNoPath = R"(404 {"Error":"no such path"})";
const std::string kTooLarge = R"(413 {"Error":"body too large"})";
const std::string kOddHeader = R"(400 {"Error":"invalid header name"})";
const std::string kNoHost = R"(400 {"Error":"Host must be given once"})";
const std::string kAmbiguous = R"(400 {"Error":"ambiguous body length"})";
const std::string kNoMethod = R"(405 {"Error":"method not allowed"})";
const std::string kWrongLogin = R"(401 {"Error":"wrong user name or password"})";

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

/// One host with the showing plugin for all tests here.
class HttpFrontTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureTester();
    host_ = std::make_unique<HostProcess>(SettingsMap{{"plugins", "test_show.s.so"},
                                                      {"body_limit", std::to_string(kBodyLimit)},
                                                      {"header_limit", "16384"},
                                                      {"user_tries", "100"},
                                                      {"client_freeze", "off"},
                                                      {"client_tries", "1"},
                                                      {"read_timeout_s", "1"}});
    session_ = Login(host_->WaitUntilListening()).id;
  }
  static void TearDownTestSuite() {
    EXPECT_EQ(host_->Stop().exit_code, 0);
    host_.reset();
  }

  /// What comes back on a connection of its own: "status allow body" of each answer, and "closed".
  static std::string Answers(const std::string& sent, int count = 1) {
    const HttpConnection connection(host_->port());
    connection.Send(sent);
    std::string text;
    for (int number = 0; number < count; ++number) {
      auto reply = connection.ReadReply();
      const auto allow = reply.headers["Allow"] + reply.headers["Accept-Query"];
      text += number == 0 ? "" : ", ";
      text += reply.status == 0 ? "closed" : std::to_string(reply.status) + " " + allow + reply.body;
    }
    return text;
  }
  static std::string Get(const std::string& path) { return RequestText("GET", path, session_); }
  static std::string Put(const std::string& rest) { return RequestHead("PUT", "/Echo", session_) + rest; }
  static std::string PostLogin(const std::string& body) { return RequestText("POST", "/login", "", body); }
  static std::string Overridden(const std::string& method, const std::string& override) {
    const auto start = RequestHead(method, "/Echo", session_) + "X-HTTP-Method-Override: " + override;
    return start + "\r\nContent-Length: 2\r\n\r\n{}";
  }
  static std::string Chunks(const std::string& body) {
    std::ostringstream text;
    text << "Transfer-Encoding: chunked\r\n\r\n" << std::hex << body.size() << "\r\n" << body << "\r\n0\r\n\r\n";
    return text.str();
  }
  static std::string WithHeaderOf(std::size_t size) {
    const auto start = RequestHead("GET", "/live", "") + "X-Filler: ";
    return start + std::string(size - start.size() - 4, 'x') + "\r\n\r\n";
  }

  inline static std::unique_ptr<HostProcess> host_;
  inline static std::string session_;
};

TEST_F(HttpFrontTest, EachRequestHasItsAnswer) {
  const std::string four = "405 PUT, POST, DELETE, GET, QUERYapplication/json" + kNoMethod.substr(4);
  const std::string full(kBodyLimit, 'x');
  const std::string nul("a\0b", 3);
  const struct {
    std::string sent;
    std::string answers;
    int count = 1;
  } kCases[] = {
      {RequestText("GET", "/live", ""), R"(200 {"Status":"live"})"},
      {RequestText("GET", "/ready", ""), R"(200 {"Status":"ready"})"},
      {Get("/Unknown"), kNoPath},
      {Get("http://test/Echo"), kNoPath},
      {Get("/Echo?a=b"), "200 4 []"},
      {Get("/Echo/17/Sub/2147483647"), "200 4 17 2147483647 []"},
      {Get("/Echo/17/Sub/2147483648"), kNoPath},
      {Get("/Nothing"), "204 "},
      {Get("/Throw") + Get("/Echo"), R"(500 {"Error":"internal error"}, 200 4 [])", 2},
      {RequestText("PATCH", "/Echo", session_), four},
      {RequestText("get", "/Echo", session_), four},
      {RequestText("GET", "/login", session_), "405 POST" + kNoMethod.substr(4)},
      // What reads as GET: QUERY, and a POST that says so.
      {RequestText("QUERY", "/Echo/17/Sub/3", session_, "{}") + Get("/Echo"), "200 4 17 3 [{}], 200 4 []", 2},
      {RequestText("QUERY", "/Echo", "", "{}"), R"(401 {"Error":"no session"})"},
      {RequestText("QUERY", "/live", ""), "405 GET" + kNoMethod.substr(4)},
      {RequestText("QUERY", "/login", ""), "405 POST" + kNoMethod.substr(4)},
      {Overridden("POST", "GET"), "200 4 [{}]"},
      {Overridden("PUT", "GET"), "200 1 [{}]"},
      {Overridden("POST", "DELETE"), "200 2 [{}]"},
      {RequestText("DELETE", "/Echo", session_, nul), "200 3 [" + nul + "]"},
      {RequestText("PUT", "/Echo", session_, full) + RequestText("GET", "/Echo", session_, full),
       "200 1 [" + full + "], 200 4 [" + full + "]", 2},
      // A chunked body ends its connection, as its end may be read in several ways.
      {Put(Chunks(full)) + Get("/Echo"), "200 1 [" + full + "], closed", 2},
      // Lengths: at most the limit, given once; what is refused never becomes the next request.
      {Put("Content-Length: 100001\r\n\r\n"), kTooLarge},
      {Put(Chunks(full + "x")) + Get("/Echo"), kTooLarge + ", closed", 2},
      {RequestText("PUT", "/Unknown", session_, Get("/live")) + Get("/Echo"), kNoPath + ", 200 4 []", 2},
      {"GET /live HTTP/1.0\r\n\r\n", R"(200 {"Status":"live"}, closed)", 2},
      {Put("Content-Length: 10\r\n\r\nnot whole"), "closed"},
      {WithHeaderOf(16'000), R"(200 {"Status":"live"})"},
      {WithHeaderOf(17'000), R"(431 {"Error":"header too large"})"},
      // A refused login gives no reason.
      {PostLogin(LoginText("tester", "mistyped")), kWrongLogin},
      {PostLogin(LoginText("tester", std::string(kPassword) + "\\u0000tail")), kWrongLogin},
      {PostLogin("no json"), R"(400 {"Error":"no JSON"})"},
      {PostLogin(std::string(20'000, ' ')), kTooLarge},
  };
  const auto refused = CountOf(host_->Log(), "login refused");
  for (const auto& [sent, answers, count] : kCases)
    EXPECT_EQ(Answers(sent, count), answers) << sent.substr(0, 300);
  std::string log;
  ASSERT_TRUE(Eventually([&] {
    log = host_->Log();
    return CountOf(log, "login refused") == refused + 2;
  }));
  EXPECT_THAT(log, Not(HasSubstr(kPassword)));
  EXPECT_THAT(log, Not(HasSubstr("mistyped")));
}

TEST_F(HttpFrontTest, AHeadThatCanBeReadInTwoWaysEndsItsConnection) {
  const std::string kMalformed = R"(400 {"Error":"malformed head"})";
  const std::string kOddValue = R"(400 {"Error":"invalid header value"})";
  const std::string kCoding = R"(400 {"Error":"unknown transfer coding"})";
  const std::string kOfLibrary = "400 ";
  const std::string nul(1, '\0');
  const std::string hidden = "GET /live HTTP/1.1\r\nHost: a\r\n\r\n";
  const std::string length = "Content-Length: " + std::to_string(hidden.size()) + "\r\n\r\n" + hidden;
  const std::string chunked = "Transfer-Encoding: chunked";
  const std::string last = "\r\n\r\n0\r\n\r\n" + hidden;
  const std::pair<std::string, std::string> kCases[] = {
      {Put("Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd"), kAmbiguous},
      {Put("content-length: 3\r\n" + Chunks("a")), kAmbiguous},
      {Put("Content-Length : 18\r\n\r\nGET /live HTTP/1.1\r\n\r\n"), kOddHeader},
      {Put("X\x01: 1\r\n\r\n"), kOddHeader},
      {Put("X: a\r\n b: c\r\n" + length), kOddHeader},
      {Put("X: a\r\n b\r\n" + length), kMalformed},
      {Put("Content-Length:\r\n 31\r\n\r\n" + hidden), kMalformed},
      {Put("X: a" + nul + "b\r\n" + length), kMalformed},
      {Put(nul + length), kMalformed},
      {Put(": a\r\n" + hidden), kMalformed},
      {Put("X: a\n" + length), kMalformed},
      {"PUT /Echo" + nul + "b HTTP/1.1\r\nHost: a\r\n" + length, kMalformed},
      {"PUT" + nul + " /Echo HTTP/1.1\r\nHost: a\r\n" + length, kMalformed},
      {"PUT /Echo /b HTTP/1.1\r\nHost: a\r\n" + length, kMalformed},
      {"PU(T /Echo HTTP/1.1\r\nHost: a\r\n" + length, kMalformed},
      {Put("X: a\r" + length), kOddValue},
      {Put("X: a\x01\r\n" + length), kOddValue},
      {Put("Transfer-Encoding: identity\r\n" + length), kAmbiguous},
      {Put(chunked + "\r\n" + chunked + last), kAmbiguous},
      {Put("Transfer-Encoding: gzip, chunked" + last), kCoding},
      {Put(chunked + " " + last), kCoding},
      {"PUT /Echo HTTP/1.0\r\nHost: a\r\n" + chunked + last, kCoding},
      {Put("Content-Length: 18446744073709551615\r\n\r\n"), kTooLarge},
      {hidden.substr(0, 20) + "\r\n", kNoHost},
      {"GET /live HTTP/1.2\r\n\r\n", kNoHost},
      {"GET /live HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", kNoHost},
      // The library's own page.
      {Put("Content-Length: +3\r\n\r\nabc"), kOfLibrary},
      {Put(chunked + "\r\n\r\n0x0\r\n\r\n" + hidden), kOfLibrary},
      {Put(chunked + "\r\n\r\n1\r\nab\r\n0\r\n\r\n" + hidden), kOfLibrary},
      // Read as one chunk, and nothing behind it.
      {Put(chunked + "\r\n\r\n1;a=b\nx\r\n0\r\n\r\n" + hidden), "200 1 [x]"},
  };
  for (const auto& [sent, answer] : kCases) {
    const int count = answer == kOfLibrary ? 1 : 2;
    const auto answers = Answers(sent, count);
    EXPECT_THAT(answers, testing::StartsWith(answer)) << sent;
    EXPECT_THAT(answers, testing::EndsWith(count == 2 ? ", closed" : "")) << sent;
  }
  const std::string odd = "GET /Echo?a=b+c&d= HTTP/1.1\r\nhost:\r\nX:   a \r\nY:\r\nAuthorization: Bearer ";
  EXPECT_EQ(Answers(odd + session_ + "\r\n\r\n"), "200 4 []") << "unusual, and not in doubt";
}

TEST_F(HttpFrontTest, WithoutASessionEveryPathLooksTheSame) {
  for (const auto& header : {std::string("X: y"), std::string("Authorization: Bearer garbage"),
                             "Authorization: Bearer " + std::string(96, 'a'), "Authorization: Bearer " + session_ + "a",
                             std::string("Authorization: Bearer "), std::string("Authorization:"),
                             "Authorization: Basic " + session_, "Cookie: " + session_}) {
    for (const char* const path : {"/Echo", "/Unknown", "/Echo/1/Sub/2", "/"})
      EXPECT_EQ(Answers(RequestHead("GET", path, "") + header + "\r\n\r\n"), kNoSession) << header << path;
  }
}

TEST_F(HttpFrontTest, PluginsSeeTheUserBehindTheSession) {
  const auto who = [](const OpenedSession& session) { return Ask(host_->port(), "GET", "/WhoAmI", session.id).body; };
  EnsureUser("wanda", {"--web", "1,3", "--cs", "2"});
  const auto super = Login(host_->port());
  const auto before = Login(host_->port(), "wanda");
  EXPECT_EQ((std::set{super.id, super.key, before.id, before.key}).size(), 4U);
  ASSERT_EQ(RunHost({"user", "permissions", "wanda", "--web", "2"}).exit_code, 0);
  EXPECT_EQ(who(super), "tester 127.0.0.1 super web1 cs1 web2 cs2 web3 cs3");
  EXPECT_TRUE(Eventually([&] { return who(before) == "wanda 127.0.0.1 web2"; })) << who(before);
  EXPECT_EQ(who(Login(host_->port(), "wanda")), "wanda 127.0.0.1 web2");
  const auto disabled = std::chrono::steady_clock::now();
  Postgres().Query("UPDATE platform.users SET enabled = false WHERE name = 'wanda'");
  EXPECT_EQ(Answers(PostLogin(LoginText("wanda", kPassword))), kWrongLogin);
  EXPECT_TRUE(Eventually([&] { return "401 " + who(before) == kNoSession; })) << who(before);
  EXPECT_LT(std::chrono::steady_clock::now() - disabled, std::chrono::seconds(5));
  EXPECT_THAT(RunHost({"user", "list"}).out, HasSubstr("\twanda\tuser\tdisabled\tweb 2\t"));
}

constexpr char kShow[] = "test_show.s.so";

bool Accepts(int port) try {
  const HttpConnection probe(port);
  return true;
} catch (const std::runtime_error&) {
  return false;
}

/// A host with one request that waits inside a plugin, at test_show's /Gate.
struct BusyHost {
  explicit BusyHost(const SettingsMap& settings) : host(settings) {
    for (const char* const pipe : {"/entered", "/leave"})
      EXPECT_EQ(mkfifo((folder.path() + pipe).c_str(), 0600), 0);
    request.Send(RequestText("POST", "/Gate", session, folder.path()));
    close(open((folder.path() + "/entered").c_str(), O_RDONLY | O_CLOEXEC));
  }
  /// Lets the request go on.
  void Open() const {
    const auto leave = folder.path() + "/leave";
    EXPECT_TRUE(Eventually([&] { return close(open(leave.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) == 0; }));
  }

  const ScratchFolder folder;
  HostProcess host;
  const int port = host.WaitUntilListening();
  const std::string session = Login(port).id;
  const HttpConnection request{port};
};

class LifeCycleTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { EnsureTester(); }
  static void ExpectNoStart(const SettingsMap& settings, const std::string& fault) {
    const auto finished = HostProcess(settings).Wait();
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_THAT(finished.err, testing::MatchesRegex("evidence-host: " + fault + "\n"));
  }
};

TEST_F(LifeCycleTest, AStopAnswersWhatIsInFlightAndServesNothingMore) {
  BusyHost busy({{"plugins", kShow}, {"drain_timeout_s", "45"}});
  const HttpConnection idle(busy.port);
  idle.Send(RequestText("GET", "/Echo", busy.session));
  ASSERT_EQ(idle.ReadReply().status, 200);

  busy.host.Signal(SIGTERM);
  EXPECT_EQ(busy.host.NextMessage(), "STOPPING=1\nEXTEND_TIMEOUT_USEC=55000000");
  ASSERT_TRUE(Eventually([&] { return !Accepts(busy.port); }));
  idle.Send(RequestText("GET", "/Echo", busy.session));
  auto late = idle.ReadReply();
  EXPECT_EQ(late.status, 503);
  EXPECT_EQ(late.headers["Connection"], "close");
  EXPECT_THAT(busy.host.Log(), Not(HasSubstr("UnInit called")));

  busy.Open();
  EXPECT_EQ(busy.request.ReadReply().body, "through");
  EXPECT_EQ(busy.host.Wait().exit_code, 0);
  EXPECT_THAT(busy.host.Log(), HasSubstr("UnInit called"));
}

TEST_F(LifeCycleTest, ARequestThatDoesNotEndHoldsTheStopForABoundedTime) {
  BusyHost busy({{"plugins", kShow}, {"drain_timeout_s", "3"}, {"read_timeout_s", "1"}});
  busy.host.Signal(SIGTERM);
  EXPECT_EQ(busy.request.ReadReply().status, 503) << "its time to arrive does not run while it is worked on";
  EXPECT_EQ(busy.host.Wait().exit_code, 1);
  EXPECT_THAT(busy.host.Log(), Not(HasSubstr("UnInit called"))) << "a request is still inside the plugin";
}

TEST_F(LifeCycleTest, AFullQueueIsAnswered503) {
  BusyHost busy({{"plugins", kShow}, {"workers", "1"}, {"queue", "1"}});
  std::atomic<int> refused = 0;
  OnManyThreads([&] {
    auto reply = Ask(busy.port, "GET", "/Echo", busy.session);
    if (reply.status != 503) return;
    EXPECT_EQ(reply.body, R"({"Error":"too many requests waiting"})");
    EXPECT_EQ(reply.headers["Retry-After"], "1");
    if (++refused < kThreads - 1) return;
    // One waits in the queue, and the plugin is still held.
    EXPECT_EQ(Ask(busy.port, "GET", "/live", "").status, 200);
    EXPECT_EQ(Ask(busy.port, "GET", "/ready", "").status, 200);
    busy.Open();
  });
  EXPECT_EQ(refused, kThreads - 1);
  EXPECT_EQ(busy.host.Stop(SIGINT).exit_code, 0);
}

TEST_F(LifeCycleTest, WhatFindsAFullQueueIsServedWhenItHasRoomAgain) {
  BusyHost busy({{"plugins", kShow}, {"workers", "1"}, {"queue", "1"}});
  std::vector<HttpConnection> waiting;
  for (int n = 0; n < 10; ++n)
    waiting.emplace_back(busy.port).Send(RequestText("PUT", "/Echo", busy.session, std::to_string(n)));
  EXPECT_EQ(Ask(busy.port, "GET", "/live", "").status, 200);
  busy.Open();
  for (int n = 0; n < 10; ++n)
    EXPECT_EQ(waiting.at(static_cast<std::size_t>(n)).ReadReply().body, "1 [" + std::to_string(n) + "]");
}

TEST_F(LifeCycleTest, OneAddressHasHalfOfTheConnections) {
  HostProcess host(SettingsMap{{"plugins", ""}, {"connections_limit", "4"}});
  const int port = host.WaitUntilListening();
  const auto status = [](const HttpConnection& connection) {
    connection.Send(RequestText("GET", "/live", ""));
    return connection.ReadReply().status;
  };
  const HttpConnection first(port, "127.0.0.2");
  const HttpConnection second(port, "127.0.0.2");
  EXPECT_EQ(status(first), 200);
  EXPECT_EQ(status(second), 200);
  EXPECT_EQ(status(HttpConnection(port, "127.0.0.2")), 0) << "closed at once";
  EXPECT_EQ(status(HttpConnection(port)), 200);
}

TEST_F(LifeCycleTest, WhatKeepsTheHostFromStartingIsNamed) {
  ExpectNoStart({{"database", "host=/nowhere dbname=evidence"}}, "the database cannot be reached[^\n]*");
  ExpectNoStart({{"database", Postgres().ConnectionTo("postgres", "postgres")}}, "[^\n]*run evidence-host setup[^\n]*");
  ExpectNoStart({{"sql", "/nowhere"}}, "/nowhere: No such file or directory");
  ExpectNoStart({{"plugins", "test_show.s.so, test_no_init.s.so"}}, "plugin /[^\n]*exports no Init");
  ExpectNoStart({{"plugins", "test_init_false.s.so"}}, "plugin /[^\n]*Init gave false");
  ExpectNoStart({{"plugins", "test_init_throws.s.so"}}, "plugin /[^\n]*Init threw: out of luck");
  ExpectNoStart({{"plugins", "absent.s.so"}}, "plugin /[^\n]*No such file[^\n]*");
}

TEST_F(LifeCycleTest, TheAddressTheFolderAndTheDatabaseHaveOneHost) {
  const ScratchFolder data;
  PutTestKey(data.path());
  const SettingsMap settings{{"plugins", ""}, {"data", data.path()}, {"lock_wait_s", "1"}};
  HostProcess first(settings);
  const auto address = "127.0.0.1:" + std::to_string(first.WaitUntilListening());
  ExpectNoStart({{"listen", address}}, "cannot listen on " + address + ": Address already in use");
  ExpectNoStart(settings, "another host uses the data folder " + data.path());
  ExpectNoStart({{"plugins", ""}, {"lock_wait_s", "1"}}, "another host works on this database");
  EXPECT_EQ(HostProcess(settings, {"user", "list"}).Wait().exit_code, 0) << "a command shares both";

  // One that waits can be stopped, and comes up when the first one is killed.
  HostProcess stopped(SettingsMap{{"plugins", ""}});
  HostProcess next(SettingsMap{{"plugins", ""}});
  for (const auto* const host : {&stopped, &next})
    ASSERT_TRUE(Eventually([&] { return host->Log().find("waiting 30 s for its end") != std::string::npos; }));
  EXPECT_EQ(stopped.Stop().err, "evidence-host: another host works on this database\n");
  first.Stop(SIGKILL);
  next.WaitUntilListening();
  EXPECT_EQ(next.Stop(SIGINT).exit_code, 0);
}

TEST_F(LifeCycleTest, ALostLockIsTakenAgainUnlessAnotherHasIt) {
  const std::string kLocks = " FROM pg_locks WHERE locktype = 'advisory' AND (classid, objid) = (711, 3) AND ";
  const auto end_holder = [&] { Postgres().Query("SELECT pg_terminate_backend(pid)" + kLocks + "granted"); };
  HostProcess host(SettingsMap{{"plugins", ""}});
  const int port = host.WaitUntilListening();
  end_holder();
  ASSERT_TRUE(Eventually([&] { return host.Log().find("was taken again") != std::string::npos; }));
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 200);

  const Session other(Postgres().AppConnection());
  std::jthread queued([&] { other.Query("SELECT pg_advisory_lock(711, 3)"); });
  ASSERT_TRUE(Eventually([&] { return Postgres().Query("SELECT" + kLocks + "NOT granted").size() == 1; }));
  end_holder();
  EXPECT_EQ(host.Wait().exit_code, 1);
  EXPECT_THAT(host.Log(), HasSubstr(" 6 host another host works on this database now"));
}

TEST_F(LifeCycleTest, TheLogIsMadeAgainAndNoLineIsLost) {
  const ScratchFolder folder;
  const auto log = folder.path() + "/log";
  HostProcess host(SettingsMap{{"plugins", ""}, {"log_file", log}, {"log_level", "2"}});
  ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(log); }));
  host.Signal(SIGHUP);  // while it starts, too, this stops nothing
  const int port = host.WaitUntilListening();
  int asked = 0;
  for (const char* const moved : {"1", "2", "3"}) {
    for (int n = 0; n < 100; ++n, ++asked)
      ASSERT_EQ(Ask(port, "GET", "/live", "").status, 200);
    std::filesystem::rename(log, folder.path() + "/" + moved);
    if (*moved != '2') host.Signal(SIGHUP);
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(log); }));
    EXPECT_EQ(std::filesystem::status(log).permissions(), std::filesystem::perms(0600));
  }
  EXPECT_EQ(host.Stop().exit_code, 0);
  int lines = 0;
  for (const char* const file : {"1", "2", "3"}) {
    std::istringstream text(folder.Read(file));
    for (std::string line; std::getline(text, line);)
      lines += line.find(" GET /live: 200,") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(lines, asked);
}

TEST_F(LifeCycleTest, PluginsThatDoNotStartCanBeLeftOut) {
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so, test_init_false.s.so, test_init_throws.s.so, absent.s.so"},
                               {"plugin_failure", "continue"}});
  const int port = host.WaitUntilListening();
  const auto session = Login(port).id;
  EXPECT_EQ(Ask(port, "GET", "/Echo", session).status, 200);
  EXPECT_EQ(Ask(port, "GET", "/Leftover", session).status, 404);
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);
  EXPECT_EQ(host.Stop().exit_code, 0);
  EXPECT_THAT(host.Log(), testing::ContainsRegex("broken UnInit called(.|\n)*broken UnInit called"));
}

TEST(FirstStartTest, SetsTheDatabaseUpAndMakesSysopOnce) {
  const ThrowawayPostgres postgres;
  const ScratchFolder scripts;
  std::filesystem::copy(ThrowawayPostgres::Scripts(), scripts.path());
  // No script by its name, neither to the set-up nor to the test of the version.
  scripts.Write("8_x.sql", "SELECT 1/0;");
  const ScratchFolder data;
  const SettingsMap settings{{"plugins", ""},
                             {"data", data.path()},
                             {"database", postgres.AppConnection()},
                             {"setup_database", postgres.OwnerConnection()},
                             {"sql", scripts.path()}};
  HostProcess first(settings);
  first.WaitUntilListening();
  const auto out = first.Stop().out;
  ASSERT_THAT(out, testing::MatchesRegex("sysop password: [0-9a-f]{24}\nevidence-host listening on http://.*\n"));
  const auto password = out.substr(16, 24);
  EXPECT_THAT(data.Read("evidence-host.log"), Not(HasSubstr(password)));
  EXPECT_THAT(HostProcess(settings, {"setup"}).Wait().out, testing::StartsWith("schema version "));
  HostProcess second(settings);
  EXPECT_EQ(Ask(second.WaitUntilListening(), "POST", "/login", "", LoginText("sysop", password)).status, 200);
  EXPECT_THAT(second.Stop().out, Not(HasSubstr("password")));

  const auto key = data.Read("aes.key");
  std::filesystem::remove(data.path() + "/aes.key");
  for (const char* const attempt : {"made anew", "found"}) {
    EXPECT_EQ(HostProcess(settings).Wait().err,
              "evidence-host: " + data.path() +
                  "/aes.key: not the key of this database, whose stored passwords it cannot decrypt; bring back the "
                  "aes.key that belongs to the database\n")
        << attempt;
  }
  data.Write("aes.key", key);
  HostProcess third(settings);
  third.WaitUntilListening();
  EXPECT_EQ(postgres.Query("SELECT FROM platform.key_check WHERE position('" + key + "' IN value) = 0").size(), 1U);
}

}  // namespace
}  // namespace evidence_test
