// Evidences through the manager on a real PostgreSQL.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <map>
#include <mutex>
#include <thread>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using namespace Evidence;
using evidence_test::Postgres;
using Orv::Base::Error::GetLastError;
using testing::AnyOf;

constexpr std::uint32_t kNotAdded = 0xFFFFFFFF;

class EvidenceManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query(
        "DELETE FROM evidence.evidence; DELETE FROM evidence.operation_log; DELETE FROM evidence.evidence_custom_info; "
        "DELETE FROM "
        "evidence.evidence_option; "
        "DELETE FROM evidence.evidence_custom WHERE id > 5;"
        "INSERT INTO evidence.evidence_custom (id, name, types, deleted) VALUES (8, 'colour', 0, 0);"
        "INSERT INTO evidence.evidence_option (id, name, custom_id, deleted) VALUES (81, 'red', 8, 0), (82, 'blue', 8, "
        "0)");
    plugin_.emplace();
    plugin_->Elements().Add(11, 10);
    threads_.emplace(platform::MakeThreadManager());
    ASSERT_TRUE(manager_.Initialize());
  }
  void TearDown() override {
    manager_.Finalize();
    threads_.reset();
    plugin_.reset();
  }

  static EvidencePtr New(const std::string& guid) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->guid = guid;
    evidence->name = "O'Brien \\ 100%";
    evidence->label = "night|gate";
    evidence->releated_camera_ids = "11,99";
    evidence->cad_id = std::string(4000, 'c');
    evidence->evidence_customs = {{8, "", {{81, ""}}, 0, -1}};
    return evidence;
  }

  std::optional<evidence_test::RunningPlugin> plugin_;
  /// A manager beside the plugin's own needs loops of its own.
  std::optional<platform::ScopedBackend<kelp::IThreadManager>> threads_;
  CEvidenceManager manager_;
};

TEST_F(EvidenceManagerTest, WhatWasCreatedIsReadFoundChangedAndDeleted) {
  const auto evidence = New("G-1");
  const std::uint32_t id = manager_.AddEvidence(evidence);
  ASSERT_NE(id, kNotAdded);
  EvidencePtr read;
  ASSERT_TRUE(manager_.GetEvidenceByID(read, evidence->id));
  EXPECT_EQ(read->name, evidence->name);
  EXPECT_EQ(read->cad_id, evidence->cad_id);
  ASSERT_EQ(read->camera_infos.size(), 1u);
  EXPECT_EQ(read->camera_infos[0].element_name, "camera 11");
  ASSERT_EQ(read->evidence_customs.size(), 1u);
  EXPECT_EQ(read->evidence_customs[0].custom_options[0].option_name, "red");

  read->name = "changed";
  read->label = "day";
  read->evidence_customs[0].custom_options[0] = {82, ""};
  operation_record record;
  ASSERT_TRUE(manager_.UpdateEvidence(read, record));
  std::vector<std::string> items;
  for (const auto& item : record.change_items)
    items.push_back(std::to_string(item.mod_type) + " " + item.before_mod + ">" + item.after_mod);
  EXPECT_EQ(items, (std::vector<std::string>{"7 night|gate>day", "1 O'Brien \\ 100%>changed", "13 red>blue"}));

  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  filter->keyword = "CHANG";
  std::list<EvidencePtr> found;
  page_info page{0, 1, 10};
  bool has_more = true;
  ASSERT_TRUE(manager_.QueryEvidences(found, page, has_more, filter, {}));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(page.total, 1);
  EXPECT_FALSE(has_more);
  EXPECT_EQ(found.front()->evidence_customs[0].custom_options[0].option_name, "blue");

  std::list<EvidenceErrInfoPtr> results;
  std::vector<operation_record> records;
  read->evidence_status = 0;
  ASSERT_TRUE(manager_.UpdateEvidences(results, {read}, records));
  EXPECT_EQ(Postgres().Query("SELECT evidence_status, label FROM evidence.evidence"),
            (evidence_test::Rows{{"0", "day"}}));

  ASSERT_TRUE(manager_.DelEvidences({evidence->id}));
  EXPECT_FALSE(manager_.GetEvidenceByID(read, evidence->id));
  EXPECT_EQ(Postgres().Query("SELECT deleted FROM evidence.evidence"), (evidence_test::Rows{{"1"}}));
}

// A text that the database refuses must not keep the rows of a change out of its history.
TEST_F(EvidenceManagerTest, AHistoryTakesAnyText) {
  operation_record record;
  record.evidence_id = 5;
  record.change_items.resize(2);
  record.change_items[0].mod_type = 1;
  record.change_items[0].after_mod = std::string("a\0b", 3);
  record.change_items[1].before_mod = std::string("f\0", 2);
  ASSERT_TRUE(manager_.WriteEvidenceLog({record}, ""));
  EXPECT_EQ(
      Postgres().Query("SELECT after_mod, file_name FROM evidence.operation_log WHERE evidence_id = 5 ORDER BY id"),
      (evidence_test::Rows{{"-1:a\xEF\xBF\xBD"
                            "b",
                            ""},
                           {"", "f\xEF\xBF\xBD"}}));
}

TEST_F(EvidenceManagerTest, OfParallelCreationsWithOneGuidOneWins) {
  constexpr int kThreads = 8;
  for (int round = 0; round < 5; ++round) {
    const std::string guid = "same-" + std::to_string(round);
    std::barrier begin(kThreads);
    std::mutex mutex;
    std::vector<std::uint32_t> ids;
    std::vector<int> codes;
    {
      std::vector<std::jthread> threads;
      for (int n = 0; n < kThreads; ++n) {
        threads.emplace_back([&] {
          const auto evidence = New(guid);
          begin.arrive_and_wait();
          const std::uint32_t id = manager_.AddEvidence(evidence);
          const std::lock_guard lock(mutex);
          if (id != kNotAdded) {
            ids.push_back(id);
          } else {
            codes.push_back(GetLastError().SubCode());
          }
        });
      }
    }
    EXPECT_EQ(ids.size(), 1u);
    EXPECT_THAT(codes, testing::Each(AnyOf(9805, 15)));
    EXPECT_EQ(Postgres().Query("SELECT count(*) FROM evidence.evidence WHERE guid = '" + guid + "'"),
              (evidence_test::Rows{{"1"}}));
  }
}

}  // namespace
