// What an operator types, and the rules behind it that take too long to be seen from outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Secrets.h"
#include "Sessions.h"
#include "Settings.h"
#include "http/HostProcess.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;

TEST(SettingsTest, EveryFaultIsNamedWithItsLine) {
  const ScratchFolder folder;
  const std::pair<std::string, std::string> lines[] = {
      {"# comment", ""},
      {"listen = nowhere", "listen is no address and port, as 127.0.0.1:8080 or [::1]:8080"},
      {"worker = 3", "unknown key worker"},
      {"workers = three", "workers is no whole number"},
      {"queue = 0", "queue must lie between 1 and 100000"},
      {"data = a", ""},
      {"data = b", "repeated key data"},
      {"plugin_failure = explode", "plugin_failure must be stop or continue"},
      {"client_freeze = yes", "client_freeze must be on or off"},
      {"just words", "not of the form key = value"},
      {"log_file = \xff\xfe", "not UTF-8, or a control character"},
      {"body_limit = 99999999999999999999", "body_limit must lie between 1024 and 1073741824"},
      {"tls_key = k", "tls_certificate and tls_key go together"},
  };
  const auto file = folder.path() + "/bad.conf";
  std::string text;
  std::string faults;
  for (std::size_t line = 0; line < std::size(lines); ++line) {
    text += lines[line].first + "\n";
    if (!lines[line].second.empty()) faults += file + ":" + std::to_string(line + 1) + ": " + lines[line].second + "\n";
  }
  const auto bad = RunHost({"--config", folder.Write("bad.conf", text), "--check-config"});
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_EQ(bad.err, faults);
  EXPECT_EQ(RunHost({"--config", folder.path(), "--check-config"}).err, folder.path() + ":0: cannot be read\n");
  const auto good = folder.Write("good.conf", RunHost({"--print-config"}).out);
  EXPECT_EQ(RunHost({"--config", good, "--check-config"}).exit_code, 0) << "refuses what it prints";

  auto settings = host::DefaultSettings();
  EXPECT_THAT(host::ReadSettings(settings, "database = password=a#b # a comment\nplugins = a, b,,\n", "f"),
              testing::IsEmpty());
  EXPECT_EQ(settings.database, "password=a#b");
  EXPECT_THAT(settings.PluginFiles(), testing::ElementsAre("a", "b"));
}

TEST(UserCommandTest, AddsListsAndChangesUsers) {
  const struct {
    std::vector<std::string> arguments;
    std::string printed;
  } kCases[] = {
      {{"add", "O'Neil", "--web", "7,5", "--control", "9"}, "O'Neil password: [0-9a-f]{24}\n"},
      {{"add", "O'Neil"}, "evidence-host: there is a user O'Neil already\n"},
      {{"list"}, "(.|\n)*\tO'Neil\tuser\tenabled\tweb 5,7\tcs -\tcontrol 9\n"},
      {{"permissions", "O'Neil", "--cs", "1"}, ""},
      {{"permissions", "nobody"}, "evidence-host: there is no user nobody\n"},
      {{"add", "Town\\Erik", "--super"}, "town\\\\erik password: [0-9a-f]{24}\n"},
      {{"add", "TOWN\\erik"}, "evidence-host: there is a user town\\\\erik already\n"},
      {{"permissions", "TOWN\\Erik", "--control", "44"}, ""},
      {{"add", "empty", "--password-stdin"}, "evidence-host: a password has [^\n]*\n"},
      {{"list"},
       "(.|\n)*O'Neil\tuser\tenabled\tweb -\tcs 1\tcontrol -\n.*\ttown\\\\erik\tsuper\tenabled\tweb -\tcs -\tcontrol "
       "44\n"},
  };
  for (auto [arguments, printed] : kCases) {
    arguments.insert(arguments.begin(), "user");
    const auto finished = RunHost(arguments);
    EXPECT_THAT(finished.out + finished.err, testing::MatchesRegex(printed));
    EXPECT_EQ(finished.exit_code, finished.err.empty() ? 0 : 1);
  }
}

TEST(SecretsTest, PasswordsMatchTheirOwnHashOnly) {
  const std::string longest(host::kMaxPasswordBytes, 'p');
  const auto hash = host::HashPassword(longest);
  ASSERT_TRUE(hash);
  EXPECT_THAT(*hash, testing::StartsWith("$y$"));
  EXPECT_TRUE(host::PasswordMatches(longest, *hash));
  for (const auto& [password, of] : {std::pair{longest.substr(1) + "q", *hash}, {longest + "p", *hash}, {longest, ""}})
    EXPECT_FALSE(host::PasswordMatches(password, of));
  for (const auto& none : {longest + "p", std::string(), std::string("a\0b", 3)})
    EXPECT_FALSE(host::HashPassword(none));
}

TEST(SessionsTest, EndWhenIdleAndAtTheLimitTheLongestIdleGoes) {
  host::Sessions::Clock::time_point now{};
  host::Sessions sessions(std::chrono::minutes(30), 2, [&now] { return now; });
  const auto first = sessions.Open({}, "").id;
  now += std::chrono::minutes(1);
  const auto second = sessions.Open({}, "").id;
  EXPECT_TRUE(sessions.Use(first));
  const auto third = sessions.Open({}, "").id;
  EXPECT_TRUE(sessions.Find(first));
  EXPECT_FALSE(sessions.Find(second));
  now += std::chrono::minutes(29);
  EXPECT_TRUE(sessions.Use(third));
  EXPECT_TRUE(sessions.Find(first)) << "finding does not put the end off";
  now += std::chrono::minutes(1);
  EXPECT_FALSE(sessions.Find(first));
  EXPECT_FALSE(sessions.Use(first));
  EXPECT_TRUE(sessions.Find(third));
}

}  // namespace
}  // namespace evidence_test
