// Accounts by id, on a real database.

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "Accounts.h"
#include "RealBackends.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using namespace TarnPlatform::Authentication;
using host::Accounts;

class AccountsTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
    Postgres().Query(
        "DELETE FROM platform.users WHERE id > 9000;"
        "INSERT INTO platform.users (id, name, password_hash, super_user, enabled) VALUES (9001, 'O''Neil', '', false,"
        " true), (9002, 'boss', '', true, true), (9003, 'town\\carl', '', true, true), (9004, 'gone', '', false, "
        "false)");
  }

  /// "code", or "0 id name type" of an account.
  std::string Ask(int id) {
    auto user = std::make_shared<CUserInfo>(-7, "left from before", -7);
    auto text = std::to_string(accounts_.Query(user, id));
    if (!user) return text;
    return text + " " + std::to_string(user->GetValUserID()) + " " + user->GetValUserName() + " " +
           std::to_string(user->GetValUserType());
  }

  Accounts::Clock::time_point now_{};
  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  Accounts accounts_{[this] { return now_; }};
};

TEST_F(AccountsTest, NameAndTypeByIdOrWhyNot) {
  EXPECT_EQ(Ask(9001), "0 9001 O'Neil 2");
  EXPECT_EQ(Ask(9002), "0 9002 boss 1");
  EXPECT_EQ(Ask(9003), "0 9003 town\\carl 3");
  EXPECT_EQ(Ask(9004), "0 9004 gone 2") << "what a dismissed user made keeps its name";
  for (const int id : {9999, 0, -1, std::numeric_limits<int>::min()})
    EXPECT_EQ(Ask(id), "202") << id;
}

TEST_F(AccountsTest, AnswersAreRememberedForTheirLifetimeAndFailuresNever) {
  EXPECT_EQ(Ask(9001), "0 9001 O'Neil 2");
  EXPECT_EQ(Ask(9005), "202");
  Postgres().Query(
      "UPDATE platform.users SET name = 'renamed' WHERE id = 9001;"
      "INSERT INTO platform.users (id, name, password_hash) VALUES (9005, 'new', '')");
  now_ += Accounts::kLifetime - std::chrono::milliseconds(1);
  EXPECT_EQ(Ask(9001), "0 9001 O'Neil 2");
  EXPECT_EQ(Ask(9005), "202");
  now_ += std::chrono::milliseconds(1);
  EXPECT_EQ(Ask(9001), "0 9001 renamed 2");
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(Ask(9001), "0 9001 renamed 2");
  EXPECT_EQ(Ask(9005), "15");
  ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
  EXPECT_EQ(Ask(9005), "0 9005 new 2");
}

TEST_F(AccountsTest, ManyIdsPushTheRememberedOutAndStayRight) {
  EXPECT_EQ(Ask(9001), "0 9001 O'Neil 2");
  Postgres().Query("UPDATE platform.users SET name = 'renamed' WHERE id = 9001");
  for (int id = 100'000; id < 100'000 + static_cast<int>(Accounts::kLimit); ++id)
    ASSERT_EQ(Ask(id), "202");
  EXPECT_EQ(Ask(9001), "0 9001 renamed 2");
}

}  // namespace
}  // namespace evidence_test
