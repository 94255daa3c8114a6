// The manager under calls from many threads while it starts and stops. Worth most under the thread sanitizer.

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using namespace Evidence;

TEST(ManagerConcurrencyTest, StartStopAndCallsFromManyThreads) {
  scripted::Platform platform;
  platform::SetLogThreshold(6);
  platform.db->tables.next_key = 1001;
  for (int id = 0; id < 100; ++id)
    platform.db->tables.Add("evidence_type", {{"id", std::to_string(id)}, {"name", "own" + std::to_string(id)}});
  CEvidenceManager manager;

  constexpr int kCallers = 6;
  std::atomic<bool> ended = false;
  std::atomic<int> served = 0;
  std::atomic<int> wrong = 0;
  std::barrier together(kCallers + 1);
  const auto entry = [](std::int32_t id, const std::string& text) {
    return std::make_shared<_tag_EvidenceType_>(_tag_EvidenceType_{id, text});
  };
  const auto call = [&](int caller) {
    together.arrive_and_wait();
    for (int round = 0; !ended; ++round) {
      std::list<EvidenceTypePtr> types;
      page_info page;
      std::list<ErrorPtr> errors;
      const bool ok = manager.GetEvidenceTypes(types, page, nullptr);
      if (ok) ++served;
      if (!ok && Orv::Base::Error::GetLastError() != Orv::Base::Error::ErrorCode(0, 9820)) ++wrong;
      const std::string name = "t" + std::to_string(caller) + "r" + std::to_string(round % 7);
      (void)manager.SetEvidenceTypes(errors, {entry(round % 10, name)}, "session", nullptr, false);
      const auto added = entry(-1, name + "new");
      (void)manager.InsertEvidenceTypes(errors, {added});
      // Its own entry only, so that the dictionary stays full.
      if (added->type_id != -1) (void)manager.DeleteEvidenceTypes(errors, {added->type_id}, nullptr);
      manager.AddLabelsToMap(caller, name + "|common");
      (void)manager.IsLabelCountExceeded(caller, {name, "other"});
      if (round % 5 == 0) manager.DeleteFromMap(caller);
    }
  };
  {
    std::vector<std::jthread> callers;
    for (int n = 0; n < kCallers; ++n)
      callers.emplace_back(call, n);
    together.arrive_and_wait();
    for (int round = 0; round < 30; ++round) {
      EXPECT_TRUE(manager.Initialize());
      for (const int before = served; served == before;)
        std::this_thread::yield();
      EXPECT_TRUE(manager.Finalize());
    }
    ended = true;
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_FALSE(platform.system_and_log->increments.empty());
}

}  // namespace
