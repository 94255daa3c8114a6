#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <regex>
#include <stdexcept>

#include "http/Gate.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kShow[] = "test_show.s.so";

bool Accepts(int port) {
  try {
    const HttpConnection probe(port);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

/// A host with one request that stands inside a plugin.
struct BusyHost {
  explicit BusyHost(const SettingsMap& settings) : host(settings) {}

  HostProcess host;
  const int port = host.WaitUntilListening();
  const std::string session = Login(port).id;
  const Gate gate{port, session};
};

class LifeCycleTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { EnsureTester(); }
};

TEST_F(LifeCycleTest, AStopAnswersWhatIsInFlightAndServesNothingMore) {
  BusyHost busy({{"plugins", kShow}, {"drain_timeout_s", "45"}});
  const HttpConnection idle(busy.port);
  idle.Send(RequestText("GET", "/Echo", busy.session));
  ASSERT_EQ(idle.ReadReply().status, 200);

  busy.host.Signal(SIGTERM);
  EXPECT_EQ(busy.host.NextMessage(), "STOPPING=1\nEXTEND_TIMEOUT_USEC=75000000");
  ASSERT_TRUE(Eventually([&] { return !Accepts(busy.port); }));
  idle.Send(RequestText("GET", "/Echo", busy.session));
  auto late = idle.ReadReply();
  EXPECT_EQ(late.status, 503);
  EXPECT_EQ(late.headers["Connection"], "close");
  EXPECT_THAT(busy.host.Log(), Not(HasSubstr("UnInit called")));

  busy.gate.Open();
  EXPECT_EQ(busy.gate.Reply().body, "through");
  EXPECT_EQ(busy.host.Wait().exit_code, 0);
  EXPECT_THAT(busy.host.Log(), HasSubstr("UnInit called"));
}

TEST_F(LifeCycleTest, ARequestThatDoesNotEndHoldsTheStopForABoundedTime) {
  BusyHost busy({{"plugins", kShow}, {"drain_timeout_s", "1"}});
  busy.host.Signal(SIGTERM);
  EXPECT_EQ(busy.gate.Reply().status, 503);
  EXPECT_EQ(busy.host.Wait().exit_code, 1);
  EXPECT_THAT(busy.host.Log(), Not(HasSubstr("UnInit called"))) << "a request is still inside the plugin";
}

TEST_F(LifeCycleTest, AFullQueueIsAnswered503) {
  BusyHost busy({{"plugins", kShow}, {"workers", "1"}, {"queue", "1"}});
  // One of the two waits in the queue, whichever comes first; the other finds it full.
  const HttpConnection first(busy.port);
  const HttpConnection second(busy.port);
  first.Send(RequestText("GET", "/Echo", busy.session));
  second.Send(RequestText("GET", "/Echo", busy.session));
  pollfd answered[2] = {{first.fd(), POLLIN, 0}, {second.fd(), POLLIN, 0}};
  ASSERT_EQ(poll(answered, 2, 30'000), 1);
  const bool first_refused = answered[0].revents != 0;
  EXPECT_EQ((first_refused ? first : second).ReadReply().status, 503);
  EXPECT_EQ(Ask(busy.port, "GET", "/live", "").status, 200);
  EXPECT_EQ(Ask(busy.port, "GET", "/ready", "").status, 503);
  busy.gate.Open();
  EXPECT_EQ((first_refused ? second : first).ReadReply().body, "4 []");
  EXPECT_EQ(busy.host.Stop(SIGINT).exit_code, 0);
}

TEST_F(LifeCycleTest, PluginsThatDoNotStartStopTheStartOrAreLeftOut) {
  std::string all;
  for (const auto& [file, reason] :
       {std::pair{"test_no_init.s.so", "exports no Init"}, std::pair{"test_init_false.s.so", "Init gave false"},
        std::pair{"test_init_throws.s.so", "Init threw: out of luck"}, std::pair{"absent.s.so", "No such file"}}) {
    const auto finished = HostProcess(SettingsMap{{"plugins", "test_show.s.so, " + std::string(file)}}).Wait();
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_THAT(finished.err,
                testing::MatchesRegex("evidence-host: plugin /[^\n]*" + std::string(reason) + "[^\n]*\n"));
    EXPECT_EQ(finished.out, "");
    all += std::string(file) + ",";
  }
  HostProcess host(SettingsMap{{"plugins", all + "test_show.s.so"}, {"plugin_failure", "continue"}});
  const int port = host.WaitUntilListening();
  const auto session = Login(port).id;
  EXPECT_EQ(Ask(port, "GET", "/Echo", session).status, 200);
  EXPECT_EQ(Ask(port, "GET", "/Leftover", session).status, 404);
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);
  const auto finished = host.Stop();
  EXPECT_EQ(finished.exit_code, 0);
  EXPECT_EQ(std::ranges::count(finished.err, '\n'), 4);
  EXPECT_THAT(host.Log(), testing::ContainsRegex("broken UnInit called(.|\n)*broken UnInit called"));
}

TEST_F(LifeCycleTest, WhatKeepsTheHostFromStartingIsNamed) {
  HostProcess first(SettingsMap{{"plugins", ""}});
  const auto address = "127.0.0.1:" + std::to_string(first.WaitUntilListening());
  const std::pair<SettingsMap, std::string> cases[] = {
      {{{"listen", address}}, "cannot listen on " + address + ": Address already in use"},
      {{{"database", "host=/nowhere dbname=evidence"}}, "the database cannot be reached"},
      {{{"database", Postgres().ConnectionTo("postgres", "postgres")}}, "run evidence-host setup"},
  };
  for (const auto& [settings, fault] : cases) {
    const auto finished = HostProcess(settings).Wait();
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_THAT(finished.err, HasSubstr(fault));
  }
  EXPECT_EQ(first.Stop(SIGHUP).exit_code, 0);
}

TEST_F(LifeCycleTest, ReadyFollowsTheDatabase) {
  HostProcess host(SettingsMap{{"plugins", ""}});
  const int port = host.WaitUntilListening();
  Postgres().Stop();
  EXPECT_EQ(Ask(port, "GET", "/ready", "").status, 503);
  EXPECT_EQ(Ask(port, "POST", "/login", "", LoginText("sysop", "x")).status, 503);
  Postgres().Start();
  EXPECT_TRUE(Eventually([port] { return Ask(port, "GET", "/ready", "").status == 200; }));
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST(FirstStartTest, SetsTheDatabaseUpAndMakesSysopOnce) {
  const ThrowawayPostgres postgres;
  const SettingsMap settings{
      {"plugins", ""}, {"database", postgres.AppConnection()}, {"setup_database", postgres.OwnerConnection()}};
  HostProcess first(settings);
  first.WaitUntilListening();
  const auto out = first.Stop().out;
  std::smatch found;
  ASSERT_TRUE(std::regex_match(out, found,
                               std::regex("sysop password: ([0-9a-f]{24})\n"
                                          "evidence-host listening on http://127.0.0.1:\\d+\n")))
      << out;
  const std::string password = found[1];
  EXPECT_THAT(first.Log(), Not(HasSubstr(password)));
  EXPECT_THAT(RunHost({"setup"}, "", settings).out, StartsWith("schema version "));
  HostProcess second(settings);
  EXPECT_EQ(Ask(second.WaitUntilListening(), "POST", "/login", "", LoginText("sysop", password)).status, 200);
  EXPECT_THAT(second.Stop().out, Not(HasSubstr("password")));
}

}  // namespace
}  // namespace evidence_test
