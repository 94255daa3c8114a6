#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

#include "http/Gate.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using SettingsMap = HostProcess::SettingsMap;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class LifeCycleTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { EnsureTester(); }

  static SettingsMap With(SettingsMap settings) {
    settings.try_emplace("plugins", "test_echo.s.so");
    return settings;
  }
};

/// A service manager's socket, named to the processes started while it lives.
class ServiceManager {
 public:
  ServiceManager() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto path = folder_.path() + "/notify";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval patience{30, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) throw std::runtime_error(path);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
  }
  ~ServiceManager() {
    unsetenv("NOTIFY_SOCKET");
    close(socket_);
  }
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  /// The next message; "" when none comes.
  std::string Message() const {
    char text[512];
    const auto size = recv(socket_, text, sizeof text, 0);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : "";
  }

 private:
  ScratchFolder folder_;
  int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(LifeCycleTest, TheServiceManagerIsToldWhenItServesAndThatItStopsBeforeItWaits) {
  const ServiceManager manager;
  HostProcess host(With({{"drain_timeout_s", "45"}}));
  const auto ready = manager.Message();
  ASSERT_THAT(ready, StartsWith("READY=1\nSTATUS=listening on 127.0.0.1:"));
  const int port = std::stoi(ready.substr(ready.rfind(':') + 1));
  const auto session = Login(port, "tester", kTesterPassword);
  const Gate gate;
  HttpConnection inside(port);
  inside.Send(RequestText("POST", "/Gate", session, gate.body()));
  gate.AwaitEntered();

  host.Signal(SIGTERM);
  EXPECT_EQ(manager.Message(), "STOPPING=1\nEXTEND_TIMEOUT_USEC=75000000");
  gate.Open();
  EXPECT_EQ(inside.ReadReply().body, "through");
  EXPECT_EQ(host.Wait().exit_code, 0);
}

TEST_F(LifeCycleTest, AFullQueueIsAnswered503) {
  HostProcess host(With({{"workers", "1"}, {"queue", "1"}}));
  const int port = host.WaitUntilListening();
  const auto session = Login(port, "tester", kTesterPassword);
  const Gate gate;
  HttpConnection inside(port);
  inside.Send(RequestText("POST", "/Gate", session, gate.body()));
  gate.AwaitEntered();

  // One of the two waits in the queue, whichever comes first; the other finds it full.
  HttpConnection first(port);
  HttpConnection second(port);
  first.Send(RequestText("GET", "/Echo", session));
  second.Send(RequestText("GET", "/Echo", session));
  pollfd answered[2] = {{first.fd(), POLLIN, 0}, {second.fd(), POLLIN, 0}};
  ASSERT_EQ(poll(answered, 2, 30'000), 1);
  auto& refused = answered[0].revents != 0 ? first : second;
  auto& waiting = answered[0].revents != 0 ? second : first;
  EXPECT_EQ(refused.ReadReply().status, 503);
  EXPECT_EQ(Ask(port, "GET", "/live", "").status, 200);
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);

  gate.Open();
  EXPECT_EQ(inside.ReadReply().body, "through");
  EXPECT_EQ(waiting.ReadReply().body, "4 []");
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST_F(LifeCycleTest, TermAnswersWhatIsInFlight) {
  HostProcess host(With({}));
  const int port = host.WaitUntilListening();
  const auto session = Login(port, "tester", kTesterPassword);
  const Gate gate;
  HttpConnection idle(port);
  idle.Send(RequestText("GET", "/Echo", session));
  ASSERT_EQ(idle.ReadReply().status, 200);
  HttpConnection inside(port);
  inside.Send(RequestText("POST", "/Gate", session, gate.body()));
  gate.AwaitEntered();

  host.Signal(SIGTERM);
  ASSERT_TRUE(Eventually([port] { return !HttpConnection::Accepts(port); }));
  idle.Send(RequestText("GET", "/Echo", session));
  const auto late = idle.ReadReply();
  EXPECT_EQ(late.status, 503);
  EXPECT_EQ(late.headers.at("connection"), "close");
  EXPECT_THAT(host.Log(), Not(HasSubstr("UnInit called")));

  gate.Open();
  EXPECT_EQ(inside.ReadReply().body, "through");
  const auto finished = host.Wait();
  EXPECT_EQ(finished.exit_code, 0) << finished.err;
  EXPECT_THAT(host.Log(), HasSubstr("UnInit called"));
}

TEST_F(LifeCycleTest, ARequestThatDoesNotEndHoldsTheStopForABoundedTime) {
  HostProcess host(With({{"drain_timeout_s", "1"}}));
  const int port = host.WaitUntilListening();
  const auto session = Login(port, "tester", kTesterPassword);
  const Gate gate;
  HttpConnection inside(port);
  inside.Send(RequestText("POST", "/Gate", session, gate.body()));
  gate.AwaitEntered();
  host.Signal(SIGTERM);
  EXPECT_EQ(inside.ReadReply().status, 503);
  EXPECT_EQ(host.Wait().exit_code, 1);
  EXPECT_THAT(host.Log(), Not(HasSubstr("UnInit called"))) << "a request is still inside the plugin";
}

TEST_F(LifeCycleTest, InterruptAndHangUpStopItToo) {
  for (const int signal : {SIGINT, SIGHUP}) {
    HostProcess host(With({}));
    host.WaitUntilListening();
    host.Signal(signal);
    EXPECT_EQ(host.Wait().exit_code, 0) << signal;
  }
}

struct BadPlugin {
  const char* file;
  const char* reason;
  bool un_init_called;
};

class BadPluginTest : public testing::TestWithParam<BadPlugin> {};

TEST_P(BadPluginTest, StopsTheStart) {
  const auto& bad = GetParam();
  HostProcess host(SettingsMap{{"plugins", std::string(bad.file) + ", test_echo.s.so"}});
  const auto finished = host.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, StartsWith("evidence-host: plugin /"));
  EXPECT_THAT(finished.err, HasSubstr(bad.reason));
  EXPECT_EQ(std::ranges::count(finished.err, '\n'), 1);
  EXPECT_THAT(finished.out, Not(HasSubstr("listening")));
}

TEST_P(BadPluginTest, IsLeftOutWhenTheHostGoesOn) {
  EnsureTester();
  const auto& bad = GetParam();
  HostProcess host(
      SettingsMap{{"plugins", std::string(bad.file) + ", test_echo.s.so"}, {"plugin_failure", "continue"}});
  const int port = host.WaitUntilListening();
  const auto session = Login(port, "tester", kTesterPassword);
  EXPECT_EQ(Ask(port, "GET", "/Echo", session).status, 200);
  EXPECT_EQ(Ask(port, "GET", "/Leftover", session).status, 404);
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);
  EXPECT_EQ(Ask(port, "GET", "/live", "").status, 200);
  const auto finished = host.Stop();
  EXPECT_EQ(finished.exit_code, 0);
  EXPECT_THAT(finished.err, HasSubstr(bad.reason));
  EXPECT_EQ(host.Log().find("broken UnInit called") != std::string::npos, bad.un_init_called);
}

INSTANTIATE_TEST_SUITE_P(All, BadPluginTest,
                         testing::Values(BadPlugin{"test_no_init.s.so", "exports no Init", false},
                                         BadPlugin{"test_init_false.s.so", "Init gave false", true},
                                         BadPlugin{"test_init_throws.s.so", "Init threw: out of luck", true},
                                         BadPlugin{"test_missing.s.so", "No such file", false}),
                         [](const auto& tested) {
                           const std::string file = tested.param.file;
                           return file.substr(0, file.find('.'));
                         });

TEST(StartTest, ATakenPortIsNamed) {
  HostProcess first(SettingsMap{{"plugins", ""}});
  const auto address = "127.0.0.1:" + std::to_string(first.WaitUntilListening());
  HostProcess second(SettingsMap{{"plugins", ""}, {"listen", address}});
  const auto finished = second.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("cannot listen on " + address + ": Address already in use"));
}

TEST(StartTest, ADatabaseThatIsNotThereOrNotSetUp) {
  HostProcess away(SettingsMap{{"database", "host=/nowhere dbname=evidence"}});
  EXPECT_THAT(away.Wait().err, HasSubstr("the database cannot be reached"));
  HostProcess empty(SettingsMap{{"database", Postgres().ConnectionTo("postgres", "postgres")}});
  const auto finished = empty.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("run evidence-host setup"));
}

TEST(StartTest, ReadyFollowsTheDatabase) {
  ThrowawayPostgres postgres;
  HostProcess host(
      {{"plugins", ""}, {"database", postgres.AppConnection()}, {"setup_database", postgres.OwnerConnection()}});
  const int port = host.WaitUntilListening();
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 200);
  postgres.Stop();
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);
  EXPECT_EQ(Ask(port, "POST", "/login", "", R"({"UserName":"sysop","Password":"x"})").status, 503);
  postgres.Start();
  EXPECT_TRUE(Eventually([port] { return Ask(port, "GET", "/ready", "").status == 200; }));
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST(StartTest, TheFirstStartMakesSysopOnce) {
  ThrowawayPostgres postgres;
  const SettingsMap settings{{"plugins", ""}, {"database", postgres.AppConnection()}};
  const auto set_up = RunHost({"setup", "--database", postgres.OwnerConnection()});
  ASSERT_EQ(set_up.exit_code, 0) << set_up.err;
  EXPECT_THAT(set_up.out, StartsWith("schema version "));
  EXPECT_EQ(RunHost({"setup", "--database", postgres.OwnerConnection()}).out, set_up.out);

  HostProcess first(settings);
  first.WaitUntilListening();
  const auto out = first.Stop().out;
  const std::string label = "sysop password: ";
  ASSERT_THAT(out, StartsWith(label));
  const auto password = out.substr(label.size(), out.find('\n') - label.size());
  EXPECT_THAT(first.Log(), Not(HasSubstr(password)));

  HostProcess second(settings);
  EXPECT_NE(Login(second.WaitUntilListening(), "sysop", password), "");
  EXPECT_THAT(second.Stop().out, Not(HasSubstr("password")));
}

}  // namespace
}  // namespace evidence_test
