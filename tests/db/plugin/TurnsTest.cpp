// Changes of one evidence by several writers at once: whatever their order, the end is that of whole calls.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "support/StoreFixture.h"

namespace evidence_test {
namespace {

using namespace Evidence;

constexpr std::int32_t kAttribute = 2;

class TurnsTest : public StoreFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(manager_.Initialize());
    // Lingers, so that a deletion could pass between the checks of a link and its row.
    const auto reply = [](const auto&, const auto&, std::shared_ptr<plugin_comm::IPluginCommData>& response) {
      Postgres().Query("SELECT pg_sleep(0.01)");
      response = std::make_shared<plugin_comm::CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})",
                                                                nullptr, 0);
    };
    ASSERT_TRUE(
        plugin_comm::IPluginCommManager::Instance()->PublishApi("files", "/API/FileManager/V1/LinkFile", reply));
  }

  void TearDown() override { manager_.Finalize(); }

  static EvidencePtr Edited(std::int32_t id, const std::string& name) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = id;
    evidence->guid = "guid";
    evidence->name = name;
    evidence->evidence_customs = {{kAttribute, "", {{-1, name}}, 0, -1}};
    return evidence;
  }
  std::int32_t Created() { return static_cast<std::int32_t>(manager_.AddEvidence(Edited(-1, "new"))); }

  /// Opens and closes the evidence until `ended`.
  void Toggle(std::int32_t id, const std::atomic<bool>& ended) {
    for (int round = 0; !ended; ++round) {
      const auto wanted = std::make_shared<_tag_Evidence_>();
      wanted->id = id;
      wanted->evidence_status = round % 2;
      std::list<EvidenceErrInfoPtr> results;
      std::vector<operation_record> records;
      EXPECT_TRUE(manager_.UpdateEvidences(results, {wanted}, records));
    }
  }
  static std::string NameOf(std::int32_t id) {
    return Postgres().Value("SELECT name FROM evidence.evidence WHERE id = " + std::to_string(id));
  }

  platform::ScopedBackend<plugin_comm::IPluginCommManager> comm_{platform::MakePluginCommManager()};
  CEvidenceManager manager_;
};

TEST_F(TurnsTest, AChangeOfStatusUndoesNoAcknowledgedEdit) {
  const std::int32_t id = Created();
  std::atomic<bool> ended = false;
  std::vector<std::jthread> togglers;
  for (int n = 0; n < 3; ++n)
    togglers.emplace_back([&] { Toggle(id, ended); });
  for (int round = 0; round < 60; ++round) {
    const std::string name = "edit " + std::to_string(round);
    operation_record record;
    EXPECT_TRUE(manager_.UpdateEvidence(Edited(id, name), record));
    EXPECT_EQ(NameOf(id), name);
  }
  ended = true;
}

TEST_F(TurnsTest, ARowEndsWithTheValuesOfItsOwnWriter) {
  const std::int32_t id = Created();
  for (int round = 0; round < 20; ++round) {
    std::vector<std::jthread> writers;
    for (const char* const name : {"a", "b", "c"}) {
      writers.emplace_back([&, name = name + std::to_string(round)] {
        operation_record record;
        EXPECT_TRUE(manager_.UpdateEvidence(Edited(id, name), record));
      });
    }
    writers.clear();
    EXPECT_EQ(Postgres().Query("SELECT option_text FROM evidence.evidence_custom_info WHERE deleted = 0"),
              (Rows{{NameOf(id)}}));
  }
}

TEST_F(TurnsTest, ADeletedEvidenceKeepsNoFiles) {
  for (int round = 0; round < 10; ++round) {
    const std::int32_t id = Created();
    std::vector<std::jthread> threads;
    for (int n = 0; n < 3; ++n) {
      threads.emplace_back([&, n] {
        for (int of_thread = 0; of_thread < 5; ++of_thread) {
          const auto file = std::make_shared<_tag_EvidenceFile_>();
          file->id = 100 * n + of_thread;
          file->evidence_id = id;
          std::list<ErrorPtr> failures;
          (void)manager_.InsertEvidenceFiles(failures, {file});
        }
      });
    }
    threads.emplace_back([&] { EXPECT_TRUE(manager_.DelEvidences({id})); });
    threads.clear();
    EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_file WHERE deleted = 0"), "0");
  }
}

TEST_F(TurnsTest, WhoWaitsTooLongWritesNothing) {
  const std::int32_t id = Created();
  const EvidenceTurn held({id});
  ASSERT_TRUE(held.IsGranted());
  std::jthread([&] {
    const EvidenceTurn other({id}, std::chrono::milliseconds(20));
    EXPECT_FALSE(other.IsGranted());
    EXPECT_EQ(Orv::Base::Error::GetLastError().SubCode(), 15);
  }).join();
  operation_record record;
  EXPECT_TRUE(manager_.UpdateEvidence(Edited(id, "by the holder"), record)) << "a caller's turn holds for its calls";
}

}  // namespace
}  // namespace evidence_test
