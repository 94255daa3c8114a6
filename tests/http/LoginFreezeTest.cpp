// Freezing of user names and client addresses as it shows at POST /login.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

class LoginFreezeTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    RunHost({"user", "add", "second", "--password-stdin"}, kTesterPassword);
  }

  void TearDown() override {
    const auto finished = host_->Stop();
    EXPECT_EQ(finished.exit_code, 0) << finished.err;
  }

  void Start(HostProcess::SettingsMap settings) {
    settings["plugins"] = "test_echo.s.so";
    host_ = std::make_unique<HostProcess>(std::move(settings));
    host_->WaitUntilListening();
  }

  HttpReply Post(const std::string& name, const std::string& password) const {
    return Ask(host_->port(), "POST", "/login", "",
               R"({"UserName":")" + name + R"(","Password":")" + password + R"("})");
  }

  std::unique_ptr<HostProcess> host_;
};

TEST_F(LoginFreezeTest, UserFirstThenTheClient) {
  Start({{"user_tries", "2"}, {"client_tries", "4"}});
  const auto session = Login(host_->port(), "tester", kTesterPassword);
  EXPECT_EQ(Post("tester", "wrong").status, 401);
  EXPECT_EQ(Post("tester", kTesterPassword).status, 200) << "and the user's count starts anew";
  EXPECT_EQ(Post("tester", "wrong").status, 401);
  EXPECT_EQ(Post("tester", "wrong").status, 401);
  const auto frozen = Post("tester", kTesterPassword);
  EXPECT_EQ(frozen.status, 429);
  EXPECT_EQ(frozen.body, R"({"Error":"too many failed tries"})");
  EXPECT_EQ(Post("second", kTesterPassword).status, 200) << "refused tries counted against the client";

  EXPECT_EQ(Post("nobody", "wrong").status, 401) << "the client's fourth";
  EXPECT_EQ(Post("second", kTesterPassword).status, 429) << "a right password cleared the client's count";
  EXPECT_EQ(Ask(host_->port(), "GET", "/Echo", session).status, 200) << "who is logged in already stays so";
}

TEST_F(LoginFreezeTest, UnknownNamesFreezeAlikeAndClientsOnlyWhenWanted) {
  Start({{"user_tries", "1"}, {"client_tries", "1"}, {"client_freeze", "off"}});
  for (const char* const name : {"tester", "nobody", ""}) {
    EXPECT_EQ(Post(name, "wrong").status, 401) << name;
    EXPECT_EQ(Post(name, "wrong").status, 429) << name;
  }
  EXPECT_EQ(Post("second", kTesterPassword).status, 200);
}

TEST_F(LoginFreezeTest, LoginsAtOnceTryNoMorePasswordsThanTheLimit) {
  Start({{"user_tries", "100"}, {"client_tries", "3"}, {"login_workers", "16"}});
  std::mutex mutex;
  std::map<int, int> statuses;
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&, i] {
      const int status = Post("guessed" + std::to_string(i), "wrong").status;
      const std::lock_guard lock(mutex);
      ++statuses[status];
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(statuses, (std::map<int, int>{{401, 3}, {429, 13}}));
}

}  // namespace
}  // namespace evidence_test
