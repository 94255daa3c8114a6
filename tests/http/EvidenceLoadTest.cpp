// Many clients at once, also while the database goes away and comes back. EVIDENCE_LOAD_SECONDS sets how long.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <regex>
#include <thread>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kClients = 64;
const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";

class EvidenceLoadTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    for (const char* const table : {"evidence.evidence", "evidence.evidence_file", "evidence.operation_log",
                                    "filemanager.link", "platform.operation_log"})
      Postgres().Query(std::string("DELETE FROM ") + table);
    session_ = Login(host_.WaitUntilListening()).id;
  }

  /// All clients work for the whole time, and longer when `meanwhile` takes longer.
  template <class Meanwhile>
  void Run(const Meanwhile& meanwhile) {
    const char* const seconds = std::getenv("EVIDENCE_LOAD_SECONDS");
    const auto end = Clock::now() + std::chrono::seconds(seconds == nullptr ? 3 : std::atoi(seconds));
    std::atomic<bool> done = false;
    std::vector<std::jthread> threads;
    for (std::size_t number = 0; number < kClients; ++number) {
      threads.emplace_back([&, name = "client" + std::to_string(number)] {
        const HttpConnection connection(host_.port());
        for (int n = 0; Clock::now() < end || !done; ++n)
          LeadALife(connection, name + "-" + std::to_string(n) + "x");
      });
    }
    meanwhile();
    done = true;
    threads.clear();
    EXPECT_TRUE(wrong_.empty()) << wrong_.size() << ": " << wrong_.front();
  }

  /// Creates an evidence and does everything else with it.
  void LeadALife(const HttpConnection& connection, const std::string& guid) {
    const auto created =
        Do(connection, "create", "POST", kV1, R"({"Evidence":{"Status":1,"Name":"n","Guid":")" + guid + "\"}}", guid);
    std::smatch found;
    if (!std::regex_search(created, found, std::regex(R"("Evidence":\{"ID":(\d+))"))) return;
    const std::string id = found[1];
    Do(connection, "read", "GET", kV1 + "/" + id, "{}", guid);
    Do(connection, "search", "GET", kV1,
       R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":2,"Filter":{"KeywordType":-1,"Keyword":")" + guid + "\"}}}",
       guid);
    Do(connection, "list", "GET", kV1, R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":20,"Filter":{"Status":-1}}})",
       "client");
    Do(connection, "status", "PUT", kV1, R"({"EvidenceList":{"Evidence":[{"ID":)" + id + R"(,"Status":0}]}})", guid);
    Do(connection, "link", "POST", kV2 + "/Files/BatchLinks",
       R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":)" + id +
           R"(}]},"FileList":{"File":[{"FileID":1,"FileName":"a"},{"FileID":2,"FileName":"b"}]}}})",
       "");
    Do(connection, "history", "GET", kV2 + "/" + id + "/OperationLog", "", "a|b");
  }

  /// The answer, which must report success and hold `part`; with an unsteady database any pair will do.
  std::string Do(const HttpConnection& connection, const std::string& operation, const std::string& method,
                 const std::string& path, const std::string& body, const std::string& part) {
    connection.Send(RequestText(method, path, session_, body));
    const auto reply = connection.ReadReply();
    const bool success = reply.body.find(R"("ErrorModule":0,"ErrorCode":0)") != std::string::npos;
    // A create whose history cannot be written has no body.
    const bool told = reply.body.find("\"ErrorCode\":") != std::string::npos || reply.status == 204;
    const bool right = unsteady_ ? told : success && reply.body.find(part) != std::string::npos;
    const std::lock_guard lock(mutex_);
    if (!right) wrong_.push_back(operation + " " + std::to_string(reply.status) + " " + reply.body);
    if (!success) return {};
    ++successes_[operation];
    if (operation == "create") created_.push_back(part);
    return reply.body;
  }
  std::size_t CountCreated() {
    const std::lock_guard lock(mutex_);
    return created_.size();
  }

  HostProcess host_{SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so"}}};
  std::string session_;
  bool unsteady_ = false;
  std::mutex mutex_;
  // Under mutex_:
  std::vector<std::string> created_;      ///< guids
  std::map<std::string, int> successes_;  ///< by operation
  std::vector<std::string> wrong_;        ///< answers that are none
};

TEST_F(EvidenceLoadTest, EveryAnswerIsRightAndNoRowIsLost) {
  Run([] {});
  const int created = successes_["create"];
  const int changed = successes_["status"];
  const int linked = successes_["link"];
  const std::pair<std::string, int> counts[] = {
      {"evidence.evidence", created},
      {"evidence.evidence WHERE evidence_status = 0", changed},
      {"evidence.evidence_file WHERE deleted = 0", 2 * linked},
      {"filemanager.link WHERE linked", 2 * linked},
      {"evidence.operation_log", created + changed + linked},
      {"platform.operation_log WHERE log_type = 306017", created},
      {"platform.operation_log WHERE log_type = 306018", changed + linked},
      {"platform.operation_log WHERE log_type = 306020", successes_["search"] + successes_["list"]},
      {"platform.operation_log WHERE log_type = 306021 AND object_name = 'a;b'", linked},
  };
  for (const auto& [rows, count] : counts)
    EXPECT_EQ(Postgres().Value("SELECT count(*) FROM " + rows), std::to_string(count)) << rows;
  EXPECT_EQ(host_.Stop().exit_code, 0);
}

TEST_F(EvidenceLoadTest, WhatWasAnsweredWithSuccessOutlivesTheDatabasesAbsence) {
  unsteady_ = true;
  Run([this] {
    EXPECT_TRUE(Eventually([&] { return CountCreated() > kClients; }));
    Postgres().Stop();
    Postgres().Start();
    const auto before = CountCreated();
    EXPECT_TRUE(Eventually([&] { return CountCreated() > before + kClients; })) << "works again by itself";
  });
  for (const auto& row : Postgres().Query("SELECT guid FROM evidence.evidence"))
    std::erase(created_, row[0]);
  EXPECT_TRUE(created_.empty()) << created_.size() << " are lost";
  EXPECT_EQ(host_.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
