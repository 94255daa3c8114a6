// The password checks that plugins call and those of POST /login, on a real database.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "Accounts.h"
#include "Authentication.h"
#include "RealBackends.h"
#include "Users.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "http/OnManyThreads.h"
#include "http/OpensslCommand.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using namespace TarnPlatform::Authentication;
using host::ClientKind;
using host::LoginTries;

constexpr int kUserTries = 3;
constexpr int kClientTries = 4;
constexpr std::chrono::minutes kFreeze{30};
constexpr char kClient[] = "10.0.0.7";

class PasswordTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureUser("anna");
    EnsureUser("town\\bert");
    EnsureUser("chief", {"--super"});
    EnsureUser("dismissed");
    Postgres().Query("UPDATE platform.users SET enabled = name <> 'dismissed'");
    for (const std::string name : {"anna", "town\\bert", "chief", "dismissed"})
      ids_[name] = std::stoi(Postgres().Value("SELECT id FROM platform.users WHERE name = '" + name + "'"));
  }

  void SetUp() override { ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 4, 4, true)); }

  struct Request {
    std::string name = "anna";
    std::string password = kPassword;
    int account_type = kLocalAccount;
    int encryption = kPlainPassword;
    std::string session = {};
    std::string client = kClient;
  };

  /// "<code> <user>", with " true" when the check gave that; "none" without a response.
  std::string Check(const Request& what) const {
    const auto request = std::make_shared<CLoginRequest>();
    request->SetValUserName(what.name);
    request->SetValPassword(what.password);
    request->SetValLoginAccountType(what.account_type);
    request->SetValEncryptionType(what.encryption);
    request->SetValSessionIdSecurity(what.session.empty() ? session_.id : what.session);
    request->SetValClientAddress(what.client);
    auto response = std::make_shared<CLoginResponse>(999, 999);
    const bool ok = CheckPassword(response, request);
    if (!response) return ok ? "none true" : "none";
    const int id = response->GetValUserID();
    const auto user = std::ranges::find(ids_, id, &std::pair<const std::string, int>::second);
    return std::to_string(response->GetValErrCode()) + " " + (user == ids_.end() ? std::to_string(id) : user->first) +
           (ok ? " true" : "");
  }
  std::string Sealed(const std::string& plain) const { return Openssl("-A", plain, session_.key); }

  inline static std::map<std::string, int> ids_;

  host::FailedTries::Clock::time_point now_{};
  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  const std::shared_ptr<host::Sessions> sessions_ = std::make_shared<host::Sessions>(std::chrono::minutes(30), 10);
  const host::Sessions::Opened session_ = sessions_->Open({1, "anna", false, {}}, kClient);
  const std::shared_ptr<LoginTries> tries_ =
      std::make_shared<LoginTries>(host::FailedTries::Rules{kUserTries, kFreeze},
                                   host::FailedTries::Rules{kClientTries, kFreeze}, [this] { return now_; });
  const platform::ScopedBackend<platform::IAuthenticationBackend> installed_{
      host::MakeAuthentication(sessions_, tries_)};
};

TEST_F(PasswordTest, EachCheckHasItsAnswerAndWrongPasswordsCountAgainstTheName) {
  const struct {
    Request request;
    std::string answer;
    int counted = 0;
  } kCases[] = {
      {{}, "0 anna true"},
      {{"chief"}, "0 chief true"},
      {{"town\\bert", kPassword, kDomainAccount}, "0 town\\bert true"},
      {{"anna", Sealed(kPassword), 0, kSessionEncrypted}, "0 anna true"},
      {{"anna", Sealed("wrong"), 0, kSessionEncrypted}, "201 anna", 1},
      {{"anna", Sealed(kPassword), 0, kSessionEncrypted, "unknown"}, "213 -1"},
      {{"anna", kPassword, 0, kSessionEncrypted}, "213 -1"},
      {{"anna", kPassword, 0, 1}, "213 -1"},
      {{"anna", kPassword, 0, -1}, "213 -1"},
      {{"anna", "wrong", kDomainAccount}, "214 -1"},
      {{"town\\bert", "wrong", kLocalAccount}, "214 -1"},
      {{"town\\bert", "wrong", 1}, "214 -1"},
      {{"dismissed"}, "210 dismissed"},
      {{"dismissed", "wrong"}, "201 dismissed", 1},
      {{"anna", "wrong"}, "201 anna", 1},
      {{"anna", ""}, "201 anna", 1},
      {{"Anna"}, "201 -1", 1},
      {{"nobody"}, "201 -1", 1},
      {{""}, "201 -1", 1},
      {{std::string(100'000, 'x')}, "201 -1", 1},
      {{"anna' OR 'a'='a"}, "201 -1", 1},
  };
  for (const auto& [request, answer, counted] : kCases) {
    EXPECT_EQ(Check(request), answer) << request.name.substr(0, 40);
    EXPECT_EQ(GetUserFreezeSurplusCount(-1, request.name), kUserTries - counted) << request.name.substr(0, 40);
    now_ += kFreeze;
  }
  EXPECT_EQ(GetClientFreezeSurplusCount(kClient), kClientTries) << "counted by the caller, not here";
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(Check({"anna", "wrong"}), "none");
  EXPECT_EQ(GetUserFreezeSurplusCount(-1, "anna"), kUserTries);
}

TEST_F(PasswordTest, UsersAndClientsFreezeAtTheirLimitsAndTimeLiftsIt) {
  for (int i = 0; i < kUserTries - 1; ++i)
    EXPECT_EQ(Check({"anna", "wrong"}), "201 anna");
  EXPECT_EQ(Check({}), "0 anna true") << "clears the count";
  for (int i = 0; i < kUserTries; ++i)
    EXPECT_EQ(Check({"anna", "wrong"}), "201 anna");
  EXPECT_TRUE(IsUserFreeze(ids_.at("anna"), "anna"));
  EXPECT_EQ(Check({}), "206 -1");
  EXPECT_EQ(Check({"anna", "not sealed", 0, kSessionEncrypted}), "206 -1") << "before the password is looked at";
  EXPECT_EQ(Check({"chief"}), "0 chief true");

  for (int left = kClientTries; left > 0; --left) {
    EXPECT_FALSE(IsClientFreeze(kClient));
    EXPECT_EQ(GetClientFreezeSurplusCount(kClient), left);
    AddLoginFailCount(kClient);
  }
  EXPECT_TRUE(IsClientFreeze(kClient));
  EXPECT_EQ(Check({}), "262 -1") << "the client's before the user's";
  EXPECT_EQ(Check({.client = "10.0.0.8"}), "206 -1");
  now_ += kFreeze;
  EXPECT_EQ(Check({}), "0 anna true");
}

TEST_F(PasswordTest, ChecksAtOnceTryNoMorePasswordsThanTheLimit) {
  std::atomic<int> wrong = 0;
  std::atomic<int> frozen = 0;
  OnManyThreads([&] {
    const auto answer = Check({"anna", "wrong"});
    wrong += answer == "201 anna" ? 1 : 0;
    frozen += answer == "206 -1" ? 1 : 0;
  });
  EXPECT_EQ(wrong, kUserTries);
  EXPECT_EQ(frozen, kThreads - kUserTries);
}

TEST_F(PasswordTest, ControlPermissionsAreReadAtEachCall) {
  const auto held = [](const std::string& sql, const std::set<std::pair<ClientKind, int>>& annas) {
    Postgres().Query("UPDATE platform.users SET enabled = " + sql);
    EXPECT_EQ(host::SetPermissions("anna", annas), "");
    std::string names;
    for (const auto& [name, id] : ids_)
      names += HaveControlClientPermission(43, id) ? name + " " : "";
    return names;
  };
  EXPECT_EQ(held("true", {{ClientKind::kWeb, 43}, {ClientKind::kCs, 43}, {ClientKind::kControl, 44}}), "chief ");
  EXPECT_EQ(held("true", {{ClientKind::kControl, 43}}), "anna chief ");
  EXPECT_FALSE(HaveControlClientPermission(43, -1));
  EXPECT_EQ(held("false", {{ClientKind::kControl, 43}}), "");
  EXPECT_EQ(held("name <> 'chief'", {{ClientKind::kControl, 43}}), "anna ");
  EXPECT_EQ(held("true", {}), "chief ");
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_FALSE(HaveControlClientPermission(43, ids_.at("chief")));
}

TEST_F(PasswordTest, AccountsAreRememberedForALifetimeAndFailuresNever) {
  host::Accounts accounts([this] { return now_; });
  const auto ask = [&accounts](int id) {
    auto user = std::make_shared<CUserInfo>(-7, "left from before", -7);
    const auto code = std::to_string(accounts.Query(user, id));
    return user ? code + " " + user->GetValUserName() + " " + std::to_string(user->GetValUserType()) : code;
  };
  EXPECT_EQ(ask(ids_.at("chief")), "0 chief 1");
  EXPECT_EQ(ask(ids_.at("dismissed")), "0 dismissed 2") << "what he made keeps its name";
  EXPECT_EQ(ask(ids_.at("town\\bert")), "0 town\\bert 3");
  EXPECT_EQ(ask(-1), "202");
  EXPECT_EQ(ask(9001), "202");
  const auto put = [](const std::string& name) {
    Postgres().Query("INSERT INTO platform.users (id, name, password_hash) VALUES (9001, '" + name +
                     "', '') ON CONFLICT (id) DO UPDATE SET name = excluded.name");
  };
  put("new");
  now_ += host::Accounts::kLifetime - std::chrono::milliseconds(1);
  EXPECT_EQ(ask(9001), "202");
  now_ += std::chrono::milliseconds(1);
  EXPECT_EQ(ask(9001), "0 new 2");
  put("renamed");
  for (int id = 100'000; id < 100'000 + static_cast<int>(host::Accounts::kLimit); ++id)
    ASSERT_EQ(ask(id), "202");
  EXPECT_EQ(ask(9001), "0 renamed 2") << "many ids push it out";
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(ask(9001), "0 renamed 2");
  EXPECT_EQ(ask(9002), "15");
  ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
  EXPECT_EQ(ask(9002), "202");
}

TEST(LoginTest, FreezesTheUserFirstThenTheClient) {
  EnsureTester();
  EnsureUser("second");
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"}, {"user_tries", "2"}, {"client_tries", "4"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const struct {
    const char* name;
    const char* password;
    int status;
    const char* why;
  } kCases[] = {
      {"tester", "wrong", 401, "counts"},
      {"tester", kPassword, 200, "the user's count starts anew"},
      {"tester", "wrong", 401, "counts"},
      {"tester", "wrong", 401, "freezes the user"},
      {"tester", kPassword, 429, "is not tried, and not counted"},
      {"second", kPassword, 200, "leaves the client's count"},
      {"nobody", "wrong", 401, "freezes the client"},
      {"second", kPassword, 429, "from a frozen client"},
  };
  for (const auto& [name, password, status, why] : kCases)
    EXPECT_EQ(Ask(host.port(), "POST", "/login", "", LoginText(name, password)).status, status) << why;
  EXPECT_EQ(Ask(host.port(), "GET", "/Echo", session).status, 200) << "who is logged in already stays so";
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST(LoginTest, LoginsAtOnceTryNoMorePasswordsThanTheLimit) {
  HostProcess host(SettingsMap{{"plugins", ""}, {"user_tries", "100"}, {"client_tries", "3"}, {"login_workers", "16"}});
  const int port = host.WaitUntilListening();
  std::array<std::atomic<int>, 600> statuses{};
  std::atomic<int> number = 0;
  OnManyThreads([&] {
    const auto name = "guessed" + std::to_string(++number);
    ++statuses.at(static_cast<std::size_t>(Ask(port, "POST", "/login", "", LoginText(name, "wrong")).status));
  });
  EXPECT_EQ(statuses[401], 3);
  EXPECT_EQ(statuses[429], kThreads - 3);
}

}  // namespace
}  // namespace evidence_test
