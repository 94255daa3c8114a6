// The threads of the host and the clients that share them.

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "http/WaitingLine.h"
#include "http/WorkerPool.h"
#include "platform/Crowd.h"
#include "support/Eventually.h"

namespace evidence_test {
namespace {

/// Four threads and a queue of eight; the jobs of "greedy" end when they are let go, those of others at once.
class WorkerPoolTest : public testing::Test {
 protected:
  ~WorkerPoolTest() override { LetGo(); }

  bool Submit(const std::string& client) {
    return pool_->TrySubmit(client, [this, client] {
      {
        const std::lock_guard lock(mutex_);
        order_ += client[0];
      }
      ++begun_;
      if (client == "greedy") let_go_.wait();
    });
  }
  void LetGo() {
    if (pool_) gate_.set_value();
    pool_.reset();
  }

  std::promise<void> gate_;
  const std::shared_future<void> let_go_{gate_.get_future()};
  std::atomic<int> begun_ = 0;
  std::mutex mutex_;
  std::string order_;  ///< of the jobs begun, under the mutex
  std::unique_ptr<host::WorkerPool> pool_ = std::make_unique<host::WorkerPool>(4, 8);
};

TEST_F(WorkerPoolTest, OneClientLeavesThreadsAndQueueToOthers) {
  ASSERT_TRUE(Submit("other"));
  int taken = 0;
  EXPECT_TRUE(Eventually([&] {
    while (Submit("greedy"))
      ++taken;
    return taken == 2 + 4;
  })) << "half of the threads and of the queue, and it has "
      << taken;
  for (int expected = 4; expected < 8; ++expected) {
    ASSERT_TRUE(Submit("other"));
    EXPECT_TRUE(Eventually([&] { return begun_ == expected; })) << "on the threads that are left";
  }
  LetGo();
  EXPECT_EQ(begun_, 6 + 5) << "the queue was worked off";
}

TEST_F(WorkerPoolTest, AloneAClientHasAll) {
  for (int n = 0; n < 4; ++n)
    ASSERT_TRUE(Submit("greedy"));
  EXPECT_TRUE(Eventually([&] { return begun_ == 4; }));
}

TEST_F(WorkerPoolTest, ClientsAreServedInTurn) {
  pool_ = std::make_unique<host::WorkerPool>(1, 100);
  Submit("greedy");
  ASSERT_TRUE(Eventually([&] { return begun_ == 1; }));
  for (int n = 0; n < 3; ++n)
    ASSERT_TRUE(Submit("a"));
  for (const auto* const client : {"b", "b", "c"})
    ASSERT_TRUE(Submit(client));
  LetGo();
  EXPECT_EQ(order_, "gabcaba");
}

TEST_F(WorkerPoolTest, NoMoreJobsRunAtOnceThanMay) {
  pool_ = std::make_unique<host::WorkerPool>(4, 100, /*at_once=*/1);
  std::atomic<int> running = 0;
  std::atomic<int> ended_alone = 0;
  for (int n = 0; n < 20; ++n) {
    ASSERT_TRUE(pool_->TrySubmit(std::to_string(n), [&] {
      ++running;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (running-- == 1) ++ended_alone;
    }));
  }
  LetGo();
  EXPECT_EQ(ended_alone, 20);
}

TEST_F(WorkerPoolTest, AThreadThatIsHeldUpLetsOneMoreRunAlsoOfItsClient) {
  pool_ = std::make_unique<host::WorkerPool>(4, 8, /*at_once=*/2);
  platform::CrowdPlace::WhenTaken([this] { pool_->NoteHeldUp(); });
  ASSERT_TRUE(Submit("other"));
  std::promise<void> is_queued;
  ASSERT_TRUE(pool_->TrySubmit("greedy", [&] {
    is_queued.get_future().wait();
    const platform::CrowdPlace place;
    let_go_.wait();
  }));
  ASSERT_TRUE(Submit("greedy"));
  is_queued.set_value();
  EXPECT_TRUE(Eventually([&] { return begun_ == 2; }));
  platform::CrowdPlace::WhenTaken({});
}

TEST_F(WorkerPoolTest, AJobThatCameBeforeTheThreadWasHeldUpIsBegunThen) {
  pool_ = std::make_unique<host::WorkerPool>(2, 8, /*at_once=*/1);
  platform::CrowdPlace::WhenTaken([this] { pool_->NoteHeldUp(); });
  std::promise<void> is_queued;
  ASSERT_TRUE(pool_->TrySubmit("greedy", [&] {
    ++begun_;
    is_queued.get_future().wait();
    const platform::CrowdPlace place;
    let_go_.wait();
  }));
  ASSERT_TRUE(Eventually([&] { return begun_ == 1; }));
  ASSERT_TRUE(Submit("greedy"));
  is_queued.set_value();
  EXPECT_TRUE(Eventually([&] { return begun_ == 2; }));
  LetGo();
  platform::CrowdPlace::WhenTaken({});
}

TEST_F(WorkerPoolTest, NoJobIsBegunWhileAllThreadsAreHeldUp) {
  pool_ = std::make_unique<host::WorkerPool>(2, 8, /*at_once=*/2);
  std::atomic<int> held = 0;
  for (int n = 0; n < 2; ++n) {
    ASSERT_TRUE(pool_->TrySubmit("a", [&] {
      const platform::CrowdPlace place;
      ++held;
      let_go_.wait();
    }));
  }
  ASSERT_TRUE(Eventually([&] { return held == 2; }));
  EXPECT_EQ(pool_->StarvedFor(), std::chrono::milliseconds(0));
  ASSERT_TRUE(Submit("a"));
  EXPECT_TRUE(Eventually([&] { return pool_->StarvedFor() > std::chrono::milliseconds(5); }));
}

/// Requests are letters; a pool takes those of the clients that have room.
class WaitingLineTest : public testing::Test {
 protected:
  void Join(const std::string& client, char letter) {
    const auto submit = [this, client, letter] {
      if (!room_.contains(client)) return false;
      taken_ += letter;
      return true;
    };
    line_.Join({&pool_, client, submit, [this, letter] { late_ += letter; }});
  }

  const host::WorkerPool pool_{1, 1};
  std::set<std::string> room_;
  std::string taken_;
  std::string late_;
  host::WaitingLine line_{std::chrono::seconds(1)};
};

TEST_F(WaitingLineTest, ClientsTakeTurnsAndOneThatHasItsPartHoldsNobodyUp) {
  for (const char letter : {'a', 'b', 'c'})
    Join("full", letter);
  for (const char letter : {'p', 'q', 'r'})
    Join("other", letter);
  Join("third", 'x');
  room_ = {"other", "third", "new"};
  Join("other", 's');
  EXPECT_EQ(taken_, "") << "behind those of its client";
  Join("new", 'n');
  EXPECT_EQ(std::exchange(taken_, ""), "n");
  const host::WorkerPool stranger(1, 1);
  line_.Advance(&stranger);
  EXPECT_EQ(taken_, "");
  line_.Advance(&pool_);
  line_.Advance(&pool_);
  line_.Advance(&pool_);
  EXPECT_EQ(taken_, "pxqrs");
  room_.insert("full");
  line_.Advance(&pool_);
  EXPECT_EQ(taken_, "pxqrsabc");
  EXPECT_TRUE(line_.IsEmpty());
}

TEST_F(WaitingLineTest, WhoFindsNoPlaceInTimeIsToldOnce) {
  Join("one", 'a');
  const auto now = host::WaitingLine::Clock::now();
  line_.Refuse(now);
  EXPECT_EQ(late_, "");
  Join("two", 'b');
  Join("one", 'c');
  line_.Refuse(now + std::chrono::minutes(1));
  EXPECT_THAT(late_, testing::UnorderedElementsAre('a', 'b', 'c'));
  EXPECT_TRUE(line_.IsEmpty());
  room_ = {"one", "two"};
  line_.Advance(&pool_);
  EXPECT_EQ(taken_, "");
}

}  // namespace
}  // namespace evidence_test
