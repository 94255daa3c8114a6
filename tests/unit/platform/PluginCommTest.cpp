#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "RealBackends.h"

namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using Data = std::shared_ptr<IPluginCommData>;

Data Json(const std::string& text) { return std::make_shared<CPluginCommData>(text, nullptr, 0); }

void Echo(const std::string& url, const Data& request, Data& response) {
  response = Json(url + ":" + std::dynamic_pointer_cast<CPluginCommData>(request)->JsonTxt());
}

class PluginCommTest : public testing::Test {
 protected:
  /// The answer's text; "none" for a failed call, which must not leave an old answer behind.
  std::string Ask(const std::string& path) {
    Data response = Json("old");
    const bool answered = manager_->Request(response, path, Json("q"), "");
    EXPECT_EQ(answered, response != nullptr) << path;
    return answered ? std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt() : "none";
  }

  const std::shared_ptr<plugin_comm::IPluginCommManager> manager_ = platform::MakePluginCommManager();
};

TEST_F(PluginCommTest, APathBelongsToItsPublisher) {
  EXPECT_TRUE(manager_->PublishApi("evidence", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("other", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("evidence", "", Echo));
  EXPECT_FALSE(manager_->PublishApi("evidence", "/empty", nullptr));
  EXPECT_FALSE(manager_->RecoverApi("other", "/files"));
  EXPECT_EQ(Ask("/files"), "/files:q");
  EXPECT_TRUE(manager_->RecoverApi("evidence", "/files"));
  EXPECT_FALSE(manager_->RecoverApi("evidence", "/files"));
  EXPECT_EQ(Ask("/files"), "none");
}

TEST_F(PluginCommTest, AFailedCallLeavesNoOldResponseAndCountsAsLeft) {
  EXPECT_TRUE(manager_->PublishApi("p", "/silent", [](const std::string&, const Data&, Data&) {}));
  EXPECT_TRUE(manager_->PublishApi("p", "/throws", [](const std::string&, const Data&, Data& response) {
    response = Json("half");
    throw std::runtime_error("fault");
  }));
  EXPECT_EQ(Ask("/silent"), "none");
  EXPECT_EQ(Ask("/throws"), "none");
  EXPECT_TRUE(manager_->RecoverApi("p", "/throws"));
}

TEST_F(PluginCommTest, RecoverWaitsForTheCallInsideAndDestroysTheCallback) {
  const auto captured = std::make_shared<int>(0);
  std::atomic<bool> left{false};
  std::promise<void> entered;
  std::promise<void> go_on;
  EXPECT_TRUE(manager_->PublishApi("p", "/inner", Echo));
  EXPECT_TRUE(manager_->PublishApi(
      "p", "/slow",
      [&, captured, may_go = go_on.get_future().share()](const std::string&, const Data&, Data& response) {
        entered.set_value();
        may_go.wait();
        response = Json("slow " + Ask("/inner"));
        left = true;
      }));
  auto caller = std::async(std::launch::async, [&] { return Ask("/slow"); });
  entered.get_future().wait();
  auto recovered = std::async(std::launch::async, [&] {
    EXPECT_TRUE(manager_->RecoverApi("p", "/slow"));
    EXPECT_TRUE(left);
    return captured.use_count();
  });
  // The path is free at once; only then is it sure that recovering has begun.
  while (!manager_->PublishApi("q", "/slow", Echo))
    std::this_thread::yield();
  EXPECT_EQ(Ask("/slow"), "/slow:q");
  go_on.set_value();
  EXPECT_EQ(recovered.get(), 1);
  EXPECT_EQ(caller.get(), "slow /inner:q");
}

TEST_F(PluginCommTest, NoCallEntersARecoveredCallback) {
  for (int round = 0; round < 300; ++round) {
    std::atomic<bool> alive{true};
    std::atomic<int> late{0};
    EXPECT_TRUE(manager_->PublishApi("p", "/r", [&](const std::string&, const Data&, Data& response) {
      if (!alive) ++late;
      response = Json("r");
    }));
    std::latch start(3);
    std::vector<std::jthread> callers;
    for (int caller = 0; caller < 2; ++caller) {
      callers.emplace_back([&] {
        start.arrive_and_wait();
        while (Ask("/r") == "r") {
        }
      });
    }
    start.arrive_and_wait();
    EXPECT_TRUE(manager_->RecoverApi("p", "/r"));
    alive = false;
    callers.clear();
    EXPECT_EQ(late, 0);
  }
}

}  // namespace
