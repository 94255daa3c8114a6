// The password checks that plugins call, on a real database.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Authentication.h"
#include "RealBackends.h"
#include "Users.h"
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
constexpr char kPassword[] = "correct horse";

/// What CheckPassword gave.
struct Checked {
  /// -1 for no response object.
  int code;
  int user_id;
  bool ok;
  bool operator==(const Checked&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Checked& checked) {
  return stream << checked.code << ", user " << checked.user_id << (checked.ok ? ", true" : ", false");
}

class PasswordCheckTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const auto manager = platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
    ASSERT_TRUE(manager->Initialize(platform::kPlatformDbId, 1, 1, true));
    const platform::ScopedBackend<kelp::IDBManager> installed(manager);
    const auto add = [](const std::string& name, bool super_user) {
      ASSERT_EQ(host::AddUser({{0, name, super_user, {}}, kPassword}), "");
      ids_[name] = std::stoi(Postgres().Value("SELECT id FROM platform.users WHERE name = '" + name + "'"));
    };
    for (const char* const name : {"anna", "dismissed", "town\\bert"})
      add(name, false);
    add("chief", true);
    Postgres().Query("UPDATE platform.users SET enabled = false WHERE name = 'dismissed'");
  }

  void SetUp() override { ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 4, 4, true)); }

  CLoginRequest Request(const std::string& name, const std::string& password = kPassword) const {
    CLoginRequest request;
    request.SetValClientAddress(kClient);
    request.SetValSessionIdSecurity(session_.id);
    request.SetValUserName(name);
    request.SetValPassword(password);
    request.SetValLoginAccountType(name.find('\\') == std::string::npos ? kLocalAccount : kDomainAccount);
    return request;
  }

  static Checked Check(const CLoginRequest& request) {
    auto response = std::make_shared<CLoginResponse>(999, 999);
    const bool ok = CheckPassword(response, std::make_shared<CLoginRequest>(request));
    if (!response) return {-1, -1, ok};
    return {response->GetValErrCode(), response->GetValUserID(), ok};
  }

  static Checked Right(const std::string& name) { return {0, ids_.at(name), true}; }

  /// The counts that nothing may have changed.
  void ExpectNothingCounted(const std::string& name) const {
    EXPECT_EQ(GetUserFreezeSurplusCount(-1, name), kUserTries) << name;
    EXPECT_EQ(GetClientFreezeSurplusCount(kClient), kClientTries) << name;
  }

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

TEST_F(PasswordCheckTest, RightPasswordsOfLocalAndDomainAccounts) {
  for (const char* const name : {"anna", "chief", "town\\bert"}) {
    EXPECT_EQ(Check(Request(name)), Right(name));
    ExpectNothingCounted(name);
  }
}

TEST_F(PasswordCheckTest, EncipheredPasswordsOpenUnderTheirSessionOnly) {
  auto request = Request("anna", SealedByOpenssl(kPassword, session_.key));
  request.SetValEncryptionType(kSessionEncrypted);
  EXPECT_EQ(Check(request), Right("anna"));
  for (const std::string session : {"", "unknown"}) {
    request.SetValSessionIdSecurity(session);
    EXPECT_EQ(Check(request), (Checked{kLoginNotOpened, -1, false})) << session;
  }
  request.SetValSessionIdSecurity(session_.id);
  for (const std::string password : {"", kPassword, "U2FsdGVkX18="}) {
    request.SetValPassword(password);
    EXPECT_EQ(Check(request), (Checked{kLoginNotOpened, -1, false})) << password;
  }
  ExpectNothingCounted("anna");
  request.SetValPassword(SealedByOpenssl("wrong", session_.key));
  EXPECT_EQ(Check(request), (Checked{kLoginWrongPassword, ids_.at("anna"), false}));
  EXPECT_EQ(GetUserFreezeSurplusCount(-1, "anna"), kUserTries - 1);
}

TEST_F(PasswordCheckTest, TextsAreSealedForTheirSessionOnly) {
  std::string cipher;
  EXPECT_TRUE(AESEncryptClient(cipher, kPassword, session_.id, 0));
  EXPECT_EQ(OpenedByOpenssl(cipher, session_.key), kPassword);
  EXPECT_FALSE(AESEncryptClient(cipher, kPassword, "unknown", 0));
  EXPECT_EQ(cipher, "");
}

TEST_F(PasswordCheckTest, WhatIsNotTriedIsNotCounted) {
  for (const int encryption : {1, 3, -1}) {
    auto request = Request("anna");
    request.SetValEncryptionType(encryption);
    EXPECT_EQ(Check(request), (Checked{kLoginNotOpened, -1, false})) << encryption;
  }
  for (const auto& [name, type] : {std::pair{"anna", 2}, {"anna", 1}, {"town\\bert", 0}, {"town\\bert", 1}}) {
    auto request = Request(name, "wrong");
    request.SetValLoginAccountType(type);
    EXPECT_EQ(Check(request), (Checked{kLoginWrongAccountType, -1, false})) << name << type;
    ExpectNothingCounted(name);
  }
  EXPECT_EQ(Check(Request("dismissed")), (Checked{kLoginUserDisabled, ids_.at("dismissed"), false}));
  ExpectNothingCounted("dismissed");
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(Check(Request("anna", "wrong")), (Checked{-1, -1, false}));
  ExpectNothingCounted("anna");
}

TEST_F(PasswordCheckTest, WrongPasswordsCountByNameWhoeverItIs) {
  const struct {
    std::string name;
    std::string password;
    int user_id;
  } kCases[] = {
      {"anna", "wrong", ids_.at("anna")},
      {"anna", "", ids_.at("anna")},
      {"dismissed", "wrong", ids_.at("dismissed")},
      {"town\\bert", "wrong", ids_.at("town\\bert")},
      {"Anna", kPassword, -1},
      {"Town\\Bert", kPassword, -1},
      {"nobody", kPassword, -1},
      {"", kPassword, -1},
      {std::string(100'000, 'x'), kPassword, -1},
      {"anna' OR 'a'='a", kPassword, -1},
  };
  for (const auto& [name, password, user_id] : kCases) {
    const int left = GetUserFreezeSurplusCount(user_id, name);
    EXPECT_EQ(Check(Request(name, password)), (Checked{kLoginWrongPassword, user_id, false})) << name.substr(0, 40);
    EXPECT_EQ(GetUserFreezeSurplusCount(user_id, name), left - 1) << name.substr(0, 40);
  }
  EXPECT_EQ(GetClientFreezeSurplusCount(kClient), kClientTries) << "counted by its caller, not here";
}

TEST_F(PasswordCheckTest, UsersFreezeAtTheirLimitAndTimeLiftsIt) {
  for (int i = 0; i < kUserTries - 1; ++i)
    EXPECT_EQ(Check(Request("anna", "wrong")).code, kLoginWrongPassword);
  EXPECT_EQ(Check(Request("anna")), Right("anna")) << "clears the count";
  for (int left = kUserTries; left > 0; --left) {
    EXPECT_EQ(GetUserFreezeSurplusCount(ids_.at("anna"), "anna"), left);
    EXPECT_EQ(Check(Request("anna", "wrong")).code, kLoginWrongPassword);
  }
  EXPECT_TRUE(IsUserFreeze(ids_.at("anna"), "anna"));
  EXPECT_EQ(Check(Request("anna")), (Checked{kLoginUserFrozen, -1, false}));
  auto unreadable = Request("anna", "not enciphered");
  unreadable.SetValEncryptionType(kSessionEncrypted);
  EXPECT_EQ(Check(unreadable).code, kLoginUserFrozen) << "the freeze shows before the password is looked at";
  EXPECT_EQ(Check(Request("chief")), Right("chief"));
  now_ += kFreeze;
  EXPECT_FALSE(IsUserFreeze(-1, "anna"));
  EXPECT_EQ(Check(Request("anna")), Right("anna"));
}

TEST_F(PasswordCheckTest, ClientsFreezeByTheirCallersCountBeforeUsers) {
  for (int left = kClientTries; left > 0; --left) {
    EXPECT_EQ(GetClientFreezeSurplusCount(kClient), left);
    EXPECT_FALSE(IsClientFreeze(kClient));
    AddLoginFailCount(kClient);
  }
  for (int i = 0; i < kUserTries; ++i)
    tries_->users.CountFailed("anna");
  EXPECT_TRUE(IsClientFreeze(kClient));
  EXPECT_TRUE(IsEnableClientFreeze());
  EXPECT_EQ(Check(Request("anna")), (Checked{kLoginClientFrozen, -1, false}));
  auto elsewhere = Request("anna");
  elsewhere.SetValClientAddress("10.0.0.8");
  EXPECT_EQ(Check(elsewhere), (Checked{kLoginUserFrozen, -1, false}));
  now_ += kFreeze;
  EXPECT_EQ(Check(Request("anna")), Right("anna"));
}

TEST_F(PasswordCheckTest, ClientsThatAreNotFrozenAtAllMayGoOn) {
  const auto tries = std::make_shared<LoginTries>(host::FailedTries::Rules{kUserTries, kFreeze},
                                                  host::FailedTries::Rules{1, kFreeze, false});
  const platform::ScopedBackend<platform::IAuthenticationBackend> installed(host::MakeAuthentication(sessions_, tries));
  AddLoginFailCount(kClient);
  AddLoginFailCount(kClient);
  EXPECT_FALSE(IsEnableClientFreeze());
  EXPECT_FALSE(IsClientFreeze(kClient));
  EXPECT_EQ(Check(Request("anna")), Right("anna"));
}

TEST_F(PasswordCheckTest, ChecksAtOnceTryNoMorePasswordsThanTheUsersLimit) {
  std::atomic<int> wrong = 0;
  std::atomic<int> frozen = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&] {
      const int code = Check(Request("anna", "wrong")).code;
      wrong += code == kLoginWrongPassword ? 1 : 0;
      frozen += code == kLoginUserFrozen ? 1 : 0;
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(wrong, kUserTries);
  EXPECT_EQ(frozen, 16 - kUserTries);
}

TEST_F(PasswordCheckTest, ControlPermissionsAreReadAtEachCall) {
  const int anna = ids_.at("anna");
  const auto grant = [](std::set<std::pair<ClientKind, int>> permissions) {
    ASSERT_EQ(host::SetPermissions("anna", permissions), "");
  };
  grant({{ClientKind::kWeb, 43}, {ClientKind::kCs, 43}});
  EXPECT_FALSE(HaveControlClientPermission(43, anna));
  grant({{ClientKind::kControl, 43}});
  EXPECT_TRUE(HaveControlClientPermission(43, anna));
  EXPECT_FALSE(HaveControlClientPermission(44, anna));
  EXPECT_FALSE(HaveControlClientPermission(43, ids_.at("town\\bert")));
  EXPECT_TRUE(HaveControlClientPermission(43, ids_.at("chief")));
  EXPECT_FALSE(HaveControlClientPermission(43, -1));
  Postgres().Query("UPDATE platform.users SET enabled = false WHERE name IN ('anna', 'chief')");
  EXPECT_FALSE(HaveControlClientPermission(43, anna));
  EXPECT_FALSE(HaveControlClientPermission(43, ids_.at("chief")));
  Postgres().Query("UPDATE platform.users SET enabled = true WHERE name IN ('anna', 'chief')");
  EXPECT_TRUE(HaveControlClientPermission(43, anna));
  grant({});
  EXPECT_FALSE(HaveControlClientPermission(43, anna));
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_FALSE(HaveControlClientPermission(43, ids_.at("chief")));
}

}  // namespace
}  // namespace evidence_test
