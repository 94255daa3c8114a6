// Who may confirm a deletion, and what the client learns about remaining tries.

#include "Common/CommonFun/TarnCommonFun.h"
#include "unit/plugin/ServiceTest.h"

namespace {

using Evidence::CTarnCommonFun;
using Orv::Base::Error::GetLastError;
using scripted::Words;
using service_test::Accounts;

class AccessTest : public service_test::ServiceTest {
 protected:
  /// The outcome for users "name:password ...": code, user, tries left, whose they are, and what was tried.
  std::string Check(const std::string& list) {
    std::list<Evidence::UserPtr> users;
    std::istringstream words(list);
    for (std::string word; words >> word;) {
      const auto colon = word.find(':');
      users.push_back(service_test::New(Evidence::_tag_User_{word.substr(0, colon), word.substr(colon + 1)}));
    }
    std::int32_t remain = 77;
    std::int32_t lock = 1;
    std::string name;
    accounts_->tried.clear();
    const bool confirmed = service_.CheckUsersDelEvidencePerm(remain, lock, name, users, "s");
    std::string text = Words(confirmed ? 0 : GetLastError().SubCode(), name, remain, lock);
    for (const auto& tried : accounts_->tried)
      text += ", " + tried;
    return text;
  }
};

TEST_F(AccessTest, OnlyTheRightUsersConfirmADeletionAndARefusalReportsWhatRemains) {
  struct Case {
    const char* users;
    const char* outcome;
    void (*set_up)(Accounts&) = [](Accounts&) {};
    int client_left = 5;
    int user_left = 2;
    const char* frozen = "";
  };
  const auto plain = [](Accounts&) {};
  const auto super_user = [](Accounts& accounts) { accounts.super_user = true; };
  for (const auto& [users, outcome, set_up, client_left, user_left, frozen] : {
           // A plain user must be in the list; no password is tried for a wrong list.
           Case{"bob:right alice:right", "0 alice -1 1, bob 0, alice 0"},
           Case{"", "2 alice -1 1"},
           Case{"bob:right", "2 alice -1 1"},
           Case{"Alice:right", "2 alice -1 1"},
           Case{"sysop:right", "2 alice -1 1"},
           // A super user confirms as sysop alone.
           Case{"sysop:right", "0 sysop -1 1, sysop 0", super_user},
           Case{"", "2  -1 1", super_user},
           Case{"alice:right", "2  -1 1", super_user},
           Case{"sysop:right sysop:right", "2  -1 1", super_user},
           // Domain accounts are lowered in the list, not in the session.
           Case{R"(CORP\Al:right Bob:right)", R"(0 Bob -1 1, corp\al 2, Bob 0)",
                [](Accounts& accounts) { accounts.login_name = R"(corp\al)"; }},
           Case{R"(CORP\al:right)", R"(2 CORP\al -1 1)",
                [](Accounts& accounts) { accounts.login_name = R"(CORP\al)"; }},
           Case{"alice:right", "200 alice -1 1", [](Accounts& accounts) { accounts.address.clear(); }},
           // The first refusal ends the list; what was right once is not tried again.
           Case{"alice:right bob:213 carol:right", "213 bob -1 1, alice 0, bob 0"},
           Case{"alice:right bob:right alice:right", "0 alice -1 1, alice 0, bob 0"},
           Case{"alice:right alice:201", "201 alice 2 1, alice 0, alice 0, count"},
           // A right password is not enough, and an answer that cannot be used is no success.
           Case{"alice:right carol:right", "10 carol -1 1, alice 0, carol 0"},
           Case{"alice:nobody", "1 alice -1 1, alice 0"},
           Case{"alice:silent", "1 alice -1 1, alice 0"},
           Case{"alice:0", "1 alice -1 1, alice 0"},
           // The smaller number of tries is reported, the client's when they are equal; a wrong password counts first.
           Case{"alice:201", "201 alice 2 2, alice 0, count", plain, 2, 3},
           Case{"alice:201", "201 alice 3 1, alice 0, count",
                [](Accounts& accounts) { accounts.client_freeze_enabled = false; }, 2, 3},
           Case{"alice:201", "201 alice 3 2, alice 0, count", plain, 3, 3},
           Case{"alice:201", "201 alice 2 1, alice 0, count", plain, 3, 2},
           Case{"alice:201", "262 alice -1 1, alice 0, count", plain, 0, 0, "client,user"},
           Case{"alice:201", "206 alice -1 1, alice 0, count", plain, 5, 0, "user"},
           Case{"alice:201", "262 alice -1 1, alice 0, count", plain, 0, 5, "count"},
           Case{"alice:210", "210 alice 2 2, alice 0", plain, 2, 3},
           Case{"alice:211", "211 alice 3 1, alice 0", plain, 4, 3},
           Case{"alice:212", "212 alice 2 2, alice 0", plain, 2, 3},
           Case{"alice:214", "214 alice 2 2, alice 0", plain, 2, 3},
           Case{"alice:213", "213 alice -1 1, alice 0", plain, 2, 3, "client,user"},
           Case{"alice:206", "206 alice -1 1, alice 0", plain, 2, 3, "user"},
       }) {
    *accounts_ = Accounts();
    accounts_->client_left = client_left;
    accounts_->user_left = user_left;
    accounts_->frozen = frozen;
    set_up(*accounts_);
    EXPECT_EQ(Check(users), outcome) << client_left << " " << user_left << " " << frozen;
  }
}

TEST_F(AccessTest, ManyConfirmingUsersAreRefusedBeforeAnyPassword) {
  std::string users;
  for (int n = 0; n < 100; ++n)
    users += " alice:right";
  EXPECT_EQ(Check(users), "0 alice -1 1, alice 0");
  EXPECT_EQ(Check(users + " alice:right"), "2  -1 1");
}

TEST_F(AccessTest, WithNobodyToAskOnlyCallersInsideTheSystemMay) {
  platform_.adapter->permissions = nullptr;
  EXPECT_TRUE(CTarnCommonFun::CheckOperatePermission("", 44));
  EXPECT_TRUE(CTarnCommonFun::CheckConfigPermission("", 44));
  EXPECT_FALSE(CTarnCommonFun::CheckOperatePermission("s", 44));
  EXPECT_FALSE(CTarnCommonFun::CheckConfigPermission("s", 44));
  EXPECT_EQ(GetLastError().SubCode(), 10);
}

}  // namespace
