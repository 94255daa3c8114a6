#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "FailedTries.h"

namespace evidence_test {
namespace {

using host::FailedTries;
using std::chrono::minutes;

class FailedTriesTest : public testing::Test {
 protected:
  static constexpr minutes kFreeze{30};

  FailedTries Make(int limit, std::size_t max_keys = 1000) {
    return FailedTries({limit, kFreeze, true, max_keys}, [this] { return now_; });
  }

  FailedTries::Clock::time_point now_{};
};

/// Whether there was leave for the try.
bool FailOnce(FailedTries& tries, const std::string& key) {
  auto leave = tries.Begin(key);
  if (leave) leave->Failed();
  return leave.has_value();
}

void CountTimes(FailedTries& tries, const std::string& key, int times) {
  for (int i = 0; i < times; ++i)
    tries.CountFailed(key);
}

TEST_F(FailedTriesTest, TheTryAtTheLimitFreezesItsKeyOnly) {
  auto tries = Make(3);
  for (const int left : {3, 2, 1}) {
    EXPECT_FALSE(tries.IsFrozen("a"));
    EXPECT_EQ(tries.Left("a"), left);
    EXPECT_TRUE(FailOnce(tries, "a"));
  }
  EXPECT_TRUE(tries.IsFrozen("a"));
  EXPECT_FALSE(FailOnce(tries, "a"));
  tries.CountFailed("a");
  EXPECT_EQ(tries.Left("a"), 0) << "never below 0";
  EXPECT_EQ(tries.Left("A"), 3);
  EXPECT_TRUE(FailOnce(tries, "A"));
}

TEST_F(FailedTriesTest, AFreezeLiftsAFixedTimeAfterItBegan) {
  auto tries = Make(2);
  CountTimes(tries, "a", 2);
  now_ += kFreeze - minutes(1);
  tries.CountFailed("a");
  EXPECT_TRUE(tries.IsFrozen("a"));
  now_ += minutes(1);
  EXPECT_FALSE(tries.IsFrozen("a"));
  EXPECT_EQ(tries.Left("a"), 2) << "the count starts anew";
}

TEST_F(FailedTriesTest, ACountIsForgottenSomeTimeAfterTheLastFailedTry) {
  auto tries = Make(4);
  tries.CountFailed("a");
  tries.CountFailed("b");
  now_ += kFreeze - minutes(1);
  tries.CountFailed("a");
  now_ += minutes(1);
  EXPECT_EQ(tries.Left("a"), 2);
  EXPECT_EQ(tries.Left("b"), 4);
  now_ += kFreeze - minutes(1);
  EXPECT_EQ(tries.Left("a"), 4);
}

TEST_F(FailedTriesTest, ARightTryForgetsAndAnUntriedOneChangesNothing) {
  auto tries = Make(2);
  tries.CountFailed("a");
  tries.Begin("a").reset();
  EXPECT_EQ(tries.Left("a"), 1);
  {
    auto leave = tries.Begin("a");
    ASSERT_TRUE(leave);
    const auto moved = std::move(*leave);
    EXPECT_EQ(tries.Left("a"), 1) << "a try under way has not failed";
  }
  auto right = tries.Begin("a");
  ASSERT_TRUE(right);
  right->Succeeded();
  EXPECT_EQ(tries.Left("a"), 2);
  auto late = tries.Begin("a");
  ASSERT_TRUE(late);
  CountTimes(tries, "a", 2);
  late->Succeeded();
  EXPECT_TRUE(tries.IsFrozen("a")) << "a freeze is lifted by time alone";
}

TEST_F(FailedTriesTest, SwitchedOffItCountsNothing) {
  FailedTries tries({1, kFreeze, false}, [this] { return now_; });
  CountTimes(tries, "a", 3);
  EXPECT_TRUE(FailOnce(tries, "a"));
  EXPECT_TRUE(FailOnce(tries, "a"));
  EXPECT_FALSE(tries.IsFrozen("a"));
  EXPECT_EQ(tries.Left("a"), 1);
}

TEST_F(FailedTriesTest, ManyKeysGiveUpCountsBeforeFreezes) {
  auto tries = Make(2, 4);
  CountTimes(tries, "frozen", 2);
  auto held = tries.Begin("held");
  ASSERT_TRUE(held);
  for (int i = 0; i < 1000; ++i)
    tries.CountFailed("name" + std::to_string(i));
  EXPECT_TRUE(tries.IsFrozen("frozen"));
  EXPECT_EQ(tries.Left("name999"), 1);
  EXPECT_EQ(tries.Left("name998"), 1);
  EXPECT_EQ(tries.Left("name997"), 2) << "more keys than allowed are kept";
  held->Failed();
  EXPECT_EQ(tries.Left("held"), 1);

  // With freezes alone, the one that lifts next gives way.
  for (const char* const key : {"held", "name999", "name998"}) {
    now_ += minutes(1);
    tries.CountFailed(key);
  }
  tries.CountFailed("new");
  EXPECT_FALSE(tries.IsFrozen("frozen"));
  for (const char* const key : {"held", "name999", "name998"})
    EXPECT_TRUE(tries.IsFrozen(key)) << key;
  EXPECT_EQ(tries.Left("new"), 1);
}

TEST_F(FailedTriesTest, LongKeysAreToldApart) {
  auto tries = Make(2);
  const std::string long_key(1 << 20, 'x');
  CountTimes(tries, long_key, 2);
  EXPECT_TRUE(tries.IsFrozen(long_key));
  EXPECT_FALSE(tries.IsFrozen(long_key.substr(1)));
  EXPECT_FALSE(tries.IsFrozen(long_key.substr(1) + "y"));
}

/// `work` on 16 threads at once.
template <class Work>
void OnManyThreads(const Work& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i)
    threads.emplace_back(work);
  for (auto& thread : threads)
    thread.join();
}

TEST_F(FailedTriesTest, WrongTriesAtOnceNeverPassTheLimit) {
  auto tries = Make(5);
  for (const std::string key : {"a", "b", "c", "d"}) {
    std::atomic<int> tried = 0;
    OnManyThreads([&] {
      for (int i = 0; i < 20; ++i) {
        auto leave = tries.Begin(key);
        if (!leave) continue;
        ++tried;
        std::this_thread::yield();
        leave->Failed();
      }
    });
    EXPECT_EQ(tried, 5);
    EXPECT_TRUE(tries.IsFrozen(key));
  }
}

TEST_F(FailedTriesTest, RightTriesAtOnceOnlyWait) {
  auto tries = Make(1);
  std::atomic<int> refused = 0;
  std::atomic<int> at_once = 0;
  OnManyThreads([&] {
    for (int i = 0; i < 50; ++i) {
      auto leave = tries.Begin("a");
      if (!leave || ++at_once > 1) ++refused;
      --at_once;
      if (leave) leave->Succeeded();
    }
  });
  EXPECT_EQ(refused, 0);
  EXPECT_EQ(tries.Left("a"), 1);
}

TEST_F(FailedTriesTest, CountsOfManyThreadsAddUp) {
  auto tries = Make(100'000);
  OnManyThreads([&] { CountTimes(tries, "a", 1000); });
  EXPECT_EQ(tries.Left("a"), 84'000);
}

}  // namespace
}  // namespace evidence_test
