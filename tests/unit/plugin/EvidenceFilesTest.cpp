// The files of an evidence: batches of additions and removals.

#include <future>

#include "unit/plugin/EvidencesInMemory.h"

namespace {

using namespace Evidence;
using evidence_test::ErrorTexts;
using evidence_test::FileRow;
using evidence_test::Texts;

class EvidenceFilesTest : public evidence_test::EvidenceManagerFixture {
 protected:
  void SetUp() override {
    store_->rows[5].id = 5;
    store_->files[5] = {FileRow(51, "a", 5), FileRow(52, "b", 5)};
    FileManagerReplies(kDone);
    Start();
  }
  static EvidenceFilePtr File(std::int32_t id, const std::string& name, bool take_off = false,
                              std::int32_t evidence_id = 5) {
    auto file = std::make_shared<_tag_EvidenceFile_>(FileRow(id, name, evidence_id));
    file->delete_flag = take_off ? 1 : 0;
    return file;
  }
  bool Insert(const std::list<EvidenceFilePtr>& files) {
    Forget();
    failures_.clear();
    return manager_.InsertEvidenceFiles(failures_, files);
  }
  /// The writes of the last call.
  Texts Writes() {
    auto calls = store_->TakeCalls();
    std::erase_if(calls, [](const auto& call) {
      return call.starts_with("read") || call.starts_with("values") || call.starts_with("file");
    });
    return calls;
  }
  static std::string Request(const std::string& ids, int evidence, bool link) {
    return R"({"Request":{"LinkType":0,"ID":)" + std::to_string(evidence) + R"(,"FileIDs":")" + ids +
           R"(","OperationType":)" + (link ? "1" : "0") + "}}";
  }

  std::list<ErrorPtr> failures_;
};

TEST_F(EvidenceFilesTest, ABatchIsSortedIntoAdditionsAndRemovals) {
  // New; taken off; taken off but not there, which adds; one of the name but another id, dropped; there already.
  EXPECT_TRUE(
      Insert({File(60, "new"), File(51, "a", true), File(61, "gone", true), File(62, "b", true), File(52, "b")}));
  EXPECT_EQ(Links(), (Texts{Request("60,61,52", 5, true), Request("51", 5, false)}));
  EXPECT_EQ(Writes(), (Texts{"insert files 60 61 52", "delete files 51"}));
  EXPECT_TRUE(Logged("evidences files repeated."));

  EXPECT_TRUE(Insert({File(51, "a", true), File(52, "b", true)}));
  EXPECT_EQ(Links(), (Texts{Request("51,52", 5, false)}));
  EXPECT_TRUE(Insert({File(62, "b", true)}));
  EXPECT_EQ(Links(), Texts{});

  EXPECT_TRUE(Insert({File(-1, "without a key"), File(63, "with one")}));
  EXPECT_EQ(Writes(), (Texts{"insert files 100 63"}));
}

TEST_F(EvidenceFilesTest, TheLimitCountsRemovalsToo) {
  store_->file_count = 120;
  std::list<EvidenceFilePtr> files;
  for (int n = 0; n < 8; ++n)
    files.push_back(File(100 + n, "f" + std::to_string(n), true));
  EXPECT_TRUE(Insert(files));
  files.push_back(File(108, "f8", true));
  EXPECT_FALSE(Insert(files));
  EXPECT_EQ(LastCode(), 9807);
  EXPECT_EQ(Links(), Texts{});
}

TEST_F(EvidenceFilesTest, RefusedFilesStandInTheListAndTheOthersGoOn) {
  EXPECT_FALSE(Insert({File(60, "new"), File(61, "other", false, -1), File(62, "nowhere", false, 9), File(63, "x")}));
  EXPECT_EQ(ErrorTexts(failures_), (Texts{"61  77-77", "62  0-9804"}));
  EXPECT_EQ(LastCode(), 9999);
  EXPECT_EQ(Writes(), (Texts{"insert files 60 63"}));

  // The file manager's refusals end the batch before the store, and removals with it.
  FileManagerReplies(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":{"x":1},)"
                     R"("LinkFileError":[{"ID":60,"Name":"n","Error":{"ErrorModule":31,"ErrorCode":4}}]}}})");
  EXPECT_FALSE(Insert({File(60, "new"), File(51, "a", true)}));
  EXPECT_EQ(ErrorTexts(failures_), (Texts{"60 n 31-4"}));
  EXPECT_EQ(Writes(), Texts{});
  EXPECT_TRUE(Logged("Insert evidences files failed."));
}

TEST_F(EvidenceFilesTest, FailuresOfTheStore) {
  EXPECT_FALSE(Insert({}));
  EXPECT_EQ(LastCode(), 2);
  EXPECT_FALSE(Insert({File(1, "x", false, 9)}));
  EXPECT_EQ(LastCode(), 9804);
  store_->failing = {"file count"};
  EXPECT_FALSE(Insert({File(1, "x")}));
  EXPECT_TRUE(Logged("Get Evidence file count failed, evidence-id[5]."));
  store_->failing = {"file key"};
  EXPECT_FALSE(Insert({File(-1, "x"), File(60, "y")}));
  EXPECT_EQ(LastCode(), 9999);
  EXPECT_EQ(Writes(), (Texts{"insert files 60"}));
  // The last writing decides.
  store_->failing = {"insert files"};
  EXPECT_FALSE(Insert({File(60, "y")}));
  EXPECT_EQ(LastCode(), 15);
  EXPECT_TRUE(Insert({File(60, "y"), File(51, "a", true)}));
  store_->failing = {"delete files"};
  EXPECT_FALSE(Insert({File(51, "a", true)}));
  EXPECT_TRUE(Logged("Update evidences files failed."));
}

TEST_F(EvidenceFilesTest, TakingFilesOff) {
  EXPECT_TRUE(manager_.UpdateEvidenceFiles(failures_, {File(51, "a"), nullptr, File(52, "b")}, 5));
  EXPECT_EQ(Links(), (Texts{Request("51,52", 5, false)}));
  EXPECT_EQ(Writes(), (Texts{"take off 51 52 of 5"}));
  EXPECT_FALSE(manager_.UpdateEvidenceFiles(failures_, {}, 5));
  EXPECT_EQ(LastCode(), 2);
  store_->failing = {"take off"};
  EXPECT_FALSE(manager_.UpdateEvidenceFiles(failures_, {File(51, "a")}, 5));
  EXPECT_EQ(LastCode(), 15);
  platform_.comm->answer = nullptr;
  EXPECT_FALSE(manager_.UpdateEvidenceFiles(failures_, {File(51, "a")}, 5));
  EXPECT_EQ(LastCode(), 1);
}

TEST_F(EvidenceFilesTest, ASecondWriterWaitsForTheFileManagerAndReadersDoNot) {
  std::promise<void> asked;
  std::promise<void> reply;
  auto go_on = reply.get_future().share();
  std::atomic<int> requests = 0;
  platform_.comm->answer = [&](const auto&, const auto&, auto& out) {
    if (requests++ == 0) {
      asked.set_value();
      go_on.wait();
    }
    out = std::make_shared<plugin_comm::CPluginCommData>(kDone, nullptr, 0);
  };
  auto first = std::async(std::launch::async, [this] {
    std::list<ErrorPtr> failures;
    return manager_.InsertEvidenceFiles(failures, {File(60, "x")});
  });
  asked.get_future().wait();
  auto second = std::async(std::launch::async, [this] {
    std::list<ErrorPtr> failures;
    return manager_.UpdateEvidenceFiles(failures, {File(51, "a")}, 5);
  });
  // Readers finish while both wait; the second has asked nothing.
  std::list<EvidenceFilePtr> files;
  EXPECT_TRUE(manager_.QueryEvidenceFiles(files, 5, "", ""));
  EXPECT_EQ(files.size(), 2u);
  std::map<std::int32_t, std::list<EvidenceFilePtr>> by_evidence;
  EXPECT_TRUE(manager_.QueryEvidenceFiles(by_evidence, {}));
  EXPECT_NE(second.wait_for(std::chrono::milliseconds(50)), std::future_status::ready);
  EXPECT_EQ(requests, 1);
  reply.set_value();
  EXPECT_TRUE(first.get());
  EXPECT_TRUE(second.get());
  EXPECT_EQ(requests, 2);
}

}  // namespace
