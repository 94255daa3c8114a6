// A row of the evidence table as a record, and the readers of one and of many.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::EvidencePtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class EvidenceRowTest : public ::testing::Test {
 protected:
  void Answer(std::vector<scripted::Row> rows) {
    platform_.db->answer = [rows = std::move(rows)](const std::string&) { return rows; };
  }

  scripted::Platform platform_;
  Evidence::CEvidenceMgrDBByPG store_;
};

TEST_F(EvidenceRowTest, ReadsOneRowByIdAndByGuid) {
  Answer({{{"ID", "5"}, {"name", "first"}}, {{"ID", "6"}, {"name", "second"}}});
  EvidencePtr evidence;
  EXPECT_TRUE(store_.GetEvidenceByID(evidence, 5));
  EXPECT_EQ(evidence->name, "first");
  EXPECT_TRUE(store_.GetEvidenceByGuid(evidence, "it's"));
  EXPECT_EQ(platform_.db->sent,
            (std::vector<std::string>{"SELECT * FROM evidence.evidence WHERE ID = 5 AND deleted = 0",
                                      "SELECT * FROM evidence.evidence WHERE guid = 'it''s' AND deleted = 0"}));
}

TEST_F(EvidenceRowTest, NoRowIsFalseWithoutAPairOfItsOwn) {
  Answer({});
  Orv::Base::Error::SetLastError({0, 4711});
  auto evidence = std::make_shared<Evidence::_tag_Evidence_>();
  EXPECT_FALSE(store_.GetEvidenceByID(evidence, 5));
  EXPECT_EQ(evidence, nullptr);
  EXPECT_EQ(GetLastError(), ErrorCode(0, 4711));
}

TEST_F(EvidenceRowTest, FailuresGiveThePairAndTheLine) {
  EvidencePtr evidence;
  std::list<EvidencePtr> evidences;
  platform_.db->null_cursor = true;
  EXPECT_FALSE(store_.GetEvidenceByGuid(evidence, "g"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(platform_.sink->Has(5, "]Query ftp settings failed.["));
  EXPECT_TRUE(store_.QueryAllEvidences(evidences)) << "a list without a cursor is an empty one";

  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  EXPECT_FALSE(store_.GetEvidenceByID(evidence, 5));
  EXPECT_FALSE(store_.GetEvidenceByGuid(evidence, "g"));
  EXPECT_FALSE(store_.QueryAllEvidences(evidences));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  for (const char* line : {"]Get evidence failed, id[5].[", "]Get evidence failed, evidence-guid[g].[",
                           "]Read all evidences from DB failed, sql[SELECT * FROM evidence.evidence WHERE deleted"}) {
    EXPECT_TRUE(platform_.sink->Has(5, line)) << line;
  }
}

TEST_F(EvidenceRowTest, SequencesOfEveryTable) {
  Answer({{{"nextval", "9"}}});
  EXPECT_EQ(store_.QueryEvidenceSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceFileSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceSceneSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceOutcomeSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceCustomSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceCustomInfoSeqID(), 9);
  EXPECT_EQ(store_.QueryEvidenceOptionSeqID(), 9);
  std::vector<std::string> expected;
  for (const char* name : {"id", "file_id", "scense_id", "outcome_id", "custom_id", "custom_info_id", "option_id"}) {
    expected.push_back(std::string("SELECT NEXTVAL('evidence.evidence_") + name + "_seq')");
  }
  EXPECT_EQ(platform_.db->sent, expected);
}

TEST_F(EvidenceRowTest, ScenesAndOutcomesKeepTheirWords) {
  using Evidence::tag_EvidenceOutcome_;
  using Evidence::tag_EvidenceScene_;
  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  const std::list<Evidence::EvidenceScenePtr> scenes{
      std::make_shared<tag_EvidenceScene_>(tag_EvidenceScene_{4, "it's"})};
  const std::list<Evidence::EvidenceOutcomePtr> outcomes{
      std::make_shared<tag_EvidenceOutcome_>(tag_EvidenceOutcome_{4, "it's"})};
  std::list<Evidence::EvidenceScenePtr> read_scenes;
  std::list<Evidence::EvidenceOutcomePtr> read_outcomes;
  std::string name;
  EXPECT_FALSE(store_.ReadAllEvidenceScenes(read_scenes));
  EXPECT_FALSE(store_.InsertEvidenceScenes(scenes));
  EXPECT_FALSE(store_.UpdateEvidenceScenes(scenes));
  EXPECT_FALSE(store_.DeleteEvidenceScenes({4}));
  EXPECT_FALSE(store_.QueryEvidenceSceneNameById(name, 4));
  EXPECT_FALSE(store_.ReadAllEvidenceOutcomes(read_outcomes));
  EXPECT_FALSE(store_.InsertEvidenceOutcomes(outcomes));
  EXPECT_FALSE(store_.UpdateEvidenceOutcomes(outcomes));
  EXPECT_FALSE(store_.DeleteEvidenceOutcomes({4}));
  EXPECT_FALSE(store_.QueryEvidenceOutcomeNameById(name, 4));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  for (const std::string word : {"scene", "outcome"}) {
    const std::string table = word == "scene" ? "evidence.evidence_scense" : "evidence.evidence_outcome";
    for (const std::string& line :
         {"]Read all evidence " + word + " failed.[",
          "]Insert evidence " + word + " failed, sqls[INSERT INTO " + table +
              " (ID, name, create_time, deleted) VALUES (4, 'it''s', '",
          "]Update evidence " + word + " failed, sqls[UPDATE " + table + " SET name = 'it''s', update_time = '",
          "]Delete evidence " + word + " failed, sqls[UPDATE " + table + " SET deleted = 1 WHERE id = 4;].[",
          "]Get evidence " + word + " failed, id[4].["}) {
      EXPECT_TRUE(platform_.sink->Has(5, line)) << line;
    }
    const auto& sent = platform_.db->sent;
    EXPECT_NE(std::ranges::find(sent, "SELECT * FROM " + table + " WHERE deleted = 0;"), sent.end());
    EXPECT_NE(std::ranges::find(sent, "SELECT * FROM " + table + " WHERE ID = 4"), sent.end());
  }
  EXPECT_TRUE(store_.InsertEvidenceScenes({}));
  EXPECT_TRUE(store_.DeleteEvidenceOutcomes({}));
}

}  // namespace
