// Evidences read, queried and deleted.

#include "unit/plugin/EvidencesInMemory.h"

namespace {

using namespace Evidence;
using evidence_test::Texts;

class EvidenceReadTest : public evidence_test::EvidenceManagerFixture {
 protected:
  void SetUp() override {
    store_->customs = {{8, "colour", {{1, "cached red"}}, 0, -1}};
    store_->options[8] = {{1, "stored red"}};
    for (const std::int32_t id : {1, 2}) {
      auto& row = store_->rows[id];
      row.id = id;
      row.guid = "G" + std::to_string(id);
      row.releated_camera_ids = "11,99,12";
    }
    store_->values[2] = {{8, "", {{1, ""}}, 0, -1}, {9, "", {{-1, "text"}}, 0, -1}};
    platform_.elements->Add(11, 10);
    platform_.elements->Add(12, -1);
    Start();
  }

  /// "camera/device/element" of each camera, then "custom=option:name" of each value.
  static std::string Text(const EvidencePtr& evidence) {
    std::string text;
    for (const auto& camera : evidence->camera_infos)
      text += std::to_string(camera.camera_id) + "/" + camera.device_name + "/" + camera.element_name;
    for (const auto& value : evidence->evidence_customs) {
      for (const auto& option : value.custom_options) {
        text += " " + std::to_string(value.custom_id) + value.custom_name + "=" + std::to_string(option.option_id) +
                ":" + option.option_name;
      }
    }
    return text;
  }
};

TEST_F(EvidenceReadTest, OneEvidenceIsNamedFromTheTable) {
  EvidencePtr evidence;
  ASSERT_TRUE(manager_.GetEvidenceByID(evidence, 1));
  EXPECT_EQ(Text(evidence), "11/device 10/camera 11");
  EXPECT_TRUE(Logged("GetPyIDByEleID not find element ele_id = 99["));
  ASSERT_TRUE(manager_.GetEvidenceByID(evidence, 2));
  EXPECT_EQ(Text(evidence), "11/device 10/camera 11 8=1:stored red 9=-1:text");

  store_->failing = {"options"};
  ASSERT_TRUE(manager_.GetEvidenceByID(evidence, 2));
  EXPECT_EQ(Text(evidence), "11/device 10/camera 11 8=1: 9=-1:text");
  EXPECT_TRUE(Logged("get custom option failed, evidence-id[2]."));

  struct Refusal {
    std::int32_t id;
    const char* failing;
    int code;
    const char* line;
  };
  for (const auto& [id, failing, code, line] :
       {Refusal{-1, "", 2, "Input param error."}, Refusal{0, "", 9804, "The evidence not exists, evidence-id[0]."},
        Refusal{2, "values", 9804, "The evidence not exists, evidence-id[2]."}}) {
    store_->failing = {failing};
    Forget();
    EXPECT_FALSE(manager_.GetEvidenceByID(evidence, id)) << id;
    EXPECT_EQ(LastCode(), code) << id;
    EXPECT_TRUE(Logged(line)) << id;
  }
}

TEST_F(EvidenceReadTest, OnlyEvidencesWithValuesAreCompletedInAList) {
  std::list<EvidencePtr> evidences;
  page_info page;
  bool has_more = false;
  ASSERT_TRUE(manager_.QueryEvidences(evidences, page, has_more, std::make_shared<_tag_EvidenceFilterInfo_>(), {}));
  EXPECT_EQ(page.total, 99);
  EXPECT_TRUE(has_more);
  EXPECT_EQ(Text(evidences.front()), "");
  EXPECT_TRUE(Logged("The evidence not exists, evidence-id[1]."));
  EXPECT_EQ(LastCode(), 9804);
  EXPECT_EQ(Text(evidences.back()), "11/device 10/camera 11 8=1:cached red 9=-1:text");
  EXPECT_TRUE(Logged("get evidence custom name failed, evidence-id[2]."));
  EXPECT_EQ(store_->TakeCalls(), (Texts{"query", "values 1 2"}));

  evidences.clear();
  EXPECT_FALSE(manager_.QueryEvidences(evidences, page, has_more, nullptr, {2}));
  EXPECT_EQ(LastCode(), 1);
  ASSERT_TRUE(manager_.QueryEvidences(evidences, page, has_more, std::make_shared<_tag_EvidenceFilterInfo_>(), {2, 7}));
  EXPECT_EQ(evidences.size(), 1u);
  EXPECT_EQ(store_->TakeCalls(), (Texts{"read 2 7", "values 2"}));

  store_->failing = {"query"};
  EXPECT_FALSE(manager_.QueryEvidences(evidences, page, has_more, std::make_shared<_tag_EvidenceFilterInfo_>(), {}));
  EXPECT_EQ(LastCode(), 15);
  EXPECT_TRUE(Logged("Query evidences failed."));
}

TEST_F(EvidenceReadTest, AnIdOfMinusOneAmongManyIsANotice) {
  std::list<EvidencePtr> evidences;
  EXPECT_TRUE(manager_.GetEvidenceByIDs(evidences, {1, -1, 2}));
  EXPECT_EQ(LastCode(), 2);
  EXPECT_EQ(evidences.size(), 2u);
  EvidencePtr evidence;
  EXPECT_FALSE(manager_.GetEvidenceByGuid(evidence, ""));
  EXPECT_EQ(LastCode(), 2);
  EXPECT_FALSE(manager_.GetEvidenceByGuid(evidence, "free"));
  EXPECT_EQ(LastCode(), 9804);
  EXPECT_TRUE(Logged("The evidence not exists, evidence-guid[free].", 2));
}

TEST_F(EvidenceReadTest, EachUnlinkNamesTheFilesOfTheEvidencesBeforeToo) {
  store_->files[1].push_back(evidence_test::FileRow(51, "a", 1));
  store_->files[2].push_back(evidence_test::FileRow(52, "b", 2));
  FileManagerReplies(kDone);
  EXPECT_TRUE(manager_.DelEvidences({1, 2}));
  EXPECT_EQ(store_->TakeCalls(),
            (Texts{"delete 1 2", "delete values 1 2", "files 1", "delete files of 1", "files 2", "delete files of 2"}));
  EXPECT_EQ(Links(), (Texts{R"({"Request":{"LinkType":0,"ID":1,"FileIDs":"51","OperationType":0}})",
                            R"({"Request":{"LinkType":0,"ID":2,"FileIDs":"51,51,52","OperationType":0}})"}));

  // A refused call leaves the files of the rest as they were; the evidences are gone already.
  FileManagerReplies(R"({"ResponseStatus":{"ErrorModule":31,"ErrorCode":7}})");
  EXPECT_FALSE(manager_.DelEvidences({1, 2}));
  EXPECT_EQ(store_->TakeCalls(), (Texts{"delete 1 2", "delete values 1 2", "files 1"}));
  EXPECT_EQ(LastCode(), 7);
  EXPECT_TRUE(Logged("Delete evidences files failed."));
  FileManagerReplies(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":{"x":1},)"
                     R"("LinkFileError":[{"ID":51,"Name":"n","Error":{"ErrorModule":31,"ErrorCode":4}}]}}})");
  Forget();
  EXPECT_FALSE(manager_.DelEvidences({1}));
  EXPECT_EQ(LastCode(), 9999);
  FileManagerReplies(kDone);
  Forget();
  EXPECT_TRUE(manager_.DelEvidences({}));
  Forget();

  // A repeated id counts once, the files under -1 belong to nobody, and a list has an end.
  store_->files[-1].push_back(evidence_test::FileRow(53, "free", -1));
  EXPECT_TRUE(manager_.DelEvidences({3, 3, -1, 3}));
  EXPECT_EQ(store_->TakeCalls(), (Texts{"delete 3 -1", "delete values 3 -1", "files 3"}));
  EXPECT_FALSE(manager_.DelEvidences(IdList(10'001, 3)));
  EXPECT_EQ(LastCode(), 2);
  EXPECT_EQ(store_->TakeCalls(), Texts{});
}

}  // namespace
