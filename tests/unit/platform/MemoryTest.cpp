// The memory budget, and what happens where memory ends.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "KelpUtils/RapidJsonProto.h"
#include "OrvProto/JsonNode.h"
#include "platform/Call.h"
#include "platform/Memory.h"
#include "support/AddressSpace.h"
#include "support/LogRecorder.h"

namespace evidence_test {
namespace {

using platform::Call;
using platform::MemoryBudget;
using platform::MemoryShare;
using enum MemoryBudget::Size;

TEST(MemoryBudget, BoundsTheWholeAndEachOwner) {
  MemoryBudget budget;
  MemoryShare before("a", budget);
  EXPECT_TRUE(before.TryTake(1'000'000'000)) << "there is no bound before one is set";
  before.ShrinkTo(0);
  budget.Limit(800);
  EXPECT_EQ(budget.Most(kSmall), 200);
  EXPECT_EQ(budget.Most(kLarge), 175);

  MemoryShare first("a", budget);
  MemoryShare second("a", budget);
  EXPECT_FALSE(first.TryTake(176, kLarge));
  EXPECT_TRUE(first.TryTake(175, kLarge));
  EXPECT_FALSE(second.TryTake(1, kLarge));
  EXPECT_FALSE(second.OwnerHasRoom(1, kLarge));
  EXPECT_TRUE(second.TryTake(25)) << "a part is left to what is small";
  EXPECT_FALSE(second.TryTake(1)) << "an owner has a quarter";

  std::vector<std::unique_ptr<MemoryShare>> others;
  for (const char* const owner : {"b", "c", "d"}) {
    others.push_back(std::make_unique<MemoryShare>(owner, budget));
    EXPECT_TRUE(others.back()->TryTake(others.size() < 3 ? 175 : 150, kLarge));
  }
  MemoryShare last("e", budget);
  EXPECT_FALSE(last.TryTake(1, kLarge));
  EXPECT_TRUE(last.OwnerHasRoom(1, kLarge));
  EXPECT_TRUE(last.TryTake(100)) << "all that is left";
  EXPECT_FALSE(last.TryTake(1));
  last.Take(1000);
  EXPECT_EQ(budget.Held(), 1800);

  int releases = 0;
  budget.OnRelease([&releases] { ++releases; });
  others.clear();
  EXPECT_EQ(releases, 3);
  EXPECT_EQ(budget.Held(), 1800 - 500);
  budget.OnRelease(nullptr);
  last.ShrinkTo(10);
  last.Give(1'000);
  EXPECT_EQ(last.held(), 0);
  EXPECT_EQ(last.peak(), 1100);
  EXPECT_EQ(releases, 3);
}

TEST(MemoryBudget, EndsWhatReadsAndNothingElse) {
  const auto log = std::make_shared<LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> slot(log);
  MemoryBudget budget;
  budget.Limit(4000);
  MemoryShare memory("a", budget);
  Call reads(Call::Kind::kReads, "a", &memory);
  EXPECT_TRUE(reads.TakeMemory(1000));
  EXPECT_FALSE(reads.IsRefusedForMemory());
  EXPECT_FALSE(reads.TakeMemory(1));
  EXPECT_FALSE(reads.TakeMemory(1));
  EXPECT_TRUE(reads.IsRefusedForMemory());
  const auto lines = log->Texts(5, "platform");
  ASSERT_EQ(lines.size(), 1) << "one line for a request";
  EXPECT_NE(lines.front().find("memory_mb"), std::string::npos);

  Call writes(Call::Kind::kWrites, "a", &memory);
  EXPECT_TRUE(writes.TakeMemory(9000));
  Call has_written(Call::Kind::kReads, "a", &memory);
  has_written.NoteWrite();
  EXPECT_TRUE(has_written.TakeMemory(9000));
  EXPECT_EQ(memory.held(), 19'000);
  Call internal(Call::Kind::kReads);
  EXPECT_TRUE(internal.TakeMemory(1'000'000));
  EXPECT_NO_THROW(platform::NeedMemory(1'000'000)) << "without a call nothing is counted";
}

TEST(MemoryBudget, AChangeTakesWhatItNeedsBeforeItWritesOrIsRefusedAsBusy) {
  auto& budget = MemoryBudget::Process();
  budget.Limit(4000);  // an owner has 875 of it for what is large
  {
    MemoryShare others("a");
    others.Take(500);
    MemoryShare memory("a");
    Call busy(Call::Kind::kWrites, "a", &memory);
    EXPECT_FALSE(busy.TakeMemoryToWrite(400));
    EXPECT_TRUE(busy.IsRefusedAsBusy());
    others.ShrinkTo(0);
    Call alone(Call::Kind::kWrites, "a", &memory);
    EXPECT_TRUE(alone.TakeMemoryToWrite(1'000'000)) << "what can never be had is not waited for";
    EXPECT_FALSE(alone.IsRefusedAsBusy());
    EXPECT_EQ(memory.held(), 875);
  }
  budget.Limit(0);
}

TEST(MemoryBudget, CountsTheTextOfAnAnswer) {
  MemoryBudget budget;
  budget.Limit(4 * 12'000'000);
  xmlpacket::JsonNode root("Root", "");
  root.AddChild("Desc", std::string(1'000'000, 'x'), 0);
  const auto length = root.Serialize(0).size();
  root.AddChild("Escapes", std::string(1'000'000, '\x01'), 0);
  for (const std::size_t held : {0U, 11'000'000U}) {
    MemoryShare memory("a", budget);
    memory.Take(held);
    Call call(Call::Kind::kReads, "a", &memory);
    const platform::CallScope scope(call);
    if (held == 0) {
      // Each of the second text's bytes becomes six: more than was expected.
      EXPECT_EQ(root.Serialize(0).size(), length + 6'000'000 + std::string(R"("Escapes":"",)").size());
      EXPECT_GT(memory.held(), 2'000'000);
    } else {
      EXPECT_THROW(root.Serialize(0), std::bad_alloc);
    }
  }
}

/// Ends the process with 7 when `work` throws std::bad_alloc with 16 MiB left.
template <class Work>
[[noreturn]] void WithLittleMemory(const Work& work) {
  LeaveAddressSpace(std::size_t{16} << 20);
  try {
    work();
  } catch (const std::bad_alloc&) {
    std::_Exit(7);
  }
  std::_Exit(0);
}

TEST(MemoryEndDeathTest, JsonThrows) {
  if (!kAddressSpaceCanBeLimited) GTEST_SKIP() << "a sanitizer needs the address space";
  std::string list = "[0";
  for (int i = 0; i < 200'000; ++i)
    list += ",\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\"";
  list += "]";
  kelp::CRapidJsonProto read;
  EXPECT_EXIT(WithLittleMemory([&] { static_cast<void>(read.set_str(list)); }), testing::ExitedWithCode(7), "");
  kelp::CRapidJsonProto parsed;
  ASSERT_TRUE(parsed.set_str(list));
  EXPECT_EXIT(WithLittleMemory([&] { static_cast<void>(parsed.get_str()); }), testing::ExitedWithCode(7), "");
  xmlpacket::JsonNode node("Root", list + list);
  EXPECT_EXIT(WithLittleMemory([&] { static_cast<void>(node.Serialize(0)); }), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace evidence_test
