#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <future>
#include <limits>
#include <thread>
#include <vector>

#include "platform/Call.h"
#include "platform/Crowd.h"
#include "platform/Turns.h"
#include "support/Eventually.h"

namespace {

using platform::CrowdPlace;
using platform::Turn;
using platform::TurnKind;
using namespace std::chrono_literals;

Turn Take(std::vector<std::int64_t> ids, std::chrono::milliseconds patience = Turn::kPatience) {
  return {TurnKind::kEvidence, std::move(ids), patience};
}

/// Whether another thread gets a turn at once.
bool IsFree(std::vector<std::int64_t> ids) {
  return std::async(std::launch::async, [&] { return static_cast<bool>(Take(ids, 0ms)); }).get();
}

TEST(Turns, AnIdIsHeldUntilTheOutermostTurnEnds) {
  {
    const auto outer = Take({5, 3, 5});
    ASSERT_TRUE(outer);
    EXPECT_FALSE(IsFree({5}));
    EXPECT_FALSE(IsFree({1, 3}));
    EXPECT_TRUE(IsFree({4, -1}));
    EXPECT_TRUE(Take({3, 4})) << "the thread's own, and one more";
    EXPECT_TRUE(IsFree({4}));
    EXPECT_FALSE(IsFree({3})) << "the inner turn gave back its own share alone";
  }
  EXPECT_TRUE(IsFree({3, 5}));
}

TEST(Turns, WhoGivesUpHoldsNothingAndDoesNotBlockThoseBehind) {
  auto held = std::make_unique<Turn>(TurnKind::kEvidence, std::vector<std::int64_t>{7});
  EXPECT_FALSE(IsFree({6, 7, 8}));
  EXPECT_TRUE(IsFree({6, 8}));
  std::atomic<bool> first_gave_up = false;
  auto first = std::async(std::launch::async, [&] { first_gave_up = !Take({7}, 50ms); });
  auto second = std::async(std::launch::async, [&] { return static_cast<bool>(Take({7})); });
  first.get();
  EXPECT_TRUE(first_gave_up);
  held.reset();
  EXPECT_TRUE(second.get());
  EXPECT_TRUE(IsFree({7}));
}

/// Whether a thread of this process sleeps.
bool Sleeps(int thread) {
  std::string word;
  std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
  stat >> word >> word >> word;
  return word == "S";
}

TEST(Turns, WaitersAreServedInTheOrderTheyCame) {
  auto held = std::make_unique<Turn>(TurnKind::kEvidence, std::vector<std::int64_t>{7});
  std::string served;
  std::vector<std::jthread> waiters;
  for (const char name : {'a', 'b', 'c', 'd'}) {
    std::atomic<int> thread = 0;
    waiters.emplace_back([&served, &thread, name] {
      thread = gettid();
      const auto turn = Take({7});
      served += name;
    });
    ASSERT_TRUE(evidence_test::Eventually([&thread] { return thread != 0 && Sleeps(thread); }));
  }
  held.reset();
  waiters.clear();
  EXPECT_EQ(served, "abcd");
}

TEST(Turns, NoMoreAreHeldUpThanMay) {
  const auto held = std::make_unique<Turn>(TurnKind::kEvidence, std::vector<std::int64_t>{7});
  const auto waits = [](const auto& patience) {
    return std::async(std::launch::async,
                      [=] {
                        platform::Call call(platform::Call::Kind::kWrites);
                        const platform::CallScope scope(call);
                        EXPECT_FALSE(Take({7}, patience));
                        return call.IsRefusedAsBusy();
                      })
        .get();
  };
  CrowdPlace::Limit(0);
  EXPECT_TRUE(waits(1h)) << "at once";
  EXPECT_TRUE(IsFree({8}));
  CrowdPlace::Limit(1);
  EXPECT_FALSE(waits(50ms)) << "only its patience ended";
  {
    const CrowdPlace place;
    const CrowdPlace within;
    EXPECT_TRUE(place && within) << "a thread counts once";
    EXPECT_TRUE(waits(1h));
  }
  EXPECT_FALSE(waits(50ms)) << "the place is free again";
  EXPECT_FALSE(IsFree({7}));
  CrowdPlace::Limit(std::numeric_limits<std::size_t>::max());
}

TEST(Turns, ManyWritersOfManyIdsExcludeEachOtherAndAllEnd) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 300;
  int counts[4] = {};  // of each id: changed in its turns alone, so that a race shows under the thread sanitizer, too
  std::vector<std::jthread> threads;
  for (int n = 0; n < kThreads; ++n) {
    threads.emplace_back([&counts, n] {
      for (int round = 0; round < kRounds; ++round) {
        // In descending order half of the time.
        const int a = (n + round) % 4;
        const int b = (a + 1 + round % 3) % 4;
        const auto turn = Take({a, b});
        ASSERT_TRUE(turn);
        const auto again = Take({a});
        ++counts[a];
        ++counts[b];
      }
    });
  }
  threads.clear();
  EXPECT_EQ(counts[0] + counts[1] + counts[2] + counts[3], 2 * kThreads * kRounds);
}

}  // namespace
