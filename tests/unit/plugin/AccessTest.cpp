// Who may confirm a deletion, and what the client learns about remaining tries.

#include <gtest/gtest.h>

#include "Common/CommonFun/TarnCommonFun.h"
#include "KelpUtils/StringFunctions.h"
#include "support/AuthenticationStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"

namespace {

using Evidence::UserPtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using TarnPlatform::Authentication::CLoginRequest;
using TarnPlatform::Authentication::CLoginResponse;
using TarnPlatform::Authentication::CUserSession;

/// One session, "session"; passwords by name, refusals by code.
class Authentication final : public evidence_test::AuthenticationStub {
 public:
  std::string login_name = "alice";
  std::string address = "10.0.0.7";
  bool super_user = false;
  std::map<std::string, int> refusals;  ///< error code by name; absent: the password is right
  bool answers = true;
  int user_id = 7;
  bool client_frozen = false;
  bool user_frozen = false;
  bool client_freeze_enabled = true;
  int client_left = 9;
  int user_left = 9;
  std::set<int> denied_users;
  std::vector<std::string> tried;  ///< "name type" of each checked password
  int counted = 0;
  int client_limit = 1000;

  std::shared_ptr<CUserSession> FindSession(const std::string& session) override {
    return session == "session" ? std::make_shared<CUserSession>(7, login_name, address, 1) : nullptr;
  }
  bool IsSuperUser(const std::string&) override { return super_user; }
  bool CheckPassword(std::shared_ptr<CLoginResponse>& out, const CLoginRequest& request) override {
    tried.push_back(request.GetValUserName() + " " + std::to_string(request.GetValLoginAccountType()));
    EXPECT_EQ(request.GetValEncryptionType(), 2);
    EXPECT_EQ(request.GetValClientAddress(), address);
    EXPECT_EQ(request.GetValSessionIdSecurity(), "session");
    EXPECT_EQ(request.GetValPassword(), "secret of " + request.GetValUserName());
    const auto refused = refusals.find(request.GetValUserName());
    if (answers) out = std::make_shared<CLoginResponse>(refused == refusals.end() ? 0 : refused->second, user_id);
    return refused == refusals.end();
  }
  void AddLoginFailCount(const std::string& client) override {
    EXPECT_EQ(client, address);
    ++counted;
  }
  bool IsClientFreeze(const std::string& client) override {
    EXPECT_EQ(client, address);
    return client_frozen || counted >= client_limit;
  }
  bool IsUserFreeze(int id, const std::string& name) override {
    EXPECT_EQ(id, user_id);
    EXPECT_EQ(name + " 0", tried.back());
    return user_frozen;
  }
  int ClientTriesLeft(const std::string& client) override {
    EXPECT_EQ(client, address);
    return client_left;
  }
  int UserTriesLeft(int id, const std::string& name) override {
    EXPECT_EQ(id, user_id);
    EXPECT_EQ(name + " 0", tried.back());
    return user_left;
  }
  bool IsEnableClientFreeze() override { return client_freeze_enabled; }
  bool HaveControlClientPermission(int code, int id) override { return code == 43 && !denied_users.contains(id); }
};

class AccessTest : public ::testing::Test {
 protected:
  bool Check(const std::vector<std::string>& names, const std::string& session = "session") {
    std::list<UserPtr> users;
    for (const auto& name : names) {
      const std::string known_as = name.find('\\') == std::string::npos ? name : kelp::ToLower(name);
      users.push_back(std::make_shared<Evidence::_tag_User_>(Evidence::_tag_User_{name, "secret of " + known_as}));
    }
    remain_ = 77;
    lock_ = 77;
    name_.clear();
    return service_.CheckUsersDelEvidencePerm(remain_, lock_, name_, users, session);
  }
  scripted::Platform platform_;
  std::shared_ptr<Authentication> authentication_ = std::make_shared<Authentication>();
  platform::ScopedBackend<platform::IAuthenticationBackend> slot_{authentication_};
  Evidence::CUsrServiceEvidence service_;
  std::int32_t remain_ = 0;
  std::int32_t lock_ = 0;
  std::string name_;
};

TEST_F(AccessTest, OperatePermissionIsAskedOfTheCsClient) {
  platform_.permissions->denied = {41};
  platform_.permissions->denied_cs = {44};
  EXPECT_TRUE(Evidence::CTarnCommonFun::CheckOperatePermission("session", 41));
  EXPECT_FALSE(Evidence::CTarnCommonFun::CheckConfigPermission("session", 41));
  EXPECT_FALSE(Evidence::CTarnCommonFun::CheckOperatePermission("session", 44));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 10));
  EXPECT_TRUE(platform_.sink->Has(5, "]session Not Have CSClient Permission: 44.["));
  EXPECT_TRUE(Evidence::CTarnCommonFun::CheckOperatePermission("", 44));
  EXPECT_TRUE(platform_.sink->Has(5, "]session is empty and 44 has permission["));
}

TEST_F(AccessTest, APlainUserMustBeInTheList) {
  EXPECT_TRUE(Check({"bob", "alice"}));
  EXPECT_EQ(name_, "alice") << "the last one of a confirmed list";
  EXPECT_EQ(remain_, -1);
  EXPECT_EQ(lock_, 1);
  authentication_->tried.clear();
  for (const auto& names : std::vector<std::vector<std::string>>{{}, {"bob"}, {"Alice"}, {"alice "}}) {
    EXPECT_FALSE(Check(names));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
    EXPECT_EQ(remain_, -1);
  }
  EXPECT_TRUE(authentication_->tried.empty()) << "no password is tried for a wrong list";
  EXPECT_TRUE(
      platform_.sink->Has(5, "]Require user permission verification [ list info  user : bob, login user : alice].["));
  EXPECT_TRUE(platform_.sink->Has(5, "]Require user permission verification [ list info , login user : alice].["));
}

TEST_F(AccessTest, ASuperUserConfirmsAsSysopAlone) {
  authentication_->super_user = true;
  EXPECT_TRUE(Check({"sysop"}));
  for (const auto& names :
       std::vector<std::vector<std::string>>{{}, {"Sysop"}, {"alice"}, {"sysop", "alice"}, {"sysop", "sysop"}}) {
    EXPECT_FALSE(Check(names));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
    EXPECT_EQ(remain_, -1);
  }
  EXPECT_TRUE(platform_.sink->Has(5, "]Require user permission verification.["));
  EXPECT_EQ(authentication_->tried.size(), 1U);
}

TEST_F(AccessTest, DomainAccountsAreLoweredInTheListOnly) {
  authentication_->login_name = "corp\\alice";
  EXPECT_TRUE(Check({"CORP\\Alice", "Bob"}));
  EXPECT_EQ(authentication_->tried, (std::vector<std::string>{"corp\\alice 2", "Bob 0"}));
  authentication_->login_name = "CORP\\alice";
  EXPECT_FALSE(Check({"CORP\\alice"})) << "the login name itself is not lowered";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
}

TEST_F(AccessTest, NeedsAClientAddress) {
  authentication_->address = "";
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  EXPECT_EQ(lock_, 1);
  EXPECT_TRUE(platform_.sink->Has(5, "]GetClientAddress failed, session-id[session].["));
}

TEST_F(AccessTest, TheFirstWrongPasswordEndsTheList) {
  authentication_->refusals = {{"bob", 201}};
  EXPECT_FALSE(Check({"alice", "bob", "carol"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 201));
  EXPECT_EQ(name_, "bob");
  EXPECT_EQ(authentication_->tried, (std::vector<std::string>{"alice 0", "bob 0"}));
  EXPECT_EQ(authentication_->counted, 1);
  EXPECT_TRUE(platform_.sink->Has(5, "]CheckUserPass failed, user-name[bob].["));
}

TEST_F(AccessTest, TheTryThatReachesTheLimitReportsTheFreeze) {
  authentication_->refusals = {{"alice", 201}};
  authentication_->client_limit = 1;
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 262));
}

TEST_F(AccessTest, ARepeatedUserIsCheckedOnce) {
  EXPECT_TRUE(Check({"alice", "bob", "alice", "alice"}));
  EXPECT_EQ(name_, "alice");
  EXPECT_EQ(authentication_->tried, (std::vector<std::string>{"alice 0", "bob 0"}));
}

TEST_F(AccessTest, ManyConfirmingUsersAreRefusedBeforeAnyPassword) {
  EXPECT_FALSE(Check(std::vector<std::string>(101, "alice")));
  EXPECT_EQ(GetLastError(), (ErrorCode{0, 2}));
  EXPECT_TRUE(authentication_->tried.empty());
}

TEST_F(AccessTest, ARightPasswordIsNotEnoughToDelete) {
  authentication_->denied_users = {7};
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 10));
  EXPECT_TRUE(platform_.sink->Has(5, "]HaveControlClientPermission failed, user-name[alice].["));
}

TEST_F(AccessTest, AnswersThatCannotBeUsedAreNoSuccess) {
  authentication_->user_id = -1;
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1)) << "right, but of nobody";
  authentication_->answers = false;
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
  authentication_->answers = true;
  authentication_->refusals = {{"alice", 0}};
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1)) << "refused without a code";
  EXPECT_EQ(authentication_->counted, 0);
}

struct TriesCase {
  const char* name;
  int refusal;
  int client_left;
  int user_left;
  bool enabled;
  bool client_frozen;
  bool user_frozen;
  int code;
  std::int32_t remain;
  std::int32_t lock;
  int counted;
};

class TriesTest : public AccessTest, public ::testing::WithParamInterface<TriesCase> {};

TEST_P(TriesTest, TellsWhatRemains) {
  const TriesCase& tries = GetParam();
  authentication_->refusals = {{"alice", tries.refusal}};
  authentication_->client_left = tries.client_left;
  authentication_->user_left = tries.user_left;
  authentication_->client_freeze_enabled = tries.enabled;
  authentication_->client_frozen = tries.client_frozen;
  authentication_->user_frozen = tries.user_frozen;
  EXPECT_FALSE(Check({"alice"}));
  EXPECT_EQ(GetLastError(), ErrorCode(0, tries.code));
  EXPECT_EQ(remain_, tries.remain);
  EXPECT_EQ(lock_, tries.lock);
  EXPECT_EQ(authentication_->counted, tries.counted);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, TriesTest,
    ::testing::Values(TriesCase{"ClientHasFewer", 201, 2, 3, true, false, false, 201, 2, 2, 1},
                      TriesCase{"ClientFreezingIsOff", 201, 2, 3, false, false, false, 201, 3, 1, 1},
                      TriesCase{"TieGoesToTheClient", 201, 3, 3, true, false, false, 201, 3, 2, 1},
                      TriesCase{"UserHasFewer", 201, 3, 2, true, false, false, 201, 2, 1, 1},
                      TriesCase{"FrozenClientComesFirst", 201, 0, 0, true, true, true, 262, -1, 1, 1},
                      TriesCase{"FrozenUser", 201, 5, 0, true, false, true, 206, -1, 1, 1},
                      TriesCase{"Code210", 210, 2, 3, true, false, false, 210, 2, 2, 0},
                      TriesCase{"Code211", 211, 4, 3, true, false, false, 211, 3, 1, 0},
                      TriesCase{"Code212", 212, 2, 3, true, false, false, 212, 2, 2, 0},
                      TriesCase{"Code213TellsNothing", 213, 2, 3, true, true, true, 213, -1, 1, 0},
                      TriesCase{"Code214", 214, 2, 3, true, false, false, 214, 2, 2, 0},
                      TriesCase{"Code206AsItIs", 206, 2, 3, true, false, true, 206, -1, 1, 0}),
    [](const auto& param) { return param.param.name; });

}  // namespace
