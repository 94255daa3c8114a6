// A host under attack beside an ordinary client. 32 hostile connections of one address and one user send all that is
// expensive, malformed, huge, slow or broken off; the ordinary client gets a right answer to each request, and the host
// stops as always.
//
// EVIDENCE_ATTACK_SECONDS (3) and EVIDENCE_ATTACK_EVIDENCES (1000) make it longer and the tables larger; what the
// ordinary client saw is printed. bench/attack runs it at the limits.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "http/HostProcess.h"

namespace evidence_test {
namespace {

using Clock = std::chrono::steady_clock;

const std::string kEvidence = "/TRELL/Halyard/Evidence/V1/Evidence";
const std::string kAttacker = "127.0.0.2";

int Setting(const char* name, int otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : std::atoi(value);
}

std::string Repeated(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t n = 0; n < times; ++n)
    all += text;
  return all;
}

std::string Search(const std::string& keyword, int sort) {
  return R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":64,"SortType":)" + std::to_string(sort) +
         R"(,"Filter":{"Status":-1,"KeywordType":-1,"Keyword":")" + keyword + "\"}}}";
}

const std::vector<std::string> kKeywords = {
    Repeated("'", 1000), Repeated("_", 1000), Repeated(R"(\\)", 500), "e", Repeated("a%25_'", 100), "Case",
};

/// Bodies that cost most to read or to refuse; up to 8 MiB.
const std::vector<std::string> kHugeBodies = {
    R"({"EvidenceQueryReq":{"PageIndex":1,"PageSize":64,"Filter":{"EvidenceIDS":"1)" + Repeated(",12345678", 900'000) +
        "\"}}}",
    R"({"Evidence":{"Guid":"huge","Name":"n","Status":1,"Desc":")" + Repeated("d", 8'000'000) + "\"}}",
    R"({"EvidenceQueryReq":[)" + Repeated("[1],", 1'000'000) + "1]}",
    Repeated("{\"a\":", 1'000'000),
};

/// Whole requests that are refused for their form.
std::vector<std::string> OddRequests(const std::string& session) {
  const auto post = RequestHead("POST", kEvidence, session);
  return {
      post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
      post + "Content-Length: 99999999999999999999\r\n\r\n",
      post + "X: " + Repeated("y", 40'000) + "\r\n\r\n",
      RequestText("POST", kEvidence, session, "{\"Evidence\":{\"Guid\":\"\xFF\",\"Name\":\"\\u0000\"}}"),
      RequestText("POST", "/login", "", LoginText("nobody", "wrong")),
      Repeated("\r\n", 1000),
  };
}

class AttackTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    EnsureTester();
    EnsureUser("attacker", {"--super"});
    const auto count = std::to_string(kEvidences);
    // Without triggers, which would compare each guid with all others.
    Postgres().Query(
        "SET session_replication_role = replica; INSERT INTO evidence.evidence (id, guid, name, evidence_desc, "
        "evidence_status, label, local_create_time) SELECT n, 'G' || n, 'Case ' || n || ' südöstlich', repeat('seen "
        "in the evening at gate ' || n || '. ', 8), 0, 'a|b', now() FROM generate_series(1, " +
        count + ") AS n; SELECT setval('evidence.evidence_id_seq', " + count + "); ANALYZE evidence.evidence");
    host_ = std::make_unique<HostProcess>(SettingsMap{{"client_freeze", "off"}, {"read_timeout_s", "2"}});
    host_->WaitUntilListening();
    session_ = Login(host_->port()).id;
    hostile_session_ = Login(host_->port(), "attacker").id;
  }

  /// Runs `round` until the end; a connection that the host refuses or closes is what an attacker must expect.
  void Attack(const std::function<void(int round)>& round) {
    attackers_.emplace_back([this, round] {
      for (int n = 0; Clock::now() < end_; ++n) {
        try {
          round(n);
          ++hostile_requests_;
        } catch (const std::runtime_error&) {
          ++broken_;
        }
      }
    });
  }

  void Send(const std::string& text, bool waits = true) const {
    const HttpConnection connection(host_->port(), kAttacker);
    connection.Send(text);
    if (!waits) return connection.Reset();
    (void)connection.ReadReply();
  }
  template <class Choices>
  static const auto& Pick(const Choices& choices, int round) {
    return choices[static_cast<std::size_t>(round) % choices.size()];
  }
  /// Never whole: a byte now and then of the head, or of a large body.
  void SendSlowly(int round) const {
    const HttpConnection connection(host_->port(), kAttacker);
    if (round % 2 == 0) {
      connection.Send(RequestHead("POST", kEvidence, hostile_session_) + "Content-Length: 8000000\r\n\r\n");
    }
    for (int n = 0; n < 20 && Clock::now() < end_; ++n) {
      connection.Send("x");
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
  }

  /// One request of the ordinary client, whose answer must be right.
  void Ask(const HttpConnection& connection, const std::string& method, const std::string& path,
           const std::string& body, const std::string& part) {
    const auto begun = Clock::now();
    connection.Send(RequestText(method, path, session_, body));
    const auto reply = connection.ReadReply();
    times_.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begun).count());
    ASSERT_EQ(reply.body.find(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0)"), 0U)
        << method << " " << path << " " << reply.status << " " << reply.body.substr(0, 300);
    ASSERT_NE(reply.body.find(part), std::string::npos) << reply.body.substr(0, 300);
  }
  void AskOrdinarily() {
    const HttpConnection connection(host_->port());
    const auto path = kEvidence + "/" + std::to_string(1 + created_ % kEvidences);
    const auto guid = "ordinary " + std::to_string(++created_);
    Ask(connection, "GET", path, "{}", R"("Desc":"seen)");
    Ask(connection, "GET", kEvidence, Search("Case 77", 1), "Case 77");
    Ask(connection, "POST", kEvidence, R"({"Evidence":{"Status":0,"Name":"n","Guid":")" + guid + "\"}}", guid);
    Ask(connection, "PUT", kEvidence,
        R"({"EvidenceList":{"Evidence":[{"ID":1,"Status":)" + std::to_string(created_ % 2) + "}]}}", "");
    Ask(connection, "POST", path + "/Files",
        R"({"FileList":{"File":[{"ID":)" + std::to_string(created_) + R"(,"FileName":"a"}]}})", "");
  }

  void Print() {
    std::ranges::sort(times_);
    const auto at = [this](double part) {
      return times_[static_cast<std::size_t>(part * static_cast<double>(times_.size() - 1))];
    };
    std::printf(
        "%zu ordinary requests: median %.1f ms, 99 %% %.1f ms, longest %.1f ms; %d hostile requests answered or "
        "given up, %d broken off\n",
        times_.size(), at(0.5), at(0.99), at(1), hostile_requests_.load(), broken_.load());
  }

  static inline const int kEvidences = Setting("EVIDENCE_ATTACK_EVIDENCES", 1000);
  static inline std::unique_ptr<HostProcess> host_;
  static inline std::string session_;
  static inline std::string hostile_session_;
  const Clock::time_point end_ = Clock::now() + std::chrono::seconds(Setting("EVIDENCE_ATTACK_SECONDS", 3));
  std::vector<std::jthread> attackers_;
  std::atomic<int> hostile_requests_ = 0;
  std::atomic<int> broken_ = 0;
  std::vector<double> times_;
  int created_ = 0;
};

TEST_F(AttackTest, AnOrdinaryClientIsServedAndNothingIsLost) {
  const auto odd = OddRequests(hostile_session_);
  for (int n = 0; n < 32; ++n) {
    Attack([this, n, &odd](int round) {
      const int at = round + n;
      if (n < 12) {
        Send(RequestText("GET", kEvidence, hostile_session_, Search(Pick(kKeywords, at), at % 8)), at % 3 != 0);
      } else if (n < 16) {
        Send(RequestText(at % 2 == 0 ? "GET" : "POST", kEvidence, hostile_session_, Pick(kHugeBodies, at)));
      } else if (n < 24) {
        Send(Pick(odd, at));
      } else {
        SendSlowly(at);
      }
    });
  }
  while (Clock::now() < end_ && !HasFatalFailure())
    AskOrdinarily();
  attackers_.clear();
  Print();
  EXPECT_GT(hostile_requests_, 0);
  EXPECT_TRUE(Eventually([] { return evidence_test::Ask(host_->port(), "GET", "/ready", "").status == 200; }));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence WHERE guid LIKE 'ordinary %'"),
            std::to_string(created_));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM filemanager.link WHERE linked"), std::to_string(created_));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence WHERE guid = 'huge'"), "0");
  EXPECT_EQ(host_->Stop().exit_code, 0);
  host_.reset();
}

}  // namespace
}  // namespace evidence_test
