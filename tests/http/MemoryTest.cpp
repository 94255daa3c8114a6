// What requests may hold of the memory, and the host where memory ends.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <set>
#include <stdexcept>

#include "MemoryLimit.h"
#include "http/Admission.h"
#include "http/HostProcess.h"
#include "http/WorkerPool.h"
#include "platform/Memory.h"
#include "support/AddressSpace.h"

namespace evidence_test {
namespace {

using testing::HasSubstr;

constexpr std::size_t kMebibyte = 1024UL * 1024;

TEST(MemoryLimitTest, IsTheLeastOfTheMachineAndEachControlGroup) {
  const struct {
    std::vector<std::pair<std::string, std::string>> files;
    std::size_t bytes;
  } kCases[] = {
      {{}, 0},
      {{{"proc/meminfo", "MemTotal: 1000 kB\n"}}, 1'024'000},
      {{{"proc/self/cgroup", "0::/a/b\n"}, {"sys/fs/cgroup/a/b/memory.max", "max\n"}}, 1'024'000},
      {{{"sys/fs/cgroup/a/memory.max", "700000\n"}}, 700'000},
      {{{"sys/fs/cgroup/memory.max", "600000\n"}}, 600'000},
      {{{"proc/self/cgroup", "3:cpu:/x\n4:hugetlb,memory:/out/side\n0::/\n"}}, 600'000},
      {{{"sys/fs/cgroup/memory/memory.limit_in_bytes", "500000\n"}}, 500'000},
      {{{"sys/fs/cgroup/memory/out/side/memory.limit_in_bytes", "9223372036854771712\n"}}, 500'000},
      {{{"sys/fs/cgroup/memory/out/memory.limit_in_bytes", "400000\n"}}, 400'000},
  };
  const ScratchFolder root;
  for (const auto& [files, bytes] : kCases) {
    for (const auto& [name, text] : files) {
      std::filesystem::create_directories(std::filesystem::path(root.path() + "/" + name).parent_path());
      root.Write(name, text);
    }
    EXPECT_EQ(host::AvailableMemory(root.path()), bytes);
  }
  EXPECT_EQ(host::MemoryForRequests(3, 100), 3 * kMebibyte);
  EXPECT_EQ(host::MemoryForRequests(0, 0), 512 * kMebibyte);
  EXPECT_EQ(host::MemoryForRequests(0, 400 * kMebibyte), 200 * kMebibyte);
  EXPECT_EQ(host::MemoryForRequests(0, 4096 * kMebibyte), 512 * kMebibyte);
}

/// The budget of this process with room for 64 MiB: one address has 14 MiB of it for what is large.
class AdmissionTest : public testing::Test {
 protected:
  AdmissionTest() { platform::MemoryBudget::Process().Limit(64 * kMebibyte); }
  ~AdmissionTest() override { platform::MemoryBudget::Process().Limit(0); }

  struct Request {
    explicit Request(const std::string& address) : memory(address) {}
    platform::MemoryShare memory;
    std::atomic<int> taken = -1;
  };
  static host::Admission::Verdict Ask(host::Admission& room, Request& request, std::size_t mebibytes) {
    return room.Take(request.memory, mebibytes * kMebibyte, [&request](bool taken) { request.taken = taken ? 1 : 0; });
  }
};

using enum host::Admission::Verdict;

TEST_F(AdmissionTest, ServesInOrderAndLetsNoAddressHoldUpTheOthers) {
  host::Admission room(std::chrono::minutes(1));
  Request a1("a");
  Request a2("a");
  Request b("b");
  Request c("c");
  Request d("d");
  Request e("e");
  Request f("f");
  Request g("g");
  Request small("a");
  EXPECT_EQ(Ask(room, a1, 15), kNever);
  EXPECT_EQ(Ask(room, a1, 14), kTaken);
  EXPECT_EQ(Ask(room, a2, 5), kWaits);
  EXPECT_EQ(Ask(room, small, 1), kTaken);
  EXPECT_EQ(Ask(room, b, 14), kTaken) << "only the first address is full";
  EXPECT_EQ(Ask(room, c, 14), kTaken);
  EXPECT_EQ(Ask(room, d, 12), kTaken);
  EXPECT_EQ(Ask(room, e, 10), kWaits);
  EXPECT_EQ(Ask(room, f, 2), kWaits) << "there is not even that";
  d.memory.ShrinkTo(9 * kMebibyte);
  EXPECT_EQ(e.taken, -1);
  EXPECT_EQ(f.taken, -1) << "the one before it still waits";
  EXPECT_EQ(Ask(room, g, 2), kWaits) << "there is room, for which others wait";
  c.memory.ShrinkTo(0);
  EXPECT_EQ(e.taken, 1);
  EXPECT_EQ(f.taken, 1);
  EXPECT_EQ(a2.taken, -1);
  a1.memory.ShrinkTo(0);
  EXPECT_EQ(a2.taken, 1);
}

TEST_F(AdmissionTest, WhoWaitsTooLongGetsNothing) {
  host::Admission room(std::chrono::milliseconds(1));
  Request first("a");
  Request second("a");
  EXPECT_EQ(Ask(room, first, 14), kTaken);
  EXPECT_EQ(Ask(room, second, 5), kWaits);
  EXPECT_TRUE(Eventually([&] { return second.taken == 0; }));
  EXPECT_EQ(second.memory.held(), 0);
}

TEST_F(AdmissionTest, TheLargestBodyIsTheLargestThatEverFits) {
  for (const std::size_t mebibytes : {1, 64, 256, 1024}) {
    auto& budget = platform::MemoryBudget::Process();
    budget.Limit(mebibytes * kMebibyte);
    for (const auto kind : {platform::Call::Kind::kReads, platform::Call::Kind::kWrites}) {
      const auto body = host::LargestBody(kind);
      const auto most = budget.Most(platform::MemoryBudget::Size::kLarge);
      EXPECT_LE(host::MemoryFor(kind, body), most);
      EXPECT_GT(host::MemoryFor(kind, 5 * body + 1024), most);
    }
  }
}

TEST(WorkerPoolDeathTest, SaysWhenAThreadCannotBeMade) {
  if (!kAddressSpaceCanBeLimited) GTEST_SKIP() << "a sanitizer needs the address space";
  const auto make = [] {
    LeaveAddressSpace(64 * kMebibyte);
    try {
      const host::WorkerPool pool(1000, 1);
    } catch (const std::runtime_error& fault) {
      std::fputs(fault.what(), stderr);
      std::_Exit(7);
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(make(), testing::ExitedWithCode(7), "only [0-9]+ of 1000 worker threads can be made");
}

class HostMemoryTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { EnsureTester(); }

  /// `limits` are lines of a shell script before the host.
  void Start(SettingsMap settings, const std::string& limits = {}) {
    settings.try_emplace("plugins", "test_show.s.so");
    std::string program;
    if (!limits.empty()) {
      program = folder_.Write("host", "#!/bin/sh\n" + limits + "\nexec " EVIDENCE_HOST " \"$@\"\n");
      chmod(program.c_str(), 0755);
    }
    host_ = std::make_unique<HostProcess>(std::move(settings), std::vector<std::string>{}, "", program);
    session_ = Login(host_->WaitUntilListening()).id;
  }
  std::string Answer(const std::string& method, const std::string& path, const std::string& body) const {
    const auto reply = Ask(host_->port(), method, path, session_, body);
    return std::to_string(reply.status) + " " + reply.body;
  }
  /// A connection that has sent a head, and nothing of its body of `size`.
  HttpConnection Stalled(std::size_t size) const {
    HttpConnection connection(host_->port());
    connection.Send(RequestHead("PUT", "/Echo", session_) + "Content-Length: " + std::to_string(size) + "\r\n\r\n");
    return connection;
  }

  const ScratchFolder folder_;
  std::unique_ptr<HostProcess> host_;
  std::string session_;
};

/// What fits into the 1.75 MiB of one address once, and not twice.
constexpr std::size_t kOneAtATime = 20'000;

TEST_F(HostMemoryTest, AStalledBodyGivesItsRoomToTheNext) {
  Start({{"memory_mb", "8"}, {"read_timeout_s", "1"}});
  EXPECT_EQ(Answer("PUT", "/Echo", std::string(100'000, 'x')),
            R"(413 {"Error":"body too large for the memory of this server"})");
  const auto stalled = Stalled(kOneAtATime);
  const std::string body(kOneAtATime, 'x');
  EXPECT_EQ(Answer("PUT", "/Echo", body), "200 1 [" + body + "]");
  EXPECT_EQ(stalled.ReadReply().status, 0);
  // One of unknown size takes all that one may have, and gives back what it did not need.
  const HttpConnection chunked(host_->port());
  const HttpConnection too_large(host_->port());
  const auto chunks = RequestHead("PUT", "/Echo", session_) + "Transfer-Encoding: chunked\r\n\r\n";
  const Session gate(Postgres().OwnerConnection());
  gate.Query("SELECT pg_advisory_lock(1)");
  chunked.Send(RequestHead("POST", "/Sql", session_) + "Transfer-Encoding: chunked\r\n\r\n20\r\n" +
               "SELECT pg_advisory_xact_lock(01)\r\n0\r\n\r\n");
  ASSERT_TRUE(Eventually([&] { return gate.Query("SELECT FROM pg_locks WHERE NOT granted").size() == 1; }));
  EXPECT_EQ(Answer("PUT", "/Echo", body), "200 1 [" + body + "]");
  gate.Query("SELECT pg_advisory_unlock(1)");
  EXPECT_EQ(chunked.ReadReply().body, "done");
  too_large.Send(chunks + "c350\r\n" + std::string(50'000, 'x') + "\r\n0\r\n\r\n");
  EXPECT_EQ(too_large.ReadReply().status, 413);
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

TEST_F(HostMemoryTest, ARequestWithoutABodyWaitsTooWhenNothingIsLeft) {
  Start({{"memory_mb", "1"}, {"read_timeout_s", "1"}});
  // Each takes a little more than 32 KiB of the 256 KiB of this address.
  std::vector<HttpConnection> stalled;
  for (int i = 0; i < 7; ++i)
    stalled.push_back(Stalled(1));
  EXPECT_EQ(Answer("GET", "/Echo", ""), "200 4 []");
  EXPECT_EQ(stalled.front().ReadReply().status, 0) << "the others had to end first";
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

TEST_F(HostMemoryTest, WhoFindsNoRoomIsToldToComeBackAndSmallRequestsPass) {
  Start({{"memory_mb", "8"}, {"drain_timeout_s", "1"}});
  const auto stalled = Stalled(kOneAtATime);
  const HttpConnection waiting(host_->port());
  waiting.Send(RequestText("PUT", "/Echo", session_, std::string(kOneAtATime, 'x')) +
               RequestText("GET", "/Echo", session_));
  EXPECT_EQ(Answer("GET", "/Echo", "a"), "200 4 [a]");
  auto reply = waiting.ReadReply();
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.headers["Retry-After"], "1");
  EXPECT_EQ(reply.body, R"({"Error":"no memory for this request at present"})");
  EXPECT_EQ(waiting.ReadReply().body, "4 []") << "the refused body is no request";
  const auto last = Stalled(kOneAtATime);
  EXPECT_EQ(host_->Stop().exit_code, 0) << "nothing is lost with one that was stalled and one that waited for room";
}

TEST_F(HostMemoryTest, AClientThatDoesNotReadLosesItsAnswerAndItsRoom) {
  Start({{"memory_mb", "256"}, {"idle_timeout_s", "1"}});
  const std::string body(8 * kMebibyte, 'x');
  std::vector<HttpConnection> deaf;
  // Each unread answer holds its 8 MiB of the 56 MiB that one address may have.
  for (int i = 0; i < 4; ++i) {
    deaf.emplace_back(host_->port());
    deaf.back().Send(RequestText("GET", "/Echo", session_, body));
  }
  EXPECT_EQ(Answer("GET", "/Echo", body), "200 4 [" + body + "]") << "it had to wait for the others' end";
  EXPECT_EQ(deaf.front().ReadReply().status, 0);
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

constexpr char kPlugins[] = "file_manager.s.so, casefile.s.so";
constexpr char kList[] = "/TRELL/Halyard/Evidence/V1/Evidence";

class LargeRecordsTest : public HostMemoryTest {
 protected:
  LargeRecordsTest() {
    ResetTables();
    Postgres().Query(
        "INSERT INTO evidence.evidence (id, guid, name, evidence_status, cad_id) SELECT n, 'g' || n, 'n', 1, "
        "CASE WHEN n > 16 THEN '' ELSE repeat('x', 8388608) END FROM generate_series(1, 64) AS n");
  }
  ~LargeRecordsTest() override { ResetTables(); }

  static std::string Page(int size, int number = 1) {
    return R"({"EvidenceQueryReq":{"PageIndex":)" + std::to_string(number) + R"(,"PageSize":)" + std::to_string(size) +
           R"(,"SortType":2,"Filter":{"Status":-1}}})";
  }

  /// Eight pages of large records and eight creations with large bodies at once; the beginnings of their answers, each
  /// of which has a pair or a reason.
  std::set<std::string> Flood() const {
    const std::string create = R"({"Evidence":{"Guid":"new","Name":"n","Status":1,"CADID":")" +
                               std::string(8 * kMebibyte - 100, 'y') + R"("}})";
    std::mutex mutex;
    std::set<std::string> answers;
    std::atomic<int> number = 0;
    OnManyThreads([&] {
      const bool reads = ++number % 2 == 0;
      const auto reply = reads ? Ask(host_->port(), "GET", kList, session_, Page(64))
                               : Ask(host_->port(), "POST", kList, session_, create);
      const std::lock_guard lock(mutex);
      answers.insert(std::to_string(reply.status) + " " + reply.body.substr(0, 52));
    });
    for (const auto& answer : answers)
      EXPECT_THAT(answer, testing::AnyOf(HasSubstr("ErrorCode"), HasSubstr("Error\":"))) << "an answer, not an end";
    return answers;
  }
};

TEST_F(LargeRecordsTest, AReadThatIsTooLargeIsEndedWithAPair) {
  Start({{"plugins", kPlugins}, {"memory_mb", "256"}});
  EXPECT_EQ(Answer("GET", kList, Page(64)), R"(200 {"ResponseStatus":{"ErrorModule":0,"ErrorCode":2}})");
  EXPECT_TRUE(Eventually([this] { return host_->Log().find("A read was ended: it holds") != std::string::npos; }));
  const auto one = Answer("GET", std::string(kList) + "/1", "{}");
  EXPECT_GT(one.size(), 8 * kMebibyte) << "its connection was made again; what fits is answered";
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

TEST_F(LargeRecordsTest, WhereMemoryEndsTheHostGoesOn) {
  if (!kAddressSpaceCanBeLimited) GTEST_SKIP() << "a sanitizer needs the address space";
  Start({{"plugins", kPlugins}, {"memory_mb", "100000"}}, "export MALLOC_ARENA_MAX=1\nulimit -s 512\nulimit -v 600000");
  EXPECT_THAT(Flood(), testing::Contains(HasSubstr(R"("ErrorCode":15)"))) << "no memory was missing";
  EXPECT_THAT(Answer("GET", kList, Page(2, 32)), HasSubstr(R"("ErrorCode":0)")) << "it goes on";
  EXPECT_EQ(host_->Stop().exit_code, 0);
}

/// A control group with 512 MiB, deleted at the end; its path is empty when the machine allows none.
class ControlGroup {
 public:
  ControlGroup() {
    for (const auto& [top, limit] :
         {std::pair("/sys/fs/cgroup/memory", "memory.limit_in_bytes"), std::pair("/sys/fs/cgroup", "memory.max")}) {
      const auto path = std::string(top) + "/evidence-test-" + std::to_string(getpid());
      if (mkdir(path.c_str(), 0755) != 0) continue;
      if (std::ofstream(path + "/" + limit) << 512 * kMebibyte << std::flush) path_ = path;
      if (!path_.empty()) return;
      rmdir(path.c_str());
    }
  }
  ~ControlGroup() {
    EXPECT_TRUE(path_.empty() || Eventually([this] { return rmdir(path_.c_str()) == 0; }));
  }
  ControlGroup(const ControlGroup&) = delete;
  ControlGroup& operator=(const ControlGroup&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

TEST_F(LargeRecordsTest, AControlGroupOf512MegabytesIsEnough) {
  if (!kAddressSpaceCanBeLimited) GTEST_SKIP() << "a sanitizer needs more memory";
  const ControlGroup group;
  if (group.path().empty()) GTEST_SKIP() << "this machine lets nobody make a control group with a memory limit";
  Start({{"plugins", kPlugins}}, "echo $$ >" + group.path() + "/cgroup.procs");
  for (int round = 0; round < 3; ++round)
    EXPECT_THAT(Flood(), testing::Not(testing::IsEmpty()));
  EXPECT_THAT(Answer("GET", kList, Page(2, 32)), HasSubstr(R"("ErrorCode":0)")) << "it goes on";
  EXPECT_EQ(host_->Stop().exit_code, 0);
  host_.reset();
}

}  // namespace
}  // namespace evidence_test
