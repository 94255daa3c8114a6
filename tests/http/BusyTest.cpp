// What the host does while the file manager hangs: half of the workers stay free, and who comes too much is told so.

#include <atomic>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;

const std::string kEvidences = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kBatchLinks = "/TRELL/Halyard/Evidence/V2/Evidence/Files/BatchLinks";
const std::string kDone = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0)";

/// A host of four workers, two of which may be held up, and six evidences.
class BusyTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    ResetTables();
    host_.WaitUntilListening();
    session_ = Login(host_.port()).id;
    for (int n = 1; n <= kEvidenceCount; ++n) {
      const auto number = std::to_string(n);
      ASSERT_THAT(Call("POST", "", R"({"Evidence":{"Guid":"g)" + number + R"(","Status":0}})").body, HasSubstr(kDone));
    }
    Postgres().Query("DELETE FROM evidence.operation_log; DELETE FROM platform.operation_log");
    manager_.Query("BEGIN; LOCK TABLE filemanager.link");
  }

  HttpReply Call(const std::string& method, const std::string& path, const std::string& body) const {
    return Ask(host_.port(), method, path.starts_with(kBatchLinks) ? path : kEvidences + path, session_, body);
  }
  HttpReply Link(int evidence_id) const {
    return Call("POST", "/" + std::to_string(evidence_id) + "/Files",
                R"({"FileList":{"File":[{"ID":1,"FileName":"a"}]}})");
  }
  static std::string Waiting() {
    return Postgres().Value("SELECT count(*) FROM pg_locks WHERE NOT granted AND relation IS NOT NULL");
  }
  static std::string Count(const std::string& table) { return Postgres().Value("SELECT count(*) FROM " + table); }

  static constexpr int kEvidenceCount = 6;
  HostProcess host_{SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so"}, {"workers", "4"}}};
  std::string session_;
  const Session manager_{Postgres().OwnerConnection()};
};

TEST_F(BusyTest, HalfOfTheWorkersStayFree) {
  std::atomic<int> done = 0;
  std::atomic<int> refused = 0;
  std::vector<std::jthread> callers;
  for (int id = 1; id <= kEvidenceCount; ++id) {
    callers.emplace_back([this, id, &done, &refused] {
      auto reply = Link(id);
      if (reply.status == 503 && reply.headers["Retry-After"] == "1") ++refused;
      if (reply.status == 200 && reply.body.starts_with(kDone)) ++done;
    });
  }
  ASSERT_TRUE(Eventually([&] { return refused == kEvidenceCount - 2; }));
  EXPECT_EQ(Call("GET", "/1", "{}").status, 200);
  EXPECT_EQ(done, 0) << "the others were still held up";
  manager_.Query("ROLLBACK");
  callers.clear();
  EXPECT_EQ(done, 2);
  EXPECT_EQ(Count("evidence.evidence_file"), "2");
  EXPECT_EQ(Count("evidence.operation_log"), "2");
}

TEST_F(BusyTest, ARequestIsRefusedWholeOrItsPartsAreNamed) {
  std::atomic<int> refused = 0;
  std::vector<std::jthread> callers;
  // One of them is inside the file manager, one waits for its turn at the evidence, and one comes too much.
  for (int caller = 0; caller < 3; ++caller) {
    callers.emplace_back([this, &refused] {
      const auto status = Link(1).status;
      EXPECT_TRUE(status == 200 || status == 503) << status;
      if (status == 503) ++refused;
    });
  }
  ASSERT_TRUE(Eventually([&] { return refused == 1; }));
  const std::string files = R"("FileList":{"File":[{"FileID":1,"FileName":"a"}]})";
  const struct {
    std::string method;
    std::string path;
    std::string body;
  } kRefused[] = {
      {"PUT", "/1", R"({"Evidence":{"Guid":"g1","Name":"changed","Status":1}})"},
      {"PUT", "", R"({"EvidenceList":{"Evidence":[{"ID":1,"Status":1}]}})"},
      {"POST", kBatchLinks,
       R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":3},{"EvidenceID":1}]},)" + files + "}}"},
      {"PUT", kBatchLinks, R"({"Request":{)" + files + "}}"},
      {"DELETE", "/1", "{}"},
      {"DELETE", "", R"({"EvidenceDeleteReq":{"IDs":"3,1"}})"},
  };
  for (const auto& [method, path, body] : kRefused)
    EXPECT_EQ(Call(method, path, body).status, 503) << method << path;
  EXPECT_EQ(Count("evidence.operation_log"), "0");
  EXPECT_EQ(Count("evidence.evidence WHERE name <> '' OR evidence_status <> 0 OR deleted <> 0"), "0");
  const auto batch =
      Call("PUT", "", R"({"EvidenceList":{"Evidence":[{"ID":3,"Status":1},{"ID":1,"Status":1},{"ID":4,"Status":1}]}})");
  EXPECT_EQ(batch.status, 200) << "its first part was written";
  EXPECT_THAT(batch.body, testing::MatchesRegex(R"(.*"ErrorCode":99999.*"ID":3,.*"ErrorCode":0.*"ID":1,.*)"
                                                R"("ErrorCode":15.*"ID":4,.*"ErrorCode":0.*)"));
  EXPECT_EQ(Postgres().Value("SELECT string_agg(id::text, ',' ORDER BY id) FROM evidence.evidence WHERE "
                             "evidence_status = 1"),
            "3,4");
  manager_.Query("ROLLBACK");
}

}  // namespace
}  // namespace evidence_test
