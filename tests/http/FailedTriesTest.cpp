#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "FailedTries.h"
#include "http/OnManyThreads.h"

namespace evidence_test {
namespace {

using host::FailedTries;
using std::chrono::minutes;

constexpr minutes kFreeze{30};

class FailedTriesTest : public testing::Test {
 protected:
  /// Whether there was leave for a try.
  bool Fail(const std::string& key) {
    auto leave = tries_.Begin(key);
    if (leave) leave->Failed();
    return leave.has_value();
  }

  FailedTries::Clock::time_point now_{};
  FailedTries tries_{{3, kFreeze, true, 4}, [this] { return now_; }};
};

TEST_F(FailedTriesTest, TheTryAtTheLimitFreezesItsKeyForAFixedTime) {
  for (const int left : {3, 2, 1}) {
    EXPECT_FALSE(tries_.IsFrozen("a"));
    EXPECT_EQ(tries_.Left("a"), left);
    EXPECT_TRUE(Fail("a"));
  }
  EXPECT_FALSE(Fail("a"));
  now_ += kFreeze - minutes(1);
  tries_.CountFailed("a");
  EXPECT_TRUE(tries_.IsFrozen("a"));
  EXPECT_EQ(tries_.Left("a"), 0);
  EXPECT_EQ(tries_.Left("A"), 3);
  now_ += minutes(1);
  EXPECT_FALSE(tries_.IsFrozen("a"));
  EXPECT_EQ(tries_.Left("a"), 3) << "the count starts anew";

  tries_.CountFailed("a");
  now_ += kFreeze - minutes(1);
  tries_.CountFailed("a");
  now_ += minutes(1);
  EXPECT_EQ(tries_.Left("a"), 1);
  now_ += kFreeze - minutes(1);
  EXPECT_EQ(tries_.Left("a"), 3) << "short of a freeze, forgotten after the last failed try";
}

TEST_F(FailedTriesTest, ARightTryForgetsAndAnUntriedOneChangesNothing) {
  tries_.CountFailed("a");
  tries_.Begin("a").reset();
  EXPECT_EQ(tries_.Left("a"), 2);
  tries_.Begin("a")->Succeeded();
  EXPECT_EQ(tries_.Left("a"), 3);
  auto late = tries_.Begin("a");
  for (int i = 0; i < 3; ++i)
    tries_.CountFailed("a");
  late->Succeeded();
  EXPECT_TRUE(tries_.IsFrozen("a")) << "time alone lifts a freeze";
}

TEST_F(FailedTriesTest, SwitchedOffItCountsNothing) {
  FailedTries off({1, kFreeze, false});
  off.CountFailed("a");
  off.Begin("a")->Failed();
  EXPECT_TRUE(off.Begin("a"));
  EXPECT_FALSE(off.IsFrozen("a"));
}

TEST_F(FailedTriesTest, ManyKeysGiveUpCountsBeforeFreezes) {
  const std::string long_key(1 << 20, 'x');
  for (int i = 0; i < 3; ++i)
    tries_.CountFailed(long_key);
  auto held = tries_.Begin("held");
  for (int i = 0; i < 1000; ++i)
    tries_.CountFailed("name" + std::to_string(i));
  EXPECT_TRUE(tries_.IsFrozen(long_key));
  EXPECT_FALSE(tries_.IsFrozen(long_key + "y"));
  EXPECT_EQ(tries_.Left("name998"), 2);
  EXPECT_EQ(tries_.Left("name997"), 3) << "more keys than allowed are kept";
  held->Failed();
  EXPECT_EQ(tries_.Left("held"), 2);

  // With freezes alone, the one that lifts next gives way.
  for (const char* const key : {"held", "name999", "name998"}) {
    for (int i = 0; i < 3; ++i)
      tries_.CountFailed(key);
  }
  tries_.CountFailed("new");
  EXPECT_FALSE(tries_.IsFrozen(long_key));
  EXPECT_TRUE(tries_.IsFrozen("held"));
  EXPECT_EQ(tries_.Left("new"), 2);
}

TEST_F(FailedTriesTest, ManyAtOnceNeverPassTheLimitAndAllAreCounted) {
  std::atomic<int> tried = 0;
  OnManyThreads([&] {
    for (int i = 0; i < 20; ++i) {
      auto leave = tries_.Begin("wrong");
      if (!leave) continue;
      ++tried;
      std::this_thread::yield();
      leave->Failed();
    }
  });
  EXPECT_EQ(tried, 3);
  EXPECT_TRUE(tries_.IsFrozen("wrong"));

  FailedTries one({1, kFreeze});
  std::atomic<int> refused = 0;
  std::atomic<int> at_once = 0;
  OnManyThreads([&] {
    for (int i = 0; i < 50; ++i) {
      auto leave = one.Begin("right");
      if (!leave || ++at_once > 1) ++refused;
      --at_once;
      if (leave) leave->Succeeded();
    }
  });
  EXPECT_EQ(refused, 0) << "right ones only wait for each other";

  FailedTries many({100'000, kFreeze});
  OnManyThreads([&] {
    for (int i = 0; i < 1000; ++i)
      many.CountFailed("counted");
  });
  EXPECT_EQ(many.Left("counted"), 100'000 - 1000 * kThreads);
}

}  // namespace
}  // namespace evidence_test
