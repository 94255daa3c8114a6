#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Database/FairPool.h"
#include "support/Eventually.h"

namespace {

using evidence_test::Eventually;
using namespace std::chrono_literals;
using Pool = platform::database::FairPool<int>;

constexpr auto kLong = 60s;

std::shared_ptr<Pool> MakePool(int objects) {
  std::vector<std::unique_ptr<int>> made;
  for (int number = 0; number < objects; ++number)
    made.push_back(std::make_unique<int>(number));
  return std::make_shared<Pool>(std::move(made));
}

TEST(FairPoolTest, WaitersAreServedInTheOrderTheyCameAndLeaveTheLinePastTheirBound) {
  const auto pool = MakePool(1);
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

TEST(FairPoolTest, ClosingSendsWaitersAwayAtOnce) {
  const auto pool = MakePool(1);
  const auto held = pool->Take(kLong);
  const auto start = std::chrono::steady_clock::now();
  {
    const std::jthread waiter([&] { EXPECT_FALSE(pool->Take(kLong)); });
    ASSERT_TRUE(Eventually([&] { return pool->Waiting() == 1; }));
    pool->Close();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, kLong);
}

TEST(FairPoolTest, NeverLendsOneObjectTwiceUnderLoad) {
  const auto pool = MakePool(3);
  std::vector<std::jthread> borrowers;
  std::vector<int> sums(3, 0);
  for (int thread = 0; thread < 8; ++thread) {
    borrowers.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        const auto lease = pool->Take(kLong);
        // Unguarded on purpose: whoever holds the object is alone with its sum.
        if (lease) ++sums[static_cast<std::size_t>(*lease)];
      }
    });
  }
  borrowers.clear();
  EXPECT_EQ(sums[0] + sums[1] + sums[2], 8 * 2000);
}

}  // namespace
