#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "KelpPlatform/ThreadManager.h"
#include "RealBackends.h"

namespace {

std::ptrdiff_t ThreadsOfProcess() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

TEST(ThreadManager, KeysAreUniqueOverBothKinds) {
  const auto manager = platform::MakeThreadManager();
  EXPECT_TRUE(manager->CreateMessageLoop("single"));
  EXPECT_TRUE(manager->CreateMultiMessageLoop("multi", 1, 4, 1));
  for (const char* const standing : {"single", "multi", ""}) {
    EXPECT_FALSE(manager->CreateMessageLoop(standing)) << standing;
    EXPECT_FALSE(manager->CreateMultiMessageLoop(standing, 1, 1, 1)) << standing;
  }
  manager->DestroyMultiMessageLoop("single");
  EXPECT_FALSE(manager->CreateMessageLoop("single"));
  manager->DestroyMessageLoop("single");
  manager->DestroyMessageLoop("unknown");
  EXPECT_TRUE(manager->CreateMultiMessageLoop("single", 1, 2, 1));
}

TEST(ThreadManager, ThreadsStandUntilTheirLoopIsDestroyed) {
  const auto manager = platform::MakeThreadManager();
  for (const int refused : {0, -1, 257})
    EXPECT_FALSE(manager->CreateMultiMessageLoop("m", 1, refused, 1)) << refused;
  ASSERT_TRUE(manager->CreateMultiMessageLoop("m", 1, 256, 1));
  ASSERT_TRUE(manager->CreateMessageLoop("s"));
  EXPECT_GE(ThreadsOfProcess(), 1 + 256 + 1);
  manager->DestroyMultiMessageLoop("m");
  // An ended thread may be listed for a moment after it was joined.
  while (ThreadsOfProcess() > 128)
    std::this_thread::yield();
  manager->DestroyMessageLoop("s");
}

TEST(ThreadManager, RefusesWithoutAnInstalledObject) {
  EXPECT_FALSE(kelp::IThreadManager::Instance()->CreateMessageLoop("key"));
  const platform::ScopedBackend<kelp::IThreadManager> installed(platform::MakeThreadManager());
  EXPECT_TRUE(kelp::IThreadManager::Instance()->CreateMessageLoop("key"));
}

}  // namespace
