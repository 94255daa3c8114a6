// Many clients at once, also while the database goes away and comes back. EVIDENCE_LOAD_SECONDS sets how long.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
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

constexpr int kClients = 64;
const std::string kV1 = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kV2 = "/TRELL/Halyard/Evidence/V2/Evidence";

std::chrono::seconds LoadTime() {
  const char* const text = std::getenv("EVIDENCE_LOAD_SECONDS");
  return std::chrono::seconds(text == nullptr ? 3 : std::atoi(text));
}

/// What all clients were told.
struct Told {
  std::mutex mutex;
  // Under mutex:
  std::vector<std::string> created;      ///< guids
  std::map<std::string, int> successes;  ///< by operation
  std::vector<std::string> wrong;        ///< answers that are none
  std::vector<std::chrono::microseconds> times;
};

/// One client: creates evidences and works on each on a connection of its own.
class Client {
 public:
  Client(int number, int port, std::string session, bool strict, Told& told)
      : name_("client" + std::to_string(number)),
        port_(port),
        session_(std::move(session)),
        strict_(strict),
        told_(told) {}

  void WorkWhile(const std::function<bool()>& more) {
    for (int n = 0; more(); ++n) {
      const std::string guid = name_ + "-" + std::to_string(n) + "x";
      const auto created =
          Do("create", "POST", kV1, R"({"Evidence":{"Status":1,"Name":"n","Guid":")" + guid + "\"}}", guid);
      std::smatch id;
      if (!std::regex_search(created, id, std::regex(R"("Evidence":\{"ID":(\d+))"))) continue;
      {
        const std::lock_guard lock(told_.mutex);
        told_.created.push_back(guid);
      }
      const std::string own = kV1 + "/" + id[1].str();
      Do("read", "GET", own, "{}", guid);
      Do("search", "GET", kV1,
         R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":2,"Filter":{"KeywordType":-1,"Keyword":")" + guid + "\"}}}",
         guid);
      Do("list", "GET", kV1, R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":20,"Filter":{"Status":-1}}})", "client");
      Do("status", "PUT", kV1, R"({"EvidenceList":{"Evidence":[{"ID":)" + id[1].str() + R"(,"Status":0}]}})", guid);
      Do("link", "POST", kV2 + "/Files/BatchLinks",
         R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":)" + id[1].str() +
             R"(}]},"FileList":{"File":[{"FileID":1,"FileName":"a"},{"FileID":2,"FileName":"b"}]}}})",
         "");
      Do("history", "GET", kV2 + "/" + id[1].str() + "/OperationLog", "", "a|b");
    }
  }

 private:
  /// The answer, which must report success and hold `part`; any pair will do for a client that is not strict.
  std::string Do(const std::string& operation, const std::string& method, const std::string& path,
                 const std::string& body, const std::string& part) {
    const auto begin = Clock::now();
    connection_.Send(RequestText(method, path, session_, body));
    const auto reply = connection_.ReadReply();
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    const bool success =
        reply.status == 200 && reply.body.find(R"("ErrorModule":0,"ErrorCode":0)") != std::string::npos;
    const bool complete = reply.body.find(part) != std::string::npos;
    // A create whose history cannot be written has no body.
    const bool answered = success || (reply.status == 200 && reply.body.find("\"ErrorCode\":") != std::string::npos) ||
                          (reply.status == 204 && operation == "create");
    const std::lock_guard lock(told_.mutex);
    if (strict_ ? !success || !complete : !answered) {
      told_.wrong.push_back(operation + " " + std::to_string(reply.status) + " " + reply.body);
    }
    if (success) ++told_.successes[operation];
    told_.times.push_back(time);
    return success ? reply.body : std::string();
  }

  const std::string name_;
  const int port_;
  const std::string session_;
  const bool strict_;
  Told& told_;
  HttpConnection connection_{port_};
};

class EvidenceLoadTest : public testing::Test {
 protected:
  void SetUp() override {
    EnsureTester();
    for (const char* const table : {"evidence.evidence", "evidence.evidence_file", "evidence.operation_log",
                                    "filemanager.link", "platform.operation_log"})
      Postgres().Query(std::string("DELETE FROM ") + table);
    host_.WaitUntilListening();
    session_ = Login(host_.port(), "tester", kTesterPassword);
  }

  /// All clients work for the whole time, and longer when `meanwhile` takes longer.
  template <class Meanwhile>
  void Run(bool strict, const Meanwhile& meanwhile) {
    const auto begin = Clock::now();
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (int number = 0; number < kClients; ++number)
      threads.emplace_back([&, number] {
        Client(number, host_.port(), session_, strict, told_).WorkWhile([&] {
          return Clock::now() < begin + LoadTime() || !done;
        });
      });
    meanwhile();
    done = true;
    for (auto& thread : threads)
      thread.join();
    std::ranges::sort(told_.times);
    const auto count = told_.times.size();
    ASSERT_GT(count, 0U);
    std::printf("%.0f requests a second, p99 %.0f ms\n",
                static_cast<double>(count) / std::chrono::duration<double>(Clock::now() - begin).count(),
                std::chrono::duration<double, std::milli>(told_.times[count * 99 / 100]).count());
    EXPECT_TRUE(told_.wrong.empty()) << told_.wrong.size() << ": " << told_.wrong.front();
  }

  HostProcess host_{HostProcess::SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so"}}};
  std::string session_;
  Told told_;
};

TEST_F(EvidenceLoadTest, EveryAnswerIsRightAndNoRowIsLost) {
  Run(true, [] {});
  const auto count = [](const std::string& what) {
    return std::stoi(Postgres().Value("SELECT count(*) FROM " + what));
  };
  auto& successes = told_.successes;
  EXPECT_EQ(count("evidence.evidence"), successes["create"]);
  EXPECT_EQ(count("evidence.evidence WHERE evidence_status = 0"), successes["status"]);
  EXPECT_EQ(count("evidence.evidence_file WHERE deleted = 0"), 2 * successes["link"]);
  EXPECT_EQ(count("filemanager.link WHERE linked"), 2 * successes["link"]);
  EXPECT_EQ(count("evidence.operation_log"), successes["create"] + successes["status"] + successes["link"]);
  EXPECT_EQ(count("platform.operation_log WHERE log_type = 306017"), successes["create"]);
  EXPECT_EQ(count("platform.operation_log WHERE log_type = 306018"), successes["status"] + successes["link"]);
  EXPECT_EQ(count("platform.operation_log WHERE log_type = 306020"), successes["search"] + successes["list"]);
  EXPECT_EQ(count("platform.operation_log WHERE log_type = 306021 AND object_name = 'a;b'"), successes["link"]);
  EXPECT_EQ(host_.Stop().exit_code, 0);
}

TEST_F(EvidenceLoadTest, WhatWasAnsweredWithSuccessOutlivesTheDatabasesAbsence) {
  Run(false, [this] {
    const auto created = [this] {
      const std::lock_guard lock(told_.mutex);
      return told_.created.size();
    };
    EXPECT_TRUE(Eventually([&] { return created() > kClients; }));
    Postgres().Stop();
    Postgres().Start();
    const auto before = created();
    EXPECT_TRUE(Eventually([&] { return created() > before + kClients; })) << "works again by itself";
  });
  std::vector<std::string> rows;
  for (const auto& row : Postgres().Query("SELECT guid FROM evidence.evidence"))
    rows.push_back(row[0]);
  std::ranges::sort(rows);
  std::ranges::sort(told_.created);
  EXPECT_TRUE(std::ranges::includes(rows, told_.created));
  EXPECT_EQ(host_.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
