#include <gtest/gtest.h>

#include "RealBackends.h"

namespace {

TEST(ThreadManager, KeysAreUniqueOverBothKinds) {
  const auto manager = platform::MakeThreadManager();
  EXPECT_TRUE(manager->CreateMessageLoop("single"));
  EXPECT_TRUE(manager->CreateMultiMessageLoop("multi", 1, 256, 1));
  EXPECT_FALSE(manager->CreateMultiMessageLoop("many", 1, 257, 1));
  EXPECT_FALSE(manager->CreateMultiMessageLoop("none", 1, 0, 1));
  for (const char* const standing : {"single", "multi", ""}) {
    EXPECT_FALSE(manager->CreateMessageLoop(standing)) << standing;
    EXPECT_FALSE(manager->CreateMultiMessageLoop(standing, 1, 1, 1)) << standing;
  }
  manager->DestroyMultiMessageLoop("single");
  EXPECT_FALSE(manager->CreateMessageLoop("single"));
  manager->DestroyMessageLoop("single");
  EXPECT_TRUE(manager->CreateMultiMessageLoop("single", 1, 2, 1));
}

}  // namespace
