// The log of requests by itself, on the database.

#include "http/HostProcess.h"
#include "requests/RequestLog.h"
#include "support/LogRecorder.h"

namespace evidence_test {
namespace {

using host::NotedRequest;
using host::RequestLog;
using testing::AllOf;
using testing::HasSubstr;

class RequestLogTest : public testing::Test {
 protected:
  void SetUp() override { Postgres().Query("DELETE FROM platform.request_log"); }

  static NotedRequest Request(const std::string& path) {
    NotedRequest request;
    request.answered_at = std::chrono::system_clock::from_time_t(4'102'444'800);
    request.user_name = "clara";
    request.method = "PUT";
    request.path = path;
    return request;
  }
  /// Whether the log's statement waits for a lock.
  static bool Waits() {
    return Eventually([] {
      return Postgres().Value(
                 "SELECT count(*) FROM pg_stat_activity WHERE query LIKE 'COPY platform.request_log%' AND "
                 "wait_event_type = 'Lock'") == "1";
    });
  }
  static Rows Paths() { return Postgres().Query("SELECT path FROM platform.request_log ORDER BY id"); }

  const std::string connection_ = Postgres().AppConnection();
};

TEST_F(RequestLogTest, AnyTextIsStoredAsItIsOrRepaired) {
  const std::vector<std::pair<std::string, std::string>> texts = {
      {"", ""},
      {"\\.", "\\."},
      {"a\tb\nc\rd\\N\\x41", "a\tb\nc\rd\\N\\x41"},
      {"'); DROP TABLE platform.users; --{1,2}\"", "'); DROP TABLE platform.users; --{1,2}\""},
      {std::string("nul\0!", 5), "nul\xEF\xBF\xBD!"},
      {"\xff\xc3", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xf0\x9f\x94\x92", "\xf0\x9f\x94\x92"},
  };
  Rows expected;
  {
    RequestLog log(connection_, 100, RequestLog::What::kWrites);
    for (const auto& [text, stored] : texts) {
      auto request = Request(text);
      request.user_name = request.session = request.request_id = text;
      request.ids = {{1, -2, INT64_MAX}, {1}};
      request.pair = {{4294967295, -1}};
      log.Note(std::move(request));
      expected.push_back({stored, stored, stored, stored, "{1,-2,9223372036854775807}", "{1}", "4294967295", "-1"});
    }
  }
  EXPECT_EQ(Postgres().Query("SELECT path, user_name, session, request_id, ids, evidence_ids, error_module, error_code "
                             "FROM platform.request_log ORDER BY id"),
            expected);
}

TEST_F(RequestLogTest, RowsWhoseAnswerWasLostAreThereOnce) {
  const Session other(Postgres().OwnerConnection());
  RequestLog log(connection_, 100, RequestLog::What::kWrites);
  const auto holds_up = [&other] { other.Query("BEGIN; LOCK TABLE platform.request_log IN EXCLUSIVE MODE"); };
  // Undone by the server: written again.
  holds_up();
  log.Note(Request("/undone"));
  ASSERT_TRUE(Waits());
  other.Query("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE query LIKE 'COPY platform.request_log%'");
  other.Query("COMMIT");
  EXPECT_TRUE(Eventually([] { return Paths() == Rows{{"/undone"}}; }));
  // Committed by a connection of which nothing was heard any more, played by another one here.
  holds_up();
  log.Note(Request("/done"));
  ASSERT_TRUE(Waits());
  other.Query(
      "INSERT INTO platform.request_log SELECT answered_at, (SELECT last_value FROM platform.request_log_id_seq), "
      "user_id, user_name, session, client_address, request_id, method, '/done', ids, evidence_ids, status, "
      "error_module, error_code, bytes_in, bytes_out FROM platform.request_log; COMMIT");
  log.Note(Request("/next"));
  EXPECT_TRUE(Eventually([] { return Paths() == Rows{{"/undone"}, {"/done"}, {"/next"}}; }));
}

TEST_F(RequestLogTest, WhatHasBegunIsNotedAndNothingBeginsWithoutRoom) {
  RequestLog log("host=/nowhere", 16, RequestLog::What::kAll);
  EXPECT_TRUE(log.HasRoom());
  for (int i = 0; i < 15; ++i)
    log.Note(Request("/"));
  EXPECT_TRUE(log.WaitForRoom());
  log.Note(Request("/"));
  EXPECT_TRUE(Eventually([&log] { return !log.HasRoom(); }));
  EXPECT_FALSE(log.WaitForRoom());
}

TEST_F(RequestLogTest, AStopDoesNotWaitForADatabaseThatHangs) {
  const Session other(Postgres().OwnerConnection());
  const auto sink = std::make_shared<LogRecorder>();
  const platform::ScopedBackend<platform::ILogSink> installed(sink);
  const auto has = [&sink](const char* path) {
    return Eventually([&] { return sink->Has(6, std::string("\tPUT\t") + path + "\t"); });
  };
  RequestLog log(connection_, 100, RequestLog::What::kWrites);
  other.Query("BEGIN; LOCK TABLE platform.request_log IN EXCLUSIVE MODE");
  log.Note(Request("/held"));
  ASSERT_TRUE(Waits());
  log.Note(Request("/queued"));
  std::jthread closing([&log] { log.Close(); });
  EXPECT_TRUE(has("/held"));
  EXPECT_TRUE(has("/queued"));
  log.Note(Request("/late"));
  EXPECT_TRUE(has("/late"));
  other.Query("COMMIT");
  closing.join();
  EXPECT_EQ(Paths(), (Rows{{"/held"}})) << "it was under way";
}

TEST_F(RequestLogTest, PruningDropsWholeMonths) {
  const auto prune = [](const std::string& month) {
    return RunHost({"requests", "prune", "--before", month, "--database", Postgres().OwnerConnection()});
  };
  Postgres().Query(R"(
    CREATE TABLE platform.request_log_2020_01 PARTITION OF platform.request_log
      FOR VALUES FROM ('2020-01-01 00:00+00') TO ('2020-02-01 00:00+00');
    INSERT INTO platform.request_log
      SELECT time::timestamptz, 1, 1, '', '', '', '', 'PUT', time, '{}', '{}', 200, NULL, NULL, 0, 0
      FROM unnest(ARRAY['2020-01-01 00:00+00', '2020-01-31 23:59:59.999+00', '2020-02-29 23:59:59.999+00',
                        '2020-03-01 00:00+00', now()::text]) AS time)");
  const auto left = [] { return Postgres().Value("SELECT count(*) FROM platform.request_log"); };
  for (const char* const wrong : {"2020-13", "2020-3", "2020-03-01", "all", "'", "9999-01"}) {
    EXPECT_EQ(prune(wrong).exit_code, 1) << wrong;
    EXPECT_EQ(left(), "5") << wrong;
  }
  const auto pruned = prune("2020-03");
  EXPECT_EQ(pruned.out, "request_log_2020_01\t2 requests dropped\nrequest_log_rest\t1 requests dropped\n")
      << pruned.err;
  EXPECT_EQ(Postgres().Query("SELECT path FROM platform.request_log ORDER BY 1 LIMIT 1"),
            (Rows{{"2020-03-01 00:00+00"}}));
  EXPECT_EQ(left(), "2");
  EXPECT_EQ(Postgres().Value("SELECT detail FROM platform.auth_event WHERE kind = 'requests_pruned'"),
            "the log of requests before 2020-03 was dropped");
  EXPECT_EQ(prune("2020-03").out, "") << "there is no more";
}

}  // namespace
}  // namespace evidence_test
