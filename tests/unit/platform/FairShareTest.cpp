// Who gets what is lent: clients have shares, and callers of one client are served in their order.

#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "Database/FairPool.h"
#include "support/Eventually.h"

namespace evidence_test {
namespace {

using namespace std::chrono_literals;
using platform::FairShare;
using Pool = platform::database::FairPool<int>;

class PoolSharesTest : public testing::Test {
 protected:
  static std::shared_ptr<Pool> Make(int objects) {
    std::vector<std::unique_ptr<int>> made;
    for (int n = 0; n < objects; ++n)
      made.push_back(std::make_unique<int>(n));
    return std::make_shared<Pool>(std::move(made));
  }
  Pool::Lease Take(const std::string& client, std::chrono::milliseconds bound = 0ms) {
    return pool_->Take(bound, client);
  }
  std::shared_ptr<Pool> pool_ = Make(4);
};

TEST_F(PoolSharesTest, AClientHasHalfWhileAnotherIsThere) {
  { const auto other = Take("other"); }
  auto first = Take("greedy");
  const auto second = Take("greedy");
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(Take("greedy"));
  auto waits = std::async(std::launch::async, [this] { return Take("greedy", 1h); });
  ASSERT_TRUE(Eventually([this] { return pool_->Waiting() == 1; }));
  EXPECT_FALSE(Take("greedy", 2ms));
  EXPECT_EQ(pool_->StarvedFor(), 0ms) << "others get one";
  auto third = Take("other");
  EXPECT_TRUE(third) << "past one who waits for his share";
  const auto fourth = pool_->Take(0ms);
  auto behind = std::async(std::launch::async, [this] { return Take("other", 1h); });
  ASSERT_TRUE(Eventually([this] { return pool_->Waiting() == 2; }));
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
