// Who gets what is lent: clients have shares, and callers of one client are served in their order.

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Database/FairPool.h"
#include "support/Eventually.h"

namespace evidence_test {
namespace {

using namespace std::chrono_literals;
using platform::FairShare;
using Pool = platform::database::FairPool<int>;

constexpr auto kLong = 60s;

std::shared_ptr<Pool> MakePool(int objects = 1) {
  std::vector<std::unique_ptr<int>> made;
  for (int n = 0; n < objects; ++n)
    made.push_back(std::make_unique<int>(n));
  return std::make_shared<Pool>(std::move(made));
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
    ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == number + 1; }));
    EXPECT_FALSE(pool->Take(1ms));
    EXPECT_EQ(pool->Count().waiting, number + 1);
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
    ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == 3; }));
    reads.Cancel();
    writes.Cancel();
    ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == 2; }));
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
  ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == 2; }));
  ASSERT_TRUE(Eventually([&] { return pool->StarvedFor() >= 1s; }));
  std::exchange(held, {}).reset();
  first.join();
  EXPECT_LT(pool->StarvedFor(), 1s) << "the first was served, the second waits from then on";
  held.reset();
}

TEST(FairPoolTest, AClientHasHalfWhileAnotherIsThere) {
  const auto pool = MakePool(4);
  const auto take = [&pool](const std::string& client, std::chrono::milliseconds bound = 0ms) {
    return pool->Take(bound, client);
  };
  { const auto other = take("other"); }
  auto first = take("greedy");
  const auto second = take("greedy");
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(take("greedy"));
  auto waits = std::async(std::launch::async, [&] { return take("greedy", 1h); });
  ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == 1; }));
  EXPECT_FALSE(take("greedy", 2ms));
  EXPECT_EQ(pool->StarvedFor(), 0ms) << "others get one";
  auto third = take("other");
  EXPECT_TRUE(third) << "past one who waits for his share";
  const auto fourth = pool->Take(0ms);
  auto behind = std::async(std::launch::async, [&] { return take("other", 1h); });
  ASSERT_TRUE(Eventually([&] { return pool->Count().waiting == 2; }));
  third.reset();
  EXPECT_TRUE(behind.get()) << "one who waits for his share holds nobody up";
  first.reset();
  EXPECT_TRUE(waits.get());
}

TEST(FairShare, OthersCountForAWhile) {
  const auto start = FairShare::Clock::now();
  FairShare share;
  share.Note("a", start);
  EXPECT_EQ(share.Of("a", 5, start), 5U);
  share.Note("b", start);
  share.Note("a", start + 1s);
  EXPECT_EQ(share.Of("a", 5, start + 1s), 3U);
  EXPECT_EQ(share.Of("b", 5, start + 1s), 3U);
  EXPECT_EQ(share.Of("a", 1, start + 1s), 1U);
  EXPECT_EQ(share.Of("a", 5, start + FairShare::kPresence), 5U) << "b has gone";
  EXPECT_EQ(share.Of("b", 5, start + FairShare::kPresence), 3U);
  share.Note("a", start + 4s);
  EXPECT_EQ(share.Of("b", 5, start + FairShare::kPresence + 2s), 3U) << "a has asked again";
}

}  // namespace
}  // namespace evidence_test
