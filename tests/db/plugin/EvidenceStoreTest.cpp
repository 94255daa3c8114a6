// The store's readers, sequences and small dictionaries on a real PostgreSQL.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "support/ThrowawayPostgres.h"

namespace {

using Evidence::EvidencePtr;
using evidence_test::Postgres;
using evidence_test::Rows;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class EvidenceStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query("DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_scense;");
    Postgres().Query("ALTER SEQUENCE evidence.evidence_scense_id_seq RESTART");
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 2, 1, true));
  }
  void TearDown() override { kelp::IDBManager::Instance()->UnInitialize("casefile.s"); }

  platform::ScopedBackend<kelp::IDBManager> db_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  Evidence::CEvidenceMgrDBByPG store_;
};

TEST_F(EvidenceStoreTest, ReadsEveryFieldOfARow) {
  Postgres().Query(
      "INSERT INTO evidence.evidence (id, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, "
      "evidence_status, evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, "
      "local_create_time, label, add_mode, upload_mode, upload_begin_time, upload_end_time, record_begin_time, "
      "record_end_time, releated_camera_ids, evidence_begin_time, evidence_end_time, cad_id, upload_status, "
      "succeed_camera_ids) VALUES (7, 'G', 'O''Brien', 1, 2, 3, E'line\\nbreak', 0, 4, 'creator', 330, "
      "'2026-01-01 00:00:00', '2026-01-01 05:30:00', 'a|b', 5, 6, 'ub', 'ue', 'rb', 're', '1,2', 'eb', 'ee', 'cad', 8, "
      "'2')");
  EvidencePtr evidence;
  ASSERT_TRUE(store_.GetEvidenceByID(evidence, 7));
  EXPECT_EQ(evidence->id, 7);
  EXPECT_EQ(evidence->guid, "G");
  EXPECT_EQ(evidence->name, "O'Brien");
  EXPECT_EQ(evidence->evidence_type.type_id, 1);
  EXPECT_EQ(evidence->evidence_type.type_name, "");
  EXPECT_EQ(evidence->scene.scene_id, 2);
  EXPECT_EQ(evidence->outcome.outcome_id, 3);
  EXPECT_EQ(evidence->evidence_desc, "line\nbreak");
  EXPECT_EQ(evidence->evidence_status, 0);
  EXPECT_EQ(evidence->create_user.id, 4);
  EXPECT_EQ(evidence->create_user.name, "creator");
  EXPECT_EQ(evidence->create_time, "2026-01-01T05:30:00+05:30");
  EXPECT_EQ(evidence->label, "a|b");
  EXPECT_EQ(evidence->add_mode, 5);
  EXPECT_EQ(evidence->upload_mode, 6);
  EXPECT_EQ(evidence->upload_begin_time + evidence->upload_end_time, "ubue");
  EXPECT_EQ(evidence->record_begin_time + evidence->record_end_time, "rbre");
  EXPECT_EQ(evidence->releated_camera_ids, "1,2");
  EXPECT_EQ(evidence->evidence_begin_time + evidence->evidence_end_time, "ebee");
  EXPECT_EQ(evidence->cad_id, "cad");
  EXPECT_EQ(evidence->upload_status, 8);
  EXPECT_EQ(evidence->succeed_camera_ids, "2");
  EXPECT_TRUE(evidence->evidence_customs.empty());
}

TEST_F(EvidenceStoreTest, DefaultsNullsAndOtherColumnsReadWell) {
  Postgres().Query("INSERT INTO evidence.evidence (id, guid) VALUES (1, 'defaults'), (2, 'nulls')");
  Postgres().Query("INSERT INTO evidence.evidence (id, guid, deleted) VALUES (3, 'gone', 1)");
  // As an installation may stand after changes of its own: a column in front, and columns without a value.
  Postgres().Query(
      "BEGIN; ALTER TABLE evidence.evidence RENAME TO evidence_base;"
      "CREATE VIEW evidence.evidence AS SELECT 0 AS extra, cad_id, label, name, deleted, CASE WHEN id = 1 THEN "
      "upload_status END AS upload_status, NULL::text AS succeed_camera_ids, NULL::timestamp AS local_create_time, "
      "guid, "
      "id FROM evidence.evidence_base; GRANT SELECT ON evidence.evidence TO evidence_app; COMMIT");
  std::list<EvidencePtr> evidences;
  const bool read = store_.QueryAllEvidences(evidences);
  Postgres().Query("DROP VIEW evidence.evidence; ALTER TABLE evidence.evidence_base RENAME TO evidence");
  ASSERT_TRUE(read);
  ASSERT_EQ(evidences.size(), 2U) << "deleted rows are left out";
  evidences.sort([](const auto& a, const auto& b) { return a->id < b->id; });
  EXPECT_EQ(evidences.front()->upload_status, -1);
  EXPECT_EQ(evidences.back()->upload_status, 0);
  EXPECT_EQ(evidences.back()->guid, "nulls");
  EXPECT_EQ(evidences.back()->create_time, "");
  EXPECT_EQ(evidences.back()->succeed_camera_ids, "");
}

TEST_F(EvidenceStoreTest, ScenesLiveAndNamesOutliveThem) {
  const auto scene = std::make_shared<Evidence::tag_EvidenceScene_>();
  scene->scene_id = store_.QueryEvidenceSceneSeqID();
  scene->type_name = "it's";
  EXPECT_EQ(scene->scene_id, 1);
  EXPECT_TRUE(store_.InsertEvidenceScenes({scene}));
  scene->type_name = "a street";
  EXPECT_TRUE(store_.UpdateEvidenceScenes({scene}));
  std::list<Evidence::EvidenceScenePtr> scenes;
  EXPECT_TRUE(store_.ReadAllEvidenceScenes(scenes));
  ASSERT_EQ(scenes.size(), 1U);
  EXPECT_EQ(scenes.front()->type_name, "a street");
  EXPECT_TRUE(store_.DeleteEvidenceScenes({1}));
  scenes.clear();
  EXPECT_TRUE(store_.ReadAllEvidenceScenes(scenes));
  EXPECT_TRUE(scenes.empty());
  std::string name;
  EXPECT_TRUE(store_.QueryEvidenceSceneNameById(name, 1));
  EXPECT_EQ(name, "a street");
}

TEST_F(EvidenceStoreTest, ExhaustedSequenceGivesNoKey) {
  Postgres().Query("ALTER SEQUENCE evidence.evidence_scense_id_seq RESTART 2147483647");
  EXPECT_EQ(store_.QueryEvidenceSceneSeqID(), 2147483647);
  EXPECT_EQ(store_.QueryEvidenceSceneSeqID(), -1);
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
}

}  // namespace
