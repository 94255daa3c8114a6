// Accounts from the inside and from outside: rules for passwords, events, and the routes of users and events.

#include <chrono>

#include "Backend.h"
#include "OrvBase/Log.h"
#include "accounts/AuthEventWriter.h"
#include "accounts/PasswordRules.h"
#include "http/HostProcess.h"
#include "platform/SecretText.h"

namespace evidence_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(PasswordRulesTest, WhatIsGuessedFirstIsRefusedAndAPhraseIsNot) {
  const std::string long_name(140, 'n');
  const std::pair<std::string, std::string> kRefused[] = {
      {"elevenchars", "at least 12"},
      {"éééééééééé1", "at least 12"},
      {std::string(512, 'x') + "y", "at most 511"},
      {"correct\thorses", "control"},
      {"correct\xC2\x85horses", "control"},
      {"correct\xFFhorses", "UTF-8"},
      {"Margaret.Hale", "name"},
      {"margaret.hale2026!", "name"},
      {"Administrator", "commonest"},
      {"PASSWORD2026", "commonest"},
      {"!!letmein!!!", "commonest"},
      {"CorrectHorseBatteryStaple", "commonest"},
      {"correct horse battery staple", "commonest"},
      {"xyxyxyxyxyxyx", "repeated"},
      {"            ", "repeated"},
      {"no swallowsno swallows", "repeated"},
      {"abcdef987654", "row"},
      {"QwErTzUiOp12", "row"},
      {"aaaabbbbcccd", "row"},
  };
  for (const auto& [password, fault] : kRefused)
    EXPECT_THAT(host::PasswordFault(password, "town\\margaret.hale"), HasSubstr(fault)) << password;
  for (const char* const password :
       {"correct horse", "éééàààèèèùùùîîî", "three blind mice 7", "f3a90cc1b2d4e6f8a7b6c5d4"})
    EXPECT_EQ(host::PasswordFault(password, "margaret"), "") << password;
}

TEST(AuthEventsTest, RefusedTriesOfAMinuteAreListedUpToALimitAndCounted) {
  host::RefusalBudget budget;
  host::RefusalBudget::Clock::time_point now{std::chrono::hours(1)};
  const auto listed = [&](int tries, const std::string& address) {
    int taken = 0;
    for (int i = 0; i < tries; ++i)
      taken += budget.Takes(address, now) ? 1 : 0;
    return taken;
  };
  EXPECT_EQ(listed(50, "10.0.0.1"), host::RefusalBudget::kOfAddress);
  EXPECT_EQ(listed(1, "10.0.0.2"), 1) << "a flood hides no one else";
  int of_many = 0;
  for (int i = 0; i < 500; ++i)
    of_many += listed(1, "10.1.0." + std::to_string(i));
  EXPECT_EQ(of_many, host::RefusalBudget::kOfAll - host::RefusalBudget::kOfAddress - 1);
  EXPECT_EQ(budget.TakeCounted(now), 0) << "the minute lasts";
  now += std::chrono::minutes(1);
  EXPECT_EQ(budget.TakeCounted(now), 551 - host::RefusalBudget::kOfAll);
  EXPECT_EQ(budget.TakeCounted(now), 0);
  EXPECT_EQ(listed(1, "10.0.0.1"), 1);
}

TEST(SecretTextTest, LinesOfThisThreadLeaveItOutWhileItLasts) {
  struct Sink final : platform::ILogSink {
    void Write(int, std::string_view, std::string_view text) override { lines += std::string(text) + "\n"; }
    std::string lines;
  };
  const auto sink = std::make_shared<Sink>();
  const platform::ScopedBackend<platform::ILogSink> installed(sink);
  const auto log = [] {
    Orv::Base::details::ITarnFormatLog(Orv::Base::kLogFailure, "t", "%s", "a $y$1$ b $y$2$ $y$1$");
  };
  {
    const platform::SecretText first("$y$1$");
    const platform::SecretText none("");
    const platform::SecretText second("$y$2$");
    log();
    std::jthread(log).join();
  }
  log();
  EXPECT_EQ(sink->lines, "a … b … …\na $y$1$ b $y$2$ $y$1$\na $y$1$ b $y$2$ $y$1$\n");
}

/// One host whose log has every statement, with a super user, an administrator, an auditor and a clerk.
class AccountRoutesTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    Postgres().Query("TRUNCATE platform.users, platform.permissions, platform.user_roles, platform.auth_event");
    EnsureTester();
    EnsureUser("admin", {"--role", "administrator"});
    EnsureUser("auditor", {"--role", "auditor"});
    EnsureUser("clerk", {"--cs", "41"});
    host_ = std::make_unique<HostProcess>(
        SettingsMap{{"plugins", ""}, {"log_level", "1"}, {"user_tries", "2"}, {"client_tries", "9"}});
    host_->WaitUntilListening();
    Postgres().Query("UPDATE platform.users SET enabled = false WHERE name = 'sysop'");
    for (const char* const name : {"tester", "admin", "auditor", "clerk"})
      sessions_[name] = Login(host_->port(), name).id;
  }
  static void TearDownTestSuite() { host_.reset(); }

  static HttpReply Call(const std::string& user, const std::string& method, const std::string& path,
                        const std::string& body = "") {
    return Ask(host_->port(), method, "/platform/v1/" + path, user.empty() ? "" : sessions_.at(user), body);
  }
  static std::string Id(const std::string& name) {
    return Postgres().Value("SELECT id FROM platform.users WHERE name = '" + name + "'");
  }
  static int TryLogin(const std::string& name, const std::string& password) {
    return Ask(host_->port(), "POST", "/login", "", LoginText(name, password)).status;
  }

  inline static std::unique_ptr<HostProcess> host_;
  inline static std::map<std::string, std::string> sessions_;
};

TEST_F(AccountRoutesTest, EachRouteIsForItsRolesOnly) {
  const std::string clerk = "users/" + Id("clerk");
  const struct {
    std::string method;
    std::string path;
    std::string body;
    /// Of nobody, clerk, auditor, admin, tester.
    std::vector<int> statuses;
  } kRows[] = {
      {"GET", "users", "", {401, 403, 403, 200, 200}},
      {"GET", clerk, "", {401, 403, 403, 200, 200}},
      {"GET", "users/999999", "", {401, 403, 403, 404, 404}},
      {"GET", "users/99999999999999999999", "", {401, 403, 403, 404, 404}},
      {"GET", "users?limit=0", "", {401, 403, 403, 400, 400}},
      {"POST", "users", "[]", {401, 403, 403, 400, 400}},
      {"POST", "users", "{}", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, "{}", {401, 403, 403, 200, 200}},
      {"PATCH", clerk, R"({"enabled":1})", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, R"({"enabled":true,"enabled":false})", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, R"({"name":"x"})", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, R"({"permissions":[{"kind":"phone","code":1}]})", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, R"({"permissions":[{"kind":"web","code":-1}]})", {401, 403, 403, 400, 400}},
      {"PATCH", clerk, R"({"roles":["janitor"]})", {401, 403, 403, 422, 422}},
      {"PUT", "session/password", R"({"old_password":7})", {401, 400, 400, 400, 400}},
      {"GET", "auth-events", "", {401, 403, 200, 403, 200}},
      {"GET", "auth-events?since=soon", "", {401, 403, 400, 403, 400}},
  };
  const std::string callers[] = {"", "clerk", "auditor", "admin", "tester"};
  for (const auto& row : kRows) {
    for (std::size_t i = 0; i < row.statuses.size(); ++i) {
      EXPECT_EQ(Call(callers[i], row.method, row.path, row.body).status, row.statuses[i])
          << row.method << ' ' << row.path << ' ' << row.body << " of " << callers[i];
    }
  }
}

TEST_F(AccountRoutesTest, AnAdministratorManagesOthersButNeitherSuperUsersNorHimself) {
  const auto code = [](const HttpReply& reply) {
    const auto at = reply.body.find("\"code\":\"");
    return at == std::string::npos ? "" : reply.body.substr(at + 8, reply.body.find('"', at + 8) - at - 8);
  };
  const auto added = Call("admin", "POST", "users", R"({"user_name":"TOWN\\Nora","roles":["operator"]})");
  EXPECT_EQ(added.status, 201);
  const auto nora = "users/" + Id("town\\nora");
  EXPECT_EQ(added.headers.at("Location"), "/platform/v1/" + nora);
  EXPECT_THAT(added.body, AllOf(HasSubstr(R"("must_change_password":true,"roles":["operator"],"permissions":[],)"
                                          R"("all_permissions":[{"kind":"cs","code":41},{"kind":"cs","code":44}],)"
                                          R"("password":")")));
  const struct {
    std::string user;
    std::string path;
    std::string body;
    int status;
    std::string code;
  } kChanges[] = {
      {"admin", nora, R"({"super_user":true})", 403, "super_user_only"},
      {"admin", "users/" + Id("tester"), R"({"enabled":false})", 403, "super_user_only"},
      {"admin", "users/" + Id("tester"), R"({"password":"three blind mice"})", 403, "super_user_only"},
      {"admin", "users/" + Id("admin"), R"({"roles":["administrator","custodian"]})", 403, "own_account"},
      {"admin", "users/" + Id("admin"), R"({"password":"three blind mice"})", 403, "own_password"},
      {"admin", nora, R"({"password":"town\\nora"})", 422, "weak_password"},
      {"admin", nora, R"({"permissions":[{"kind":"control","code":43}],"roles":[],"enabled":false})", 200, ""},
      {"tester", nora, R"({"super_user":true,"enabled":true})", 200, ""},
      {"admin", nora, R"({"super_user":false})", 403, "super_user_only"},
      {"tester", nora, R"({"super_user":false,"roles":["auditor"]})", 200, ""},
      {"tester", "users/" + Id("admin"), R"({"roles":[]})", 200, ""},
      {"tester", "users/" + Id("tester"), R"({"enabled":false})", 409, "last_manager"},
      {"tester", "users/" + Id("admin"), R"({"roles":["administrator"]})", 200, ""},
  };
  for (const auto& [user, path, body, status, word] : kChanges) {
    const auto reply = Call(user, "PATCH", path, body);
    EXPECT_EQ(reply.status, status) << body << reply.body;
    EXPECT_EQ(code(reply), word);
  }
  EXPECT_EQ(code(Call("admin", "POST", "users", R"({"user_name":"town\\NORA"})")), "user_exists");
  EXPECT_EQ(code(Call("admin", "POST", "users", R"({"user_name":"root","super_user":true})")), "super_user_only");
  EXPECT_THAT(Call("admin", "GET", nora).body,
              HasSubstr(R"("enabled":true,"super_user":false,"must_change_password":true,"roles":["auditor"],)"
                        R"("permissions":[{"kind":"control","code":43}])"));
  const auto page = Call("admin", "GET", "users?limit=2&after=" + Id("tester")).body;
  EXPECT_THAT(page, AllOf(HasSubstr("\"auditor\""), Not(HasSubstr("\"clerk\"")),
                          HasSubstr("\"next\":\"" + Id("auditor") + "\"")));
}

TEST_F(AccountRoutesTest, TheNextRequestKnowsTheChange) {
  EnsureUser("otto", {"--role", "administrator"});
  sessions_["otto"] = Login(host_->port(), "otto").id;
  const auto otto = "users/" + Id("otto");
  // Often, as the host looks for changes by itself now and then, too.
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Call("otto", "GET", "users").status, 200);
    EXPECT_EQ(Call("tester", "PATCH", otto, R"({"roles":[]})").status, 200);
    EXPECT_EQ(Call("otto", "GET", "users").status, 403);
    EXPECT_EQ(Call("tester", "PATCH", otto, R"({"roles":["administrator"]})").status, 200);
  }
  EXPECT_EQ(Call("tester", "PATCH", otto, R"({"enabled":false})").status, 200);
  EXPECT_EQ(Call("otto", "GET", "session").status, 401);
}

TEST_F(AccountRoutesTest, PasswordsChangeEndSessionsAndAreNotedButNeverLogged) {
  EnsureUser("paula");
  EnsureUser("frozen");
  const std::string changed = "four grey geese";
  const auto body = [](const std::string& from, const std::string& to) {
    return R"({"old_password":")" + from + R"(","new_password":")" + to + "\"}";
  };
  sessions_["paula"] = Login(host_->port(), "paula").id;
  const std::pair<std::string, int> kTries[] = {{body("wrong horse", changed), 403},
                                                {body(kPassword, "paula"), 422},
                                                {body(kPassword, kPassword), 422},
                                                {body(kPassword, changed), 204},
                                                {body(changed, "five silver spoons"), 401}};
  for (const auto& [text, status] : kTries)
    EXPECT_EQ(Call("paula", "PUT", "session/password", text).status, status) << text;
  EXPECT_EQ(TryLogin("paula", kPassword), 401);
  EXPECT_EQ(TryLogin("paula", changed), 200);
  EXPECT_EQ(Call("admin", "PATCH", "users/" + Id("paula"), R"({"password":"five silver spoons"})").status, 200);
  for (const int status : {401, 401, 429})
    EXPECT_EQ(TryLogin("frozen", "wrong"), status);
  EXPECT_TRUE(Eventually(
      [] { return Call("auditor", "GET", "auth-events?user=frozen").body.find("freeze") != std::string::npos; }));

  std::string kinds;
  for (const auto& row : Postgres().Query("SELECT kind, user_name, done_by FROM platform.auth_event WHERE user_name IN "
                                          "('paula', 'frozen') AND request_id <> '' ORDER BY occurred_at"))
    kinds += row[0] + " " + row[1] + (row[2].empty() ? "" : " by " + row[2]) + "\n";
  EXPECT_EQ(kinds,
            "login paula\npassword_refused paula\npassword_changed paula by paula\nlogin_refused paula\nlogin paula\n"
            "password_changed paula by admin\nlogin_refused frozen\nlogin_refused frozen\nfreeze frozen\n");
  const auto newest = Call("auditor", "GET", "auth-events?user=frozen&limit=1").body;
  EXPECT_THAT(newest,
              AllOf(HasSubstr(R"("kind":"freeze","user_name":"frozen","done_by":"","client_address":"127.0.0.1")"),
                    HasSubstr("\"next\":\"")));
  EXPECT_EQ(Call("auditor", "GET", "auth-events?until=2026-01-01").body, R"({"items":[]})");

  const auto log = host_->Log();
  EXPECT_THAT(log, AllOf(HasSubstr("UPDATE platform.users SET password_hash = '…'"), Not(HasSubstr("$y$")),
                         Not(HasSubstr(kPassword)), Not(HasSubstr(changed))));
}

}  // namespace
}  // namespace evidence_test
