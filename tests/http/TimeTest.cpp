// What takes no end: clients that are gone, statements, plugins and logs that hang; and how the host gets out of it.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "Readiness.h"
#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using testing::ContainsRegex;
using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr char kShow[] = "test_show.s.so";
/// Both wait while the test holds the advisory lock 1.
constexpr char kRead[] = "SELECT pg_advisory_xact_lock_shared(1)";
constexpr char kWrite[] = "INSERT INTO public.notes SELECT 1 FROM pg_advisory_xact_lock_shared(1)";

class TimeTest : public testing::Test {
 protected:
  /// Hosts that run at once.
  static constexpr int kHosts = 9;

  static void SetUpTestSuite() {
    EnsureTester();
    Postgres().Query("CREATE TABLE public.notes (id integer); GRANT ALL ON public.notes TO evidence_app");
    // A database serves one host at a time.
    for (int n = 0; n < kHosts; ++n)
      Postgres().Query("CREATE DATABASE " + CopyOf(n) + " TEMPLATE evidence");
  }
  static void TearDownTestSuite() {
    for (int n = 0; n < kHosts; ++n)
      Postgres().Query("DROP DATABASE " + CopyOf(n) + " WITH (FORCE)");
    Postgres().Query("DROP TABLE public.notes");
  }
  static std::string CopyOf(int n) { return "copy_" + std::to_string(n); }

  void SetUp() override {
    Postgres().Query("DELETE FROM public.notes");
    CloseGate(gate_);
  }
  void TearDown() override { OpenGate(); }

  static void CloseGate(const Session& gate) { gate.Query("SELECT pg_advisory_lock(1)"); }

  void OpenGate() const { gate_.Query("SELECT pg_advisory_unlock_all()"); }
  /// Whether `count` statements like `sql` wait now.
  [[nodiscard]] bool Wait(const std::string& sql, std::size_t count) const {
    const auto running = "SELECT FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND query = '" + sql + "'";
    return Eventually([&] { return gate_.Query(running).size() == count; });
  }

  const Session gate_{Postgres().OwnerConnection()};
};

class HangUpTest : public TimeTest {
 protected:
  std::unique_ptr<HttpConnection> Send(const std::string& method, const std::string& sql,
                                       const std::string& version = "1.1") const {
    auto text = RequestText(method, "/Sql", session_, sql);
    text.replace(text.find("HTTP/1.1"), 8, "HTTP/" + version);
    auto connection = std::make_unique<HttpConnection>(port_);
    connection->Send(text);
    return connection;
  }

  HostProcess host_{SettingsMap{{"plugins", kShow}, {"log_level", "2"}}};
  const int port_ = host_.WaitUntilListening();
  const std::string session_ = Login(port_).id;
};

TEST_F(HangUpTest, AClientThatIsGoneEndsWhatReadsForItAndNotWhatWrites) {
  auto writing = Send("POST", kWrite);
  auto reading = Send("GET", kRead);
  const auto half_closed = Send("GET", kRead);
  const auto old = Send("GET", kRead, "1.0");
  ASSERT_TRUE(Wait(kWrite, 1));
  ASSERT_TRUE(Wait(kRead, 3));
  half_closed->EndSending();
  old->EndSending();
  EXPECT_EQ(half_closed->ReadReply().status, 100) << "a client that has closed both sides resets the connection now";
  writing.reset();
  reading.reset();
  ASSERT_TRUE(Wait(kRead, 2)) << "the read of the client that is gone is ended";
  EXPECT_TRUE(Eventually([&] { return host_.Log().find("57014") != std::string::npos; }));
  OpenGate();
  EXPECT_EQ(half_closed->ReadReply().body, "done");
  EXPECT_EQ(old->ReadReply().body, "done") << "an interim answer would be one too many in HTTP/1.0";
  EXPECT_TRUE(Eventually([] { return Postgres().Value("SELECT count(*) FROM public.notes") == "1"; }));
  EXPECT_EQ(host_.Stop().exit_code, 0);
}

TEST_F(HangUpTest, AClientOfTlsIsGoneWhenItsStreamEnds) {
  const ScratchFolder folder;
  const auto key = folder.path() + "/key.pem";
  const auto certificate = folder.path() + "/certificate.pem";
  ASSERT_EQ(
      std::system(("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 -subj /CN=a "
                   "-keyout " +
                   key + " -out " + certificate + " 2>/dev/null")
                      .c_str()),
      0);
  host_.Stop();
  HostProcess host(SettingsMap{{"plugins", kShow}, {"tls_certificate", certificate}, {"tls_key", key}});
  const auto client = "openssl s_client -connect 127.0.0.1:" + std::to_string(host.WaitUntilListening()) +
                      " 2>/dev/null >" + folder.path();
  const auto send = [&](const std::string& text, const std::string& out) {
    std::FILE* const pipe = popen((client + out).c_str(), "w");
    std::fputs(text.c_str(), pipe);
    std::fflush(pipe);
    return pipe;
  };
  std::FILE* const login = send(RequestText("POST", "/login", "", LoginText("tester", kPassword)), "/login");
  ASSERT_TRUE(Eventually([&] { return folder.Read("login").find("SessionKey\":\"") != std::string::npos; }));
  pclose(login);
  const auto answer = folder.Read("login");
  const auto begin = answer.find("SessionID\":\"") + 12;
  const auto session = answer.substr(begin, answer.find('"', begin) - begin);
  std::FILE* const reading = send(RequestText("GET", "/Sql", session, kRead), "/read");
  ASSERT_TRUE(Wait(kRead, 1));
  pclose(reading);
  EXPECT_TRUE(Wait(kRead, 0));
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST_F(HangUpTest, AHeadHasItsTimeFromItsFirstByte) {
  host_.Stop();
  HostProcess host(SettingsMap{{"plugins", ""}, {"read_timeout_s", "1"}});
  const int port = host.WaitUntilListening();
  const auto live = RequestText("GET", "/live", "");
  const HttpConnection silent(port);
  const HttpConnection slow(port);
  const HttpConnection second(port);
  const HttpConnection kept(port);
  for (const auto* const connection : {&second, &kept}) {
    connection->Send(live);
    EXPECT_EQ(connection->ReadReply().status, 200);
  }
  for (const auto* const connection : {&slow, &second}) {
    connection->Send("GET /live HT");
    EXPECT_EQ(connection->ReadReply().status, 0) << "closed, long before a connection is idle for too long";
  }
  for (const auto* const connection : {&silent, &kept}) {
    connection->Send(live);
    EXPECT_EQ(connection->ReadReply().status, 200) << "its head begins now";
  }
}

TEST_F(HangUpTest, ReadyTellsOfADatabaseThatHangsAndOfAPoolThatGivesNothing) {
  const auto ready = [](int port) { return Ask(port, "GET", "/ready", "").status; };
  EXPECT_EQ(ready(port_), 200);
  {
    // The host's own statements wait for the table of its schema.
    HostProcess host(SettingsMap{{"plugins", ""},
                                 {"platform_connections", "1"},
                                 {"database", Postgres().ConnectionTo(CopyOf(0), "evidence_app")}});
    const int port = host.WaitUntilListening();
    const Session owner(Postgres().ConnectionTo(CopyOf(0), "postgres"));
    owner.Query("BEGIN; LOCK TABLE platform.camera_list");
    ASSERT_TRUE(Eventually([&] { return ready(port) == 503; }));
    const auto start = Clock::now();
    OnManyThreads([&] { EXPECT_EQ(ready(port), 503); });
    EXPECT_LT(Clock::now() - start, seconds(5)) << "they do not wait for the database one after the other";
    owner.Query("ROLLBACK");
    EXPECT_TRUE(Eventually([&] { return ready(port) == 200; }));
  }
  std::vector<std::unique_ptr<HttpConnection>> requests;
  for (int n = 0; n < 5; ++n)
    requests.push_back(Send("GET", kRead));
  ASSERT_TRUE(Wait(kRead, 4));
  EXPECT_TRUE(Eventually([&] { return ready(port_) == 503; })) << "the fifth waits for a connection";
  OpenGate();
  EXPECT_TRUE(Eventually([&] { return ready(port_) == 200; }));
}

TEST(ReadinessTest, AsksTheDatabaseOnceASecond) {
  std::atomic<int> probes = 0;
  const auto probe = [&probes] { return ++probes > 0; };
  host::Readiness readiness({probe, [] { return std::chrono::milliseconds(0); }});
  const auto start = Clock::now();
  for (int n = 0; n < 1000; ++n)
    EXPECT_TRUE(readiness.IsReady());
  EXPECT_LE(probes, 1 + (Clock::now() - start) / seconds(1));
}

/// A host that hangs, and how it ends.
struct Hanging {
  SettingsMap settings;
  /// What is sent to it, if anything, and what comes back at its end; 0 for no whole answer.
  std::string method = {};
  std::string path = {};
  std::string body = {};
  int status = 0;
  std::string given_up = {};  ///< in its log at the end
  int exit_code = 0;
  std::string hangs = {};  ///< in its log when it hangs before it listens
};

TEST_F(TimeTest, AStopEndsWhateverHangs) {
  const ScratchFolder folder;
  for (const char* const pipe : {"/log", "/lost_log", "/entered", "/leave"})
    ASSERT_EQ(mkfifo((folder.path() + pipe).c_str(), 0600), 0);
  const auto pipe = folder.path() + "/log";
  const auto lost_pipe = folder.path() + "/lost_log";
  const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GT(fcntl(reader, F_SETPIPE_SZ, 4096), 0);
  const int lost_reader = open(lost_pipe.c_str(), O_RDWR | O_CLOEXEC);
  const SettingsMap show{{"plugins", kShow}};
  const SettingsMap impatient{{"plugins", kShow}, {"drain_timeout_s", "1"}};
  const std::string unread(8 << 20, 'x');
  const std::string uninit_hangs = "test_show.s.so, test_uninit_hangs.s.so";
  std::vector<Hanging> cases = {
      {show, "GET", "/Sql", kRead, 503, "stopped"},
      {show, "GET", "/Gate", folder.path(), 503, "given up in its middle: GET /Gate"},
      {impatient, "POST", "/Sql", kWrite, 503, "given up in its middle: POST /Sql", 1},
      {impatient, "POST", "/Echo", unread, 0, "with its answer on the way: POST /Echo", 1},
      {{{"plugins", uninit_hangs}, {"drain_timeout_s", "1"}},
       "POST",
       "/Echo",
       unread,
       0,
       "given up in UnInit of plugin .*test_uninit_hangs",
       1},
      {.settings = {{"plugins", "test_init_hangs.s.so"}}, .given_up = "given up in the start", .hangs = "Init hangs"},
      {.settings = {{"plugins", ""}, {"log_file", pipe}, {"log_level", "1"}}},
      {.settings = {{"plugins", ""}, {"log_file", lost_pipe}}},
      // The last: its statement is let go when the others have ended.
      {{{"plugins", kShow}, {"drain_timeout_s", "45"}}, "POST", "/Sql", kWrite, 200, "UnInit called"},
  };
  ASSERT_EQ(cases.size(), kHosts);
  std::vector<std::unique_ptr<Session>> gates;
  std::vector<std::unique_ptr<HostProcess>> hosts;
  std::vector<std::unique_ptr<HttpConnection>> requests;
  for (int n = 0; auto& hanging : cases) {
    const auto copy = CopyOf(n++);
    CloseGate(*gates.emplace_back(std::make_unique<Session>(Postgres().ConnectionTo(copy, "postgres"))));
    hanging.settings["database"] = Postgres().ConnectionTo(copy, "evidence_app");
    auto& host = *hosts.emplace_back(std::make_unique<HostProcess>(hanging.settings));
    auto& request = requests.emplace_back();
    if (hanging.hangs.empty()) host.WaitUntilListening();
    ASSERT_TRUE(Eventually([&] { return host.Log().find(hanging.hangs) != std::string::npos; }));
    if (hanging.method.empty()) continue;
    request = std::make_unique<HttpConnection>(host.port());
    request->Send(RequestText(hanging.method, hanging.path, Login(host.port()).id, hanging.body));
  }
  ASSERT_TRUE(Wait(kRead, 1));
  ASSERT_TRUE(Wait(kWrite, 2));
  close(open((folder.path() + "/entered").c_str(), O_RDONLY | O_CLOEXEC));
  close(lost_reader);
  const auto start = Clock::now();
  for (const auto& host : hosts) {
    host->Signal(SIGHUP);  // a pipe that nobody reads cannot be opened anew
    host->Signal(SIGTERM);
  }
  for (std::size_t n = 0; n < cases.size(); ++n) {
    if (n + 1 == cases.size()) gates[n]->Query("SELECT pg_advisory_unlock_all()");
    EXPECT_EQ(requests[n] ? requests[n]->ReadReply().status : 0, cases[n].status) << n;
    EXPECT_EQ(hosts[n]->Wait().exit_code, cases[n].exit_code) << n;
    EXPECT_THAT(hosts[n]->Log(), ContainsRegex(cases[n].given_up)) << n;
  }
  EXPECT_LT(Clock::now() - start, seconds(15));
  close(reader);
}

}  // namespace
}  // namespace evidence_test
