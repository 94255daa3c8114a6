// Histories as clients write and read them, and the lines of the platform's log.

#include "unit/plugin/HandlerTest.h"

namespace {

using namespace handler_test;
using Texts = std::vector<std::string>;

const std::string kWrite = "POST /Evidence/OperationLog";
const std::string kNobody = "'' at '' on ";

std::string Entries(const std::string& entries) { return R"({"OperationLog":[)" + entries + "]}"; }
const std::string kHalf = R"({"Details":[)" + Numbers(5'000) + "]}";

using LogHandlerTest = ExchangeTest;
TEST_P(LogHandlerTest, AnswersAndCalls) { Play(GetParam()); }

const Exchange kHistories[] = {
    On("Written", kWrite, "@operation_log_post", "0",
       {History(5, 4, "2 'a' '-1:a' '-1:'", "'camera' at '10.0.0.9' on 1"),
        History(5, 4, "-1 'b' '' ''", "'camera' at '10.0.0.9' on 1"),
        History(-1, -1, "3 '' '-1:' '-1:'", kNobody + "1")}),
    On("NotWritten", kWrite, Entries("{}"), "15", {History(-1, -1, "-1 '' '' ''", kNobody + "1")},
       {.failing = "history"}),
    On("UnreadableEntries", kWrite, "{", "@operation_log_post", {}, {.says = "]Request param error. req-data:"}),
    On("NotRead", "GET /Evidence/7/OperationLog", "{", "15", {}, {.failing = "read history"}),
    On("TooManyRows", kWrite, Entries(kHalf + ",{}," + kHalf), "2"),
    // A name is written into each row.
    On("TooLongNames", kWrite,
       Entries(R"({"UserName":")" + std::string(40'000, 'x') + R"(","Details":[)" + Numbers(500) + "]}"), "2"),
};
INSTANTIATE_TEST_SUITE_P(Histories, LogHandlerTest, ::testing::ValuesIn(kHistories), NameOf);

using HistoryTest = HandlerTest;

TEST_F(HistoryTest, AsManyRowsAsAreAllowedAreWritten) {
  EXPECT_EQ(CodeOf(Send(kWrite, Entries(kHalf + "," + kHalf))), "0");
}

TEST_F(HistoryTest, ShowsEachWriteAsOneItem) {
  const auto add = [this](const std::string& type, scripted::Row row) {
    row.insert({{"operation_type", type}, {"occur_local_time", "2026-01-02 03:04:05"}, {"occur_time_offset", "60"}});
    row.insert({{"evidence_id", "7"}, {"user_name", "alice"}, {"user_ip", "10.0.0.7"}, {"client_type", "3"}});
    tables_.Add("operation_log", row);
  };
  add("2", {{"mod_type", "2"}, {"before_mod", "6:before"}, {"after_mod", "7:after"}});
  add("2", {{"mod_type", "3"}, {"file_name", "A1"}});
  add("1", {{"mod_type", "1"}, {"file_name", "not shown"}});
  add("3", {{"mod_type", "1"}, {"file_name", "not shown"}});
  add("4", {{"mod_type", "-1"}, {"file_name", "f1"}});
  add("4", {{"mod_type", "-1"}, {"file_name", "f2"}});
  add("5", {{"file_name", "f3"}, {"camera_name", "camera"}, {"dev_name", "device"}, {"dev_ip", "10.0.0.9"}});
  EXPECT_EQ(Send("GET /Evidence/7/OperationLog", "{"), service_test::Answer("operation_log_get"));
}

TEST_F(HistoryTest, NamesInThePlatformsLogAreJoinedUpToTheLimit) {
  const std::string half(128, 'h');
  const std::string most(127, 'h');
  for (const auto& [names, lines] : std::map<Texts, Texts>{{{half, most, "b"}, {half + ";" + most, "b"}},
                                                           {{half, half}, {half, half}},
                                                           {{half + half, "b"}, {half + half, "b"}},
                                                           {{"", ""}, {""}},
                                                           {{}, {}}}) {
    platform_.calls.clear();
    EXPECT_TRUE(service_.WriteLog("s", 306013, -1, names, {}, ""));
    Calls expected;
    for (const auto& line : lines)
      expected.push_back("log 306013 " + line + "/");
    EXPECT_EQ(platform_.calls, expected);
  }
  EXPECT_FALSE(service_.WriteLog("s", 1, 2, Texts{"refused"}, {}, ""));
  EXPECT_TRUE(service_.WriteLog("s", 1, 2, Texts{"refused" + half + half, "b"}, {}, "")) << "one of two was written";
  EXPECT_TRUE(service_.WriteLog("s", 1, 2, Texts{half + half, "refused"}, {}, "")) << "one of two was written";
  EXPECT_TRUE(platform_.sink->Has(5, "session-id[s], log-type[1], object-id[2], object-name[refused].["));
}

}  // namespace
