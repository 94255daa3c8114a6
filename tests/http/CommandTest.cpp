#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Secrets.h"
#include "Sessions.h"
#include "Settings.h"
#include "http/HostProcess.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(CheckConfigTest, NamesEveryFaultWithItsLine) {
  const ScratchFolder folder;
  const auto file = folder.Write("bad.conf",
                                 "# comment\n"
                                 "\n"
                                 "listen = nowhere\n"
                                 "worker = 3\n"
                                 "workers = three\n"
                                 "queue = 0\n"
                                 "data = a\n"
                                 "data = b\n"
                                 "plugin_failure = explode\n"
                                 "client_freeze = yes\n"
                                 "just words\n"
                                 "log_file = \xff\xfe\n"
                                 "body_limit = 99999999999999999999\n");
  HostProcess host({}, {"--config", file, "--check-config"});
  const auto finished = host.Wait();
  EXPECT_EQ(finished.exit_code, 1);
  std::string expected;
  for (const std::string fault :
       {"3: listen is no address and port, as 127.0.0.1:8080 or [::1]:8080", "4: unknown key worker",
        "5: workers is no whole number", "6: queue must lie between 1 and 100000", "8: repeated key data",
        "9: plugin_failure must be stop or continue", "10: client_freeze must be on or off",
        "11: not of the form key = value", "12: not UTF-8, or a control character",
        "13: body_limit must lie between 1024 and 1073741824"}) {
    expected += file + ":" + fault + "\n";
  }
  EXPECT_EQ(finished.err, expected);
}

TEST(CheckConfigTest, AcceptsWhatItPrints) {
  const auto printed = RunHost({"--print-config"});
  ASSERT_THAT(printed.out, HasSubstr("listen = 127.0.0.1:8080\n"));
  const ScratchFolder folder;
  const auto good = RunHost({"--config", folder.Write("good.conf", printed.out), "--check-config"});
  EXPECT_EQ(good.exit_code, 0) << good.err;
  const auto missing = RunHost({"--config", folder.path() + "/missing", "--check-config"});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_THAT(missing.err, HasSubstr("missing:0: cannot be read"));
  EXPECT_EQ(RunHost({"--config", folder.path(), "--check-config"}).exit_code, 1) << "a folder is no file";
}

TEST(SettingsTest, ReadsValuesAndComments) {
  auto settings = host::DefaultSettings();
  const auto faults = host::ReadSettings(settings,
                                         "  workers=3\t# few\r\n"
                                         "database = host=db password=a#b # the b belongs to it\n"
                                         "plugins = one.so, two.so,,\n"
                                         "data =\n"
                                         "tls_key = k\n",
                                         "f");
  EXPECT_THAT(faults, ElementsAre("f:5: tls_certificate and tls_key go together"));
  EXPECT_EQ(settings.workers, 3);
  EXPECT_EQ(settings.database, "host=db password=a#b");
  EXPECT_THAT(settings.PluginFiles(), ElementsAre("one.so", "two.so"));
}

TEST(UserCommandTest, AddsListsAndChangesUsers) {
  const auto added = RunHost({"user", "add", "O'Neil", "--web", "7,5", "--control", "9"});
  ASSERT_EQ(added.exit_code, 0) << added.err;
  EXPECT_THAT(added.out, testing::MatchesRegex("O'Neil password: [0-9a-f]{24}\n"));
  const auto again = RunHost({"user", "add", "O'Neil"});
  EXPECT_EQ(again.exit_code, 1);
  EXPECT_THAT(again.err, HasSubstr("there is a user O'Neil already"));
  EXPECT_THAT(RunHost({"user", "list"}).out, HasSubstr("\tO'Neil\tuser\tenabled\tweb 5,7\tcs -\tcontrol 9\n"));
  EXPECT_EQ(RunHost({"user", "permissions", "O'Neil", "--cs", "1"}).exit_code, 0);
  EXPECT_THAT(RunHost({"user", "list"}).out, HasSubstr("\tO'Neil\tuser\tenabled\tweb -\tcs 1\tcontrol -\n"));
  EXPECT_THAT(RunHost({"user", "permissions", "nobody"}).err, HasSubstr("there is no user nobody"));
  EXPECT_THAT(RunHost({"user", "add", "empty", "--password-stdin"}, "").err, HasSubstr("a password has"));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM platform.users WHERE name = 'empty'"), "0");
}

TEST(UserCommandTest, NamesOfDomainAccountsAreStoredInLowerCase) {
  const auto added = RunHost({"user", "add", "Town\\Erik", "--control", "43"});
  ASSERT_EQ(added.exit_code, 0) << added.err;
  EXPECT_THAT(added.out, testing::StartsWith("town\\erik password: "));
  EXPECT_THAT(RunHost({"user", "add", "TOWN\\erik"}).err, HasSubstr("there is a user town\\erik already"));
  EXPECT_EQ(RunHost({"user", "permissions", "TOWN\\Erik", "--control", "44"}).exit_code, 0);
  EXPECT_THAT(RunHost({"user", "list"}).out, HasSubstr("\ttown\\erik\tuser\tenabled\tweb -\tcs -\tcontrol 44\n"));
}

TEST(SecretsTest, PasswordsMatchTheirOwnHashOnly) {
  const std::string longest(host::kMaxPasswordBytes, 'p');
  for (const auto& password : {std::string("a"), std::string("pässword"), longest}) {
    const auto hash = host::HashPassword(password);
    ASSERT_TRUE(hash) << password.size();
    EXPECT_EQ(hash->substr(0, 3), "$y$");
    EXPECT_TRUE(host::PasswordMatches(password, *hash));
    EXPECT_FALSE(host::PasswordMatches(password.substr(0, password.size() - 1) + "q", *hash));
    EXPECT_FALSE(host::PasswordMatches(password, ""));
    EXPECT_FALSE(host::PasswordMatches(password, "*"));
  }
  EXPECT_FALSE(host::HashPassword(longest + "p"));
  EXPECT_FALSE(host::HashPassword(""));
  EXPECT_FALSE(host::HashPassword(std::string("a\0b", 3)));
}

class SessionsTest : public testing::Test {
 protected:
  host::Sessions::Clock::time_point now_{};
  host::Sessions sessions_{std::chrono::minutes(30), 2, [this] { return now_; }};
};

TEST_F(SessionsTest, EndAfterIdleTimeAndOnlyRequestsPutItOff) {
  const auto id = sessions_.Open({1, "u", false, {}}, "::1").id;
  now_ += std::chrono::minutes(29);
  EXPECT_TRUE(sessions_.Use(id));
  now_ += std::chrono::minutes(29);
  EXPECT_TRUE(sessions_.Find(id));
  now_ += std::chrono::minutes(1);
  EXPECT_FALSE(sessions_.Find(id));
  EXPECT_FALSE(sessions_.Use(id));
  now_ -= std::chrono::minutes(1);
  EXPECT_FALSE(sessions_.Use(id)) << "an ended session comes back";
}

TEST_F(SessionsTest, AtTheLimitTheLongestIdleGoes) {
  const auto first = sessions_.Open({1, "a", false, {}}, "").id;
  now_ += std::chrono::seconds(1);
  const auto second = sessions_.Open({2, "b", false, {}}, "").id;
  now_ += std::chrono::seconds(1);
  EXPECT_TRUE(sessions_.Use(first));
  now_ += std::chrono::seconds(1);
  const auto third = sessions_.Open({3, "c", false, {}}, "").id;
  EXPECT_TRUE(sessions_.Find(first));
  EXPECT_FALSE(sessions_.Find(second));
  EXPECT_TRUE(sessions_.Find(third));
}

}  // namespace
}  // namespace evidence_test
