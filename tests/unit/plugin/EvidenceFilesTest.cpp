// The files of an evidence: batches of additions and removals, and what the file manager is asked and answers.

#include "unit/plugin/ManagerTest.h"

namespace {

using namespace evidence_test;
using plugin_comm::CPluginCommData;

class EvidenceFilesTest : public ManagerTest {
 protected:
  void SetUp() override {
    SetTables();
    Start();
  }
  /// Evidence 5 with the files a and b.
  void SetTables() {
    tables_.rows.clear();
    tables_.Add("evidence", {{"id", "5"}});
    tables_.Add("evidence_file", {{"id", "51"}, {"evidence_id", "5"}, {"file_name", "a"}});
    tables_.Add("evidence_file", {{"id", "52"}, {"evidence_id", "5"}, {"file_name", "b"}});
  }
  static EvidenceFilePtr File(std::int32_t id, const std::string& name, bool take_off = false,
                              std::int32_t evidence_id = 5) {
    auto file = std::make_shared<_tag_EvidenceFile_>();
    file->id = id;
    file->file_name = name;
    file->evidence_id = evidence_id;
    file->delete_flag = take_off ? 1 : 0;
    return file;
  }
  /// What a batch wrote and asked, and the files refused.
  std::string Inserted(const std::list<EvidenceFilePtr>& files) {
    std::list<ErrorPtr> failures;
    const bool ok = manager_.InsertEvidenceFiles(failures, files);
    return Did(ok, failures);
  }
};

TEST_F(EvidenceFilesTest, ABatchIsSortedIntoAdditionsAndRemovals) {
  // New; taken off; taken off but not there, which adds; one of the name but another id, dropped; there already.
  EXPECT_EQ(
      Inserted({File(60, "new"), File(51, "a", true), File(61, "gone", true), File(62, "b", true), File(52, "b")}),
      Lines({"link 60,61,52 of 5", "add file 60 'new' of 5", "add file 61 'gone' of 5", "add file 52 'b' of 5",
             "unlink 51 of 5", "delete file 51", "!evidences files repeated.", "ok"}));
  EXPECT_EQ(Inserted({File(62, "b", true)}), "ok");
  EXPECT_EQ(Inserted({File(-1, "without a key"), File(63, "with one")}),
            Lines({"link 100,63 of 5", "add file 100 'without a key' of 5", "add file 63 'with one' of 5", "ok"}));
  EXPECT_EQ(Inserted({}), Lines({"!Input param error.", "0-2"}));
  EXPECT_EQ(Inserted({File(1, "x", false, 9)}), Lines({"!The evidence not exists, evidence-id[9].", "0-9804"}));
}

TEST_F(EvidenceFilesTest, RemovalsCountTowardsTheLimitAsWell) {
  const std::list<EvidenceFilePtr> both{File(51, "a", true), File(52, "b", true)};
  tables_.others["evidence_file"] = 125;
  EXPECT_EQ(Inserted(both),
            Lines({"!The number of evidence associated files exceeds the limit, evidence-id[5].", "0-9807"}));
  tables_.others["evidence_file"] = 124;
  EXPECT_EQ(Inserted(both), Lines({"unlink 51,52 of 5", "delete file 51", "delete file 52", "ok"}));
}

TEST_F(EvidenceFilesTest, RefusedFilesAreListedAndTheOthersGoOn) {
  // The first file's evidence decides about the batch, the last one's is sent to the file manager.
  EXPECT_EQ(Inserted({File(60, "new"), File(61, "other", false, -1), File(64, std::string(1, '\0')), File(63, "x"),
                      File(62, "nowhere", false, 9)}),
            Lines({"link 60,63 of 9", "add file 60 'new' of 5", "add file 63 'x' of 5",
                   "!The evidence not exists, evidence-id[9].", "0-9999", "refused 61  77-77", "refused 64  0-2",
                   "refused 62  0-9804"}));
  tables_.failing = {"key evidence_file"};
  EXPECT_EQ(Inserted({File(-1, "x"), File(70, "y")}),
            Lines({"link 70 of 5", "add file 70 'y' of 5", "0-9999", "refused -1 x 0-15"}));
  // The file manager's refusals end the batch before the store, and removals with it.
  reply_ = kOneRefused;
  EXPECT_EQ(Inserted({File(71, "z"), File(51, "a", true)}),
            Lines({"link 71 of 5", "!Insert evidences files failed.", "77-77", "refused 60 n 31-4"}));
}

TEST_F(EvidenceFilesTest, FailuresOfTheStore) {
  const auto take_off = [this](const std::list<EvidenceFilePtr>& files) {
    std::list<ErrorPtr> failures;
    return Did(manager_.UpdateEvidenceFiles(failures, files, 5));
  };
  EXPECT_EQ(take_off({File(51, "a"), nullptr, File(52, "b")}),
            Lines({"unlink 51,52 of 5", "delete file 51 of 5", "delete file 52 of 5", "ok"}));
  EXPECT_EQ(take_off({}), Lines({"!Input param error.", "0-2"}));
  SetTables();
  tables_.failing = {"count files"};
  EXPECT_EQ(Inserted({File(1, "x")}), Lines({"!Get Evidence file count failed, evidence-id[5].", "0-15"}));
  tables_.failing = {"add file"};
  EXPECT_EQ(Inserted({File(60, "y")}),
            Lines({"link 60 of 5", "add file 60 'y' of 5", "!Insert evidences files failed.", "0-15"}));
  EXPECT_EQ(Inserted({File(60, "y"), File(51, "a", true)}),
            Lines({"link 60 of 5", "add file 60 'y' of 5", "unlink 51 of 5", "delete file 51",
                   "!Insert evidences files failed.", "ok"}))
      << "the last writing decides";
  tables_.failing = {"delete file"};
  EXPECT_EQ(take_off({File(51, "a")}),
            Lines({"unlink 51 of 5", "delete file 51 of 5", "!Update evidences files failed.", "0-15"}));
  platform_.comm->answer = nullptr;
  EXPECT_EQ(take_off({File(51, "a")}), Lines({"!Delete evidences files failed.", "0-1"}));
  platform_.comm->serve_empty = true;
  EXPECT_EQ(take_off({File(51, "a")}), Lines({"!Delete evidences files failed.", "0-1"}));
}

TEST_F(EvidenceFilesTest, RequestsAndRepliesOfTheFileManager) {
  const std::string head = R"(/API/FileManager/V1/LinkFile> {"Request":{"LinkType":0,"ID":)";
  const auto done = [](const std::string& data) {
    return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":)" + data + "}}";
  };
  const std::pair<std::string, Texts> cases[] = {
      {R"({"ResponseStatus":{"ErrorCode":0}})", {"ok"}},
      {done(R"({"LinkFileErrorList":[{},{}],"LinkFileError":[)"
            R"({"ID":1,"Name":"a.mp4","Error":{"ErrorModule":3,"ErrorCode":4}},{"ID":2,"Error":{"ErrorCode":9}}]})"),
       {"77-77", "refused 1 a.mp4 3-4", "refused 2  -1-9"}},
      // The count is that of one list, the entries are those of the other.
      {done(R"({"LinkFileErrorList":[{"ID":1,"Name":"n"},{}]})"), {"77-77", "refused -1  -1--1", "refused -1  -1--1"}},
      {done(R"({"LinkFileError":[{"ID":1,"Name":"n"}]})"), {"ok"}},
      {"not JSON", {"!Data Parse failed, data invalid!", "0-2"}},
      {R"({"ResponseStatus":{"ErrorModule":0}})", {"!API return failed: [0--1]!", "0--1"}},
      {R"({"ResponseStatus":{"ErrorModule":41,"ErrorCode":3,"Data":{"LinkFileErrorList":[{}]}}})",
       {"!API return failed: [41-3]!", "41-3"}}};
  for (const auto& [reply, expected] : cases) {
    reply_ = reply;
    std::list<ErrorPtr> failures;
    const bool linked = manager_.APILinkFile(failures, {1000000001, 2}, 5, CEvidenceManager::kLinkFiles);
    EXPECT_EQ(platform_.comm->requests.back(), head + R"(5,"FileIDs":"1000000001,2","OperationType":1}})");
    platform_.calls.clear();
    EXPECT_EQ(Did(linked, failures), Lines(expected)) << reply;
  }
  std::list<ErrorPtr> failures;
  (void)manager_.APILinkFile(failures, {}, -1, CEvidenceManager::kUnlinkFiles);
  EXPECT_EQ(platform_.comm->requests.back(), head + R"(-1,"FileIDs":"","OperationType":0}})");
}

}  // namespace
