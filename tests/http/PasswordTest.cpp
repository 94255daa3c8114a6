// Logins, the password checks that plugins call, and what both are made of.

#include <algorithm>
#include <atomic>

#include "RealBackends.h"
#include "accounts/Accounts.h"
#include "accounts/Authentication.h"
#include "accounts/FailedTries.h"
#include "accounts/SealedText.h"
#include "accounts/UserChanges.h"
#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using namespace TarnPlatform::Authentication;
using host::ClientKind;
using host::FailedTries;
using host::LoginTries;
using std::chrono::minutes;

constexpr int kUserTries = 3;
constexpr int kClientTries = 4;
constexpr minutes kFreeze{30};
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
    request->SetValSessionIdSecurity(what.session.empty() ? session_.handle : what.session);
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

  FailedTries::Clock::time_point now_{};
  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  const std::shared_ptr<host::Sessions> sessions_ = std::make_shared<host::Sessions>(
      "a site's key", host::Sessions::Rules{.idle = minutes(30), .age = minutes(30), .limit = 10, .per_user = 10});
  const host::Sessions::Opened session_ = sessions_->Open({.id = 1, .name = "anna"}, kClient);
  const std::shared_ptr<LoginTries> tries_ = std::make_shared<LoginTries>(
      FailedTries::Rules{kUserTries, kFreeze}, FailedTries::Rules{kClientTries, kFreeze}, [this] { return now_; });
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
      {{"town\\bert", kPassword, kDomainAccount}, "0 town\\bert true"},
      {{"anna", Sealed(kPassword), 0, kSessionEncrypted}, "0 anna true"},
      {{"anna", Sealed("wrong"), 0, kSessionEncrypted}, "201 anna", 1},
      {{"anna", Sealed(kPassword), 0, kSessionEncrypted, "unknown"}, "213 -1"},
      {{"anna", kPassword, 0, kSessionEncrypted}, "213 -1"},
      {{"anna", kPassword, 0, 1}, "213 -1"},
      {{"anna", "wrong", kDomainAccount}, "214 -1"},
      {{"town\\bert", "wrong", kLocalAccount}, "214 -1"},
      {{"dismissed"}, "210 dismissed"},
      {{"dismissed", "wrong"}, "201 dismissed", 1},
      {{"anna", "wrong"}, "201 anna", 1},
      {{"Anna"}, "201 -1", 1},
      {{"nobody"}, "201 -1", 1},
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
  EXPECT_EQ(Check({"anna", "wrong"}), "201 anna");
  EXPECT_EQ(Check({}), "0 anna true") << "clears the count";
  std::atomic<int> tried = 0;
  OnManyThreads([&] { tried += Check({"anna", "wrong"}) == "201 anna" ? 1 : 0; });
  EXPECT_EQ(tried, kUserTries);
  EXPECT_TRUE(IsUserFreeze(ids_.at("anna"), "anna"));
  EXPECT_EQ(Check({}), "206 -1");
  EXPECT_EQ(Check({"anna", "not sealed", 0, kSessionEncrypted}), "206 -1") << "before the password is looked at";
  EXPECT_EQ(Check({"chief"}), "0 chief true");

  for (int i = 0; i < kClientTries; ++i) {
    EXPECT_FALSE(IsClientFreeze(kClient));
    AddLoginFailCount(kClient);
  }
  EXPECT_EQ(Check({}), "262 -1") << "the client's before the user's";
  EXPECT_EQ(Check({.client = "10.0.0.8"}), "206 -1");
  for (int i = 0; i < kClientTries; ++i)
    AddLoginFailCount("2001:db8:0:7::" + std::to_string(i));
  EXPECT_TRUE(IsClientFreeze("2001:db8:0:7:a:b:c:d")) << "one client may have any address of a /64";
  EXPECT_FALSE(IsClientFreeze("2001:db8:0:8::"));
  now_ += kFreeze;
  EXPECT_EQ(Check({}), "0 anna true");
}

TEST_F(PasswordTest, ControlPermissionsAreReadAtEachCall) {
  const auto holders = [](const std::string& enabled, const std::set<std::pair<ClientKind, int>>& annas) {
    Postgres().Query("UPDATE platform.users SET enabled = " + enabled);
    host::UserChange change;
    change.permissions = annas;
    EXPECT_EQ(host::ChangeUser("anna", change, {"chief"}).text, "");
    std::string names;
    for (const auto& [name, id] : ids_)
      names += HaveControlClientPermission(43, id) ? name + " " : "";
    return names;
  };
  EXPECT_EQ(holders("true", {{ClientKind::kWeb, 43}, {ClientKind::kCs, 43}, {ClientKind::kControl, 44}}), "chief ");
  EXPECT_EQ(holders("name <> 'chief'", {{ClientKind::kControl, 43}}), "anna ");
  EXPECT_EQ(holders("false", {{ClientKind::kControl, 43}}), "");
  EXPECT_EQ(holders("true", {}), "chief ");
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
  EXPECT_EQ(ask(9001), "202");
  Postgres().Query("INSERT INTO platform.users (id, name, password_hash) VALUES (9001, 'new', '')");
  EXPECT_EQ(ask(9001), "202");
  now_ += host::Accounts::kLifetime;
  EXPECT_EQ(ask(9001), "0 new 2");
  Postgres().Query("UPDATE platform.users SET name = 'renamed' WHERE id = 9001");
  for (int id = 100'000; id < 100'000 + static_cast<int>(host::Accounts::kLimit); ++id)
    ASSERT_EQ(ask(id), "202");
  EXPECT_EQ(ask(9001), "0 renamed 2") << "many ids push it out";
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(ask(ids_.at("anna")), "15");
  ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
  EXPECT_EQ(ask(ids_.at("anna")), "0 anna 2") << "a failure was remembered";
}

TEST(LoginTest, FreezesTheUserFirstThenTheClient) {
  EnsureTester();
  EnsureUser("second");
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"}, {"user_tries", "2"}, {"client_tries", "4"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const std::tuple<const char*, const char*, int> tries[] = {
      {"tester", "wrong", 401},   {"tester", kPassword, 200},  // the user's count starts anew
      {"tester", "wrong", 401},   {"tester", "wrong", 401},   {"tester", kPassword, 429},  // neither tried nor counted
      {"second", kPassword, 200},  // and leaves the client's count
      {"nobody", "wrong", 401},    // the client's fourth
      {"second", kPassword, 429},
  };
  for (const auto& [name, password, status] : tries)
    EXPECT_EQ(Ask(host.port(), "POST", "/login", "", LoginText(name, password)).status, status) << name << password;
  EXPECT_EQ(Ask(host.port(), "GET", "/Echo", session).status, 200) << "who is logged in already stays so";
}

TEST(LoginTest, LoginsAtOnceTryNoMorePasswordsThanTheLimit) {
  HostProcess host(SettingsMap{{"plugins", ""}, {"user_tries", "100"}, {"client_tries", "3"}, {"login_workers", "16"}});
  host.WaitUntilListening();
  std::atomic<int> number = 0;
  std::atomic<int> tried = 0;
  OnManyThreads([&] {
    const auto name = "guessed" + std::to_string(++number);
    tried += Ask(host.port(), "POST", "/login", "", LoginText(name, "wrong")).status == 401 ? 1 : 0;
  });
  EXPECT_EQ(tried, 3);
}

TEST(FailedTriesTest, EachCourseOfTriesLeavesItsNumber) {
  const struct {
    const char* rule;
    /// f: a failed try, u: one begun and not tried, r: a right one, l: the same, begun before all others,
    /// w: a minute less than the freeze passes, m: a minute.
    std::string course;
    int left;
  } kCourses[] = {
      {"counted", "ff", 1},
      {"an untried one changes nothing", "fu", 2},
      {"a right one forgets", "ffr", 3},
      {"but time alone lifts a freeze", "fffl", 0},
      {"a failed one does not put its end off", "fffwf", 0},
      {"and the count starts anew", "fffwfm", 3},
      {"short of it the last failed one counts", "fwfw", 1},
      {"and is forgotten in the same time", "fwfwm", 3},
  };
  for (const auto& [rule, course, left] : kCourses) {
    FailedTries::Clock::time_point now{};
    FailedTries tries({3, kFreeze}, [&now] { return now; });
    auto late = course.ends_with('l') ? tries.Begin("a") : std::nullopt;
    for (const char step : course) {
      if (step == 'f') tries.CountFailed("a");
      if (step == 'u') tries.Begin("a").reset();
      if (step == 'r') tries.Begin("a")->Succeeded();
      if (step == 'l') late->Succeeded();
      now += minutes(step == 'w' ? kFreeze.count() - 1 : step == 'm' ? 1 : 0);
    }
    EXPECT_EQ(tries.Left("a"), left) << rule;
    EXPECT_EQ(tries.IsFrozen("a"), left == 0) << rule;
    EXPECT_TRUE(tries.Begin("A"));
  }
}

TEST(FailedTriesTest, ManyKeysGiveUpCountsBeforeFreezes) {
  FailedTries tries({3, kFreeze, true, 4});
  const auto freeze = [&tries](const std::string& key) {
    for (int i = 0; i < 3; ++i)
      tries.CountFailed(key);
  };
  const std::string long_key(1 << 20, 'x');
  freeze(long_key);
  auto held = tries.Begin("held");
  for (int i = 0; i < 1000; ++i)
    tries.CountFailed("name" + std::to_string(i));
  EXPECT_TRUE(tries.IsFrozen(long_key));
  EXPECT_FALSE(tries.IsFrozen(long_key + "y"));
  EXPECT_EQ(tries.Left("name998"), 2);
  EXPECT_EQ(tries.Left("name997"), 3) << "more keys than allowed are kept";
  held->Failed();
  EXPECT_EQ(tries.Left("held"), 2);
  for (const char* const key : {"held", "name999", "name998"})
    freeze(key);
  tries.CountFailed("new");
  EXPECT_FALSE(tries.IsFrozen(long_key)) << "with freezes alone, the one that lifts next is given up";
  EXPECT_TRUE(tries.IsFrozen("held"));
  EXPECT_EQ(tries.Left("new"), 2);
}

constexpr char kKey[] = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";
/// What a text sealed under kKey opens to.
std::string Open(const std::string& sealed) {
  std::string plain = "left from before";
  return host::OpenSealedText(plain, sealed, kKey) ? plain : "refused" + plain;
}

TEST(SealedTextTest, TheCommandAndTheHostOpenEachOthersTexts) {
  for (const auto& plain : {std::string(), std::string("sixteen letters."), std::string("пароль'$\"\\\0b", 17),
                            std::string(host::kMaxSealedPlain, 'x')}) {
    EXPECT_EQ(Open(Openssl("-A", plain, kKey)), plain);
    EXPECT_EQ(Open(Openssl("", plain, kKey)), plain) << "in lines of 64";
    std::string sealed;
    std::string again;
    EXPECT_TRUE(host::SealText(sealed, plain, kKey) && host::SealText(again, plain, kKey));
    EXPECT_EQ(Openssl("-d -A", sealed, kKey), plain);
    EXPECT_NE(again, sealed) << "no salt of its own";
  }
  const std::string over(host::kMaxSealedPlain + 1, 'x');
  std::string sealed;
  EXPECT_FALSE(host::SealText(sealed, over, kKey));
  EXPECT_EQ(Open(Openssl("-A", over, kKey)), "refused");
}

TEST(SealedTextTest, OtherTextsAreRefused) {
  const std::string plain = "correct horse battery staple";
  const auto sealed = Openssl("-A", plain, kKey);
  // Whole blocks of a wrong text open by chance now and then, but never to this one.
  EXPECT_NE(Open(Openssl("-A", plain, std::string(64, '0'))), plain);
  // No text, no whole block, no salt of its own, too large.
  std::vector<std::string> texts{"A===", "AA=A",
                                 "U2FsdGVkX18AAAAAAAAAAA==", "U2FsdGVkX18AAAAAAAAAAAAAAAAAAAAAAAAAAAAA"};
  texts.push_back(Openssl("-A -S 0011223344556677", plain, kKey));
  texts.push_back("U2FsdGVkX18" + std::string((1 << 20) + 1, 'A'));
  for (const char bad : {'-', ' ', '\0', '=', '\x80'}) {
    for (const std::size_t at : {std::size_t{5}, sealed.size() / 2})
      texts.push_back(std::string(sealed).replace(at, 1, 1, bad));
  }
  for (std::size_t length = 0; length < sealed.size(); ++length) {
    EXPECT_NE(Open(sealed.substr(0, length)), plain);
    if (length % 4 != 0) texts.push_back(sealed.substr(0, length));
  }
  for (const auto& text : texts)
    EXPECT_EQ(Open(text), "refused") << text.substr(0, 60);
}

}  // namespace
}  // namespace evidence_test
