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

std::string TextOf(const Data& data) {
  const auto json = std::dynamic_pointer_cast<CPluginCommData>(data);
  return json ? json->JsonTxt() : "none";
}

void Echo(const std::string& url, const Data& request, Data& response) { response = Json(url + ":" + TextOf(request)); }

class PluginCommTest : public testing::Test {
 protected:
  const std::shared_ptr<plugin_comm::IPluginCommManager> manager_ = platform::MakePluginCommManager();
};

TEST_F(PluginCommTest, DataKeepsItsBytes) {
  const std::string bytes("a\0b\xFF", 4);
  const CPluginCommData data("{}", bytes.data(), bytes.size());
  EXPECT_EQ(data.JsonTxt(), "{}");
  EXPECT_EQ(std::string(data.Data().begin(), data.Data().end()), bytes);
}

TEST_F(PluginCommTest, APathBelongsToItsPublisher) {
  Data response;
  EXPECT_TRUE(manager_->PublishApi("evidence", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("other", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("evidence", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("evidence", "", Echo));
  EXPECT_FALSE(manager_->PublishApi("evidence", "/empty", nullptr));
  EXPECT_FALSE(manager_->RecoverApi("other", "/files"));
  EXPECT_TRUE(manager_->Request(response, "/files", Json("q"), ""));
  EXPECT_EQ(TextOf(response), "/files:q");
  EXPECT_TRUE(manager_->RecoverApi("evidence", "/files"));
  EXPECT_FALSE(manager_->RecoverApi("evidence", "/files"));
  EXPECT_TRUE(manager_->PublishApi("other", "/files", Echo));
}

TEST_F(PluginCommTest, AFailedCallLeavesNoOldResponse) {
  EXPECT_TRUE(manager_->PublishApi("p", "/silent", [](const std::string&, const Data&, Data&) {}));
  EXPECT_TRUE(manager_->PublishApi("p", "/throws", [](const std::string&, const Data&, Data& response) {
    response = Json("half");
    throw std::runtime_error("fault");
  }));
  for (const char* const path : {"/nobody", "/silent", "/throws"}) {
    Data response = Json("old");
    EXPECT_FALSE(manager_->Request(response, path, Json("q"), "")) << path;
    EXPECT_EQ(response, nullptr) << path;
  }
  // No call counts as being inside.
  EXPECT_TRUE(manager_->RecoverApi("p", "/throws"));
  Data response = Json("old");
  EXPECT_FALSE(plugin_comm::IPluginCommManager::Instance()->Request(response, "/silent", Json("q"), ""));
  EXPECT_EQ(response, nullptr);
}

TEST_F(PluginCommTest, CallsRunSideBySideAndInsideEachOther) {
  // Each call waits inside for the other.
  std::latch both_inside(2);
  EXPECT_TRUE(manager_->PublishApi("p", "/inner", Echo));
  EXPECT_TRUE(manager_->PublishApi("p", "/meet", [&](const std::string&, const Data& request, Data& response) {
    both_inside.arrive_and_wait();
    EXPECT_TRUE(manager_->Request(response, "/inner", request, ""));
  }));
  Data first;
  Data second;
  std::thread caller([&] { EXPECT_TRUE(manager_->Request(first, "/meet", Json("1"), "")); });
  EXPECT_TRUE(manager_->Request(second, "/meet", Json("2"), ""));
  caller.join();
  EXPECT_EQ(TextOf(first), "/inner:1");
  EXPECT_EQ(TextOf(second), "/inner:2");
}

TEST_F(PluginCommTest, RecoverWaitsForTheCallInsideAndDestroysTheCallback) {
  const auto captured = std::make_shared<int>(0);
  std::atomic<bool> left{false};
  std::promise<void> entered;
  std::promise<void> go_on;
  const auto may_go = go_on.get_future().share();
  EXPECT_TRUE(
      manager_->PublishApi("p", "/slow", [&entered, &left, may_go, captured](const std::string&, const Data&, Data& r) {
        entered.set_value();
        may_go.wait();
        left = true;
        r = Json("done");
      }));
  Data response;
  std::thread caller([&] { EXPECT_TRUE(manager_->Request(response, "/slow", Json("q"), "")); });
  entered.get_future().wait();

  auto recovered = std::async(std::launch::async, [&] {
    EXPECT_TRUE(manager_->RecoverApi("p", "/slow"));
    EXPECT_TRUE(left);
    return captured.use_count();
  });
  // The path is free at once; only then is it sure that recovering has begun.
  while (!manager_->PublishApi("q", "/slow", Echo))
    std::this_thread::yield();
  Data other;
  EXPECT_TRUE(manager_->Request(other, "/slow", Json("q"), ""));
  EXPECT_EQ(TextOf(other), "/slow:q");

  go_on.set_value();
  EXPECT_EQ(recovered.get(), 1);
  caller.join();
  EXPECT_EQ(TextOf(response), "done");
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
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 2; ++caller) {
      callers.emplace_back([&] {
        start.arrive_and_wait();
        Data response;
        while (manager_->Request(response, "/r", nullptr, "")) {
        }
      });
    }
    start.arrive_and_wait();
    EXPECT_TRUE(manager_->RecoverApi("p", "/r"));
    alive = false;
    for (auto& caller : callers)
      caller.join();
    EXPECT_EQ(late, 0);
  }
}

}  // namespace
