// How evidences are read and deleted, and who writes their histories, down to the statements.

#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "unit/plugin/ServiceTest.h"

namespace {

using namespace evidence_test;

class EvidenceQueryTest : public ManagerTest {
 protected:
  /// What a reading does, then the name, cameras as "id/device/element", and values as "attribute=option:name".
  std::string Read(std::int32_t id) {
    EvidencePtr evidence;
    const std::string done = Did(manager_.GetEvidenceByID(evidence, id));
    return evidence ? Lines({done, evidence->name, Text(*evidence)}) : done;
  }
  static std::string Text(const _tag_Evidence_& evidence) {
    Texts texts;
    for (const auto& camera : evidence.camera_infos)
      texts.push_back(std::to_string(camera.camera_id) + "/" + camera.device_name + "/" + camera.element_name);
    for (const auto& value : evidence.evidence_customs) {
      for (const auto& [id, name] : value.custom_options)
        texts.push_back(std::to_string(value.custom_id) + "=" + std::to_string(id) + ":" + name);
    }
    return Lines(texts);
  }
  /// Evidences 1 and 2 with a file each; one file has no evidence.
  void PutEvidencesWithFiles() {
    tables_.rows.clear();
    for (const std::int32_t id : {1, 2, -1}) {
      if (id > 0) PutEvidence(id, "G" + std::to_string(id));
      tables_.Add("evidence_file", {{"id", std::to_string(50 + id)}, {"evidence_id", std::to_string(id)}});
    }
  }
};

TEST_F(EvidenceQueryTest, OneEvidenceIsNamedFromTheTableAndAListFromTheCache) {
  PutColour("cached red");
  platform_.elements->Add(11, 10);
  platform_.elements->Add(12, -1);
  Start();
  PutEvidence(1, "G1");
  PutEvidence(2, "G2", {{"releated_camera_ids", "11,99,12"}});
  PutColour("stored red");
  AddValue(2, 8, 1, "");
  AddValue(2, 9, -1, "text");
  EXPECT_EQ(Read(2), Lines({"!GetPyIDByEleID not find element ele_id = 99", "ok", "n", "11/device 10/camera 11",
                            "8=1:stored red", "9=-1:text"}));
  tables_.failing = {"read options of 8"};
  EXPECT_EQ(Read(2), Lines({"!get custom option failed, evidence-id[2].", "ok", "n", "11/device 10/camera 11",
                            "8=1:", "9=-1:text"}));
  tables_.failing = {"read values of 2"};
  EXPECT_EQ(Read(2), Lines({"!The evidence not exists, evidence-id[2].", "0-9804", "n", ""}))
      << "it must not look complete";
  EXPECT_EQ(Read(-1), Lines({"!Input param error.", "0-2"}));
  tables_.failing.clear();
  std::list<EvidencePtr> evidences;
  page_info page{0, 1, 1};
  bool has_more = false;
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, nullptr, {1, 2})), "0-1");
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, filter, {1, 2})),
            Lines({"!get evidence custom name failed, evidence-id[2].", "ok"}));
  EXPECT_EQ(Text(*evidences.back()), Lines({"8=1:cached red", "9=-1:text"}));
  EXPECT_TRUE(manager_.QueryEvidences(evidences, page, has_more, filter, {1, 2}));
  EXPECT_EQ(LastCode(), 9804) << "one has no values";
  EXPECT_TRUE(manager_.GetEvidenceByIDs(evidences, {1, -1}));
  EXPECT_EQ(LastCode(), 2) << "nothing has the id -1";
  tables_.failing = {"read page of evidences"};
  EXPECT_EQ(Did(manager_.QueryEvidences(evidences, page, has_more, filter, {})),
            Lines({"!Query evidences failed.", "0-15"}));
}

TEST_F(EvidenceQueryTest, EachUnlinkNamesTheFilesOfTheEvidencesBeforeToo) {
  Start();
  PutEvidencesWithFiles();
  std::string labels;
  for (int n = 0; n < 100'000; ++n)
    labels += std::to_string(n) + "|";
  manager_.UpdateLabelMap(2, {"own"});
  manager_.AddLabelsToMap(1, labels);
  EXPECT_EQ(Did(manager_.DelEvidences({1, -5, 1, -1, 2})),
            Lines({"delete evidence 1", "delete evidence -5", "delete evidence -1", "delete evidence 2",
                   "delete values of 1", "delete values of -5", "delete values of -1", "delete values of 2",
                   "unlink 51 of 1", "delete files of 1", "unlink 51,51,52 of 2", "delete files of 2", "ok"}))
      << "each once; the files under -1 have no evidence";
  EXPECT_FALSE(manager_.IsLabelCountExceeded(-1, {"new"})) << "its labels are free again";
  // A refused call leaves the files of the rest as they were; the evidences are gone already.
  PutEvidencesWithFiles();
  reply_ = R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":7}})";
  EXPECT_EQ(Did(manager_.DelEvidences({1, 2})),
            Lines({"delete evidence 1", "delete evidence 2", "delete values of 1", "delete values of 2",
                   "unlink 51 of 1", "!Delete evidences files failed.", "31-7"}));
  EXPECT_EQ(Read(1), Lines({"!The evidence not exists, evidence-id[1].", "0-9804"}));
  reply_ = kOneRefused;
  EXPECT_EQ(Did(manager_.DelEvidences({1})), Lines({"delete evidence 1", "delete values of 1", "unlink 51 of 1",
                                                    "!Delete evidences files failed.", "0-9999"}));
}

TEST_F(EvidenceQueryTest, ADeletionThatWouldNameTooManyFilesWritesNothing) {
  Start();
  IdList ids(210);
  std::iota(ids.begin(), ids.end(), 1);
  tables_.others["evidence_file"] = 128;  // of each
  EXPECT_EQ(Did(manager_.DelEvidences(ids)),
            Lines({"!Input param error, file ids to unlink in one deletion: 200399360, at most 200000000.", "0-2"}));
  tables_.others["evidence_file"] = 126;
  EXPECT_TRUE(manager_.DelEvidences(ids)) << "so few files";
  tables_.failing = {"count files"};
  (void)Did(true);
  EXPECT_EQ(Did(manager_.DelEvidences(ids)), Lines({"!Delete evidences failed.", "0-15"}));
  ids.pop_back();
  EXPECT_TRUE(manager_.DelEvidences(ids)) << "so few evidences need no count";
}

TEST_F(EvidenceQueryTest, ALongDeletionLogsItsProgress) {
  CEvidenceManager manager(std::make_shared<CEvidenceMgrDBByPG>(), std::chrono::milliseconds(0));
  ASSERT_TRUE(manager.Initialize());
  EXPECT_TRUE(manager.DelEvidences({1, 2}));
  EXPECT_TRUE(platform_.sink->Has(3, "DelEvidences]Delete evidences: files unlinked of 1 of 2 evidences."));
  Start();
  EXPECT_TRUE(manager_.DelEvidences({1, 2}));
  EXPECT_FALSE(platform_.sink->Has(3, "files unlinked")) << "a short one says nothing";
}

TEST_F(EvidenceQueryTest, AHistoryCarriesTheClientTypeOfItsSession) {
  const platform::ScopedBackend<platform::IAuthenticationBackend> sessions(std::make_shared<service_test::Accounts>());
  Start();
  const std::vector<operation_record> records(1);
  const std::string from_inside = "history 0 of -1 by '' at '' on -1: -1 '' '' ''";
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "s")),
            Lines({"history 0 of -1 by '' at '' on 1: -1 '' '' ''", "ok"}));
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "")), Lines({from_inside, "ok"}));
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "ended")), "0-200");
  tables_.failing = {"history"};
  EXPECT_EQ(Did(manager_.WriteEvidenceLog(records, "")), Lines({from_inside, "!WriteEvidenceLog failed.", "0-15"}));
}

}  // namespace
