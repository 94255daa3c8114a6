#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Database/FairPool.h"
#include "OrvBase/Error.h"
#include "OrvBase/Log.h"
#include "RealBackends.h"
#include "support/Eventually.h"

namespace {

using evidence_test::Eventually;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using Data = std::shared_ptr<IPluginCommData>;
using Pool = platform::database::FairPool<int>;
using namespace std::chrono_literals;

class RouteTableTest : public testing::Test {
 protected:
  RouteTableTest() {
    for (const char* const url : {"/B/E", "/B/E/ID", "/B/E/ID/Files/ID", "/B/E/7", "/B/E/7/Log", "/C/"})
      EXPECT_TRUE(Register(url, url));
  }

  /// Registers a callback that answers with `name`.
  bool Register(const std::string& url, const std::string& name, int method = kelp::kMethodGet) {
    return table_->RegisterUrl(url, method, 0, [name](auto& response, auto&) { response.response_body = name; });
  }
  /// The name of the callback at `path` with its numbers; "" when there is none.
  std::string At(std::string_view path) const {
    const auto match = table_->Find(path);
    if (!match) return {};
    kelp::SHttpResponse response;
    match->callback(response, {});
    for (const std::int32_t id : match->url_ids)
      response.response_body += " " + std::to_string(id);
    return response.response_body;
  }

  const std::shared_ptr<platform::IRouteTable> table_ = platform::MakeRouteTable();
};

TEST_F(RouteTableTest, PathsAreMatchedBySegments) {
  const std::vector<std::pair<std::string, std::string>> found{
      {"/B/E/-2147483648", "/B/E/ID -2147483648"},
      {"/B/E/3/Files/9", "/B/E/ID/Files/ID 3 9"},
      {"/C/", "/C/"},
      // A word wins over a number, and the number is still tried where the word leads nowhere.
      {"/B/E/7", "/B/E/7"},
      {"/B/E/7/Files/1", "/B/E/ID/Files/ID 7 1"},
      {"/B/E/07", "/B/E/ID 7"}};
  for (const auto& [path, name] : found)
    EXPECT_EQ(At(path), name) << path;
  const std::vector<std::string> absent{
      // Other segments.
      "", "/", "B/E", "/b/E", "/B", "/B/E/", "/B//E", "//B/E", "/B/E/ID", "/C", "/C//", "/B/E/1/Files",
      // No number of 32 bits.
      "/B/E/2147483648", "/B/E/1x", "/B/E/+1", "/B/E/-", "/B/E/1.0", std::string("/B/E/1\0", 7),
      std::string(5'000'000, '/'), "/B/E/" + std::string(5'000'000, '9')};
  for (const std::string& path : absent)
    EXPECT_EQ(At(path), "") << path.substr(0, 40);
}

TEST_F(RouteTableTest, EachMethodIsRegisteredOnceAndTheFirstCallbackServes) {
  EXPECT_FALSE(Register("/B/E", "again"));
  EXPECT_TRUE(Register("/B/E", "later", kelp::kMethodPut));
  EXPECT_EQ(At("/B/E"), "/B/E");
  EXPECT_TRUE(table_->UnRegisterUrl("/B/E"));
  EXPECT_FALSE(table_->UnRegisterUrl("/B/E"));
  EXPECT_EQ(At("/B/E"), "");
  EXPECT_FALSE(Register("D", "no path"));
}

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

TEST_F(PluginCommTest, APathBelongsToItsPublisherAndAFailedCallCountsAsLeft) {
  EXPECT_TRUE(manager_->PublishApi("p", "/files", Echo));
  EXPECT_FALSE(manager_->PublishApi("other", "/files", Echo));
  EXPECT_FALSE(manager_->RecoverApi("other", "/files"));
  EXPECT_EQ(Ask("/files"), "/files:q");
  EXPECT_TRUE(manager_->RecoverApi("p", "/files"));
  EXPECT_FALSE(manager_->RecoverApi("p", "/files"));
  EXPECT_EQ(Ask("/files"), "none");
  EXPECT_TRUE(manager_->PublishApi("p", "/throws", [](const std::string&, const Data&, Data& response) {
    response = Json("half");
    throw std::runtime_error("fault");
  }));
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

TEST(Backends, WithoutAnyoneWhoKnowsNothingIsAllowed) {
  namespace Authentication = TarnPlatform::Authentication;
  std::shared_ptr<Authentication::CUserSession> session;
  EXPECT_FALSE(Authentication::GetUserSession(session, "session"));
  EXPECT_FALSE(Authentication::IsSuperUser("session"));
  EXPECT_FALSE(Authentication::HaveControlClientPermission(1, 1));
  EXPECT_TRUE(Authentication::IsClientFreeze("10.0.0.1"));
  EXPECT_TRUE(Authentication::IsUserFreeze(1, "user"));
}

constexpr auto kLong = 60s;

/// A pool of one object.
std::shared_ptr<Pool> MakePool() {
  std::vector<std::unique_ptr<int>> objects;
  objects.push_back(std::make_unique<int>(0));
  return std::make_shared<Pool>(std::move(objects));
}

TEST(FairPoolTest, WaitersAreServedInTheOrderTheyCameAndLeaveTheLinePastTheirBound) {
  const auto pool = MakePool();
  auto held = pool->Take(kLong);
  std::mutex mutex;
  std::vector<std::size_t> served;
  std::vector<std::jthread> waiters;
  for (std::size_t number = 0; number < 6; ++number) {
    waiters.emplace_back([&, number] {
      const auto lease = pool->Take(kLong);
      const std::lock_guard lock(mutex);
      if (lease) served.push_back(number);
    });
    ASSERT_TRUE(Eventually([&] { return pool->Waiting() == number + 1; }));
    EXPECT_FALSE(pool->Take(1ms));
    EXPECT_EQ(pool->Waiting(), number + 1);
  }
  held.reset();
  waiters.clear();
  EXPECT_EQ(served, (std::vector<std::size_t>{0, 1, 2, 3, 4, 5}));
}

TEST(FairPoolTest, WaitersAreSentAwayAtOnceByTheEndOfTheirCallAndOfThePool) {
  using Kind = platform::Call::Kind;
  const auto pool = MakePool();
  const auto held = pool->Take(kLong);
  platform::Call reads(Kind::kReads);
  platform::Call writes(Kind::kWrites);
  const auto start = std::chrono::steady_clock::now();
  {
    const auto wait_for = [&](platform::Call* call) { EXPECT_FALSE(pool->Take(kLong, "", call)); };
    const std::jthread waiters[] = {std::jthread(wait_for, &reads), std::jthread(wait_for, &writes),
                                    std::jthread(wait_for, nullptr)};
    ASSERT_TRUE(Eventually([&] { return pool->Waiting() == 3; }));
    reads.Cancel();
    writes.Cancel();
    ASSERT_TRUE(Eventually([&] { return pool->Waiting() == 2; }));
    EXPECT_FALSE(pool->Take(kLong, "", &reads)) << "it is cancelled already";
    pool->Close();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, kLong);
  EXPECT_FALSE(writes.IsCancelled());
}

TEST(FairPoolTest, StarvesWhileCallersWaitAndNoneIsServed) {
  const auto pool = MakePool();
  auto held = pool->Take(kLong);
  EXPECT_EQ(pool->StarvedFor(), 0ms);
  std::jthread first([&] { held = pool->Take(kLong); });
  ASSERT_TRUE(Eventually([&] { return pool->StarvedFor() >= 20ms; }));
  const std::jthread second([&] { EXPECT_TRUE(pool->Take(kLong)); });
  ASSERT_TRUE(Eventually([&] { return pool->Waiting() == 2; }));
  ASSERT_TRUE(Eventually([&] { return pool->StarvedFor() >= 1s; }));
  std::exchange(held, {}).reset();
  first.join();
  EXPECT_LT(pool->StarvedFor(), 1s) << "the first was served, the second waits from then on";
  held.reset();
}

/// Leaves another failure behind, and throws.
struct SpoilingSink final : platform::ILogSink {
  void Write(int, std::string_view, std::string_view) override {
    errno = EPIPE;
    Orv::Base::Error::SetLastError({9, 9});
    throw std::runtime_error("full");
  }
};

TEST(Log, LeavesTheCallersFailureAsItWas) {
  const platform::ScopedBackend<platform::ILogSink> installed(std::make_shared<SpoilingSink>());
  Orv::Base::Error::SetLastError({0, 15});
  errno = ENOENT;
  EXPECT_NO_THROW(Orv::Base::details::ITarnFormatLog(5, "tag", "line"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 15));
}

}  // namespace
