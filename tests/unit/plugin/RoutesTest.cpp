// The table of routes, what is checked before a handler is called, and what is left when one cannot work.

#include "unit/plugin/HandlerTest.h"

namespace {

using namespace handler_test;
using Orv::Base::Error::GetLastError;
using RoutesTest = HandlerTest;
using Texts = std::vector<std::string>;

TEST_F(RoutesTest, EveryPathIsRemovedAndTypesCarryTheCapability) {
  std::set<std::string> urls;
  for (const auto& [url, method, mode, capability] : platform_.bus->registrations) {
    urls.insert(url);
    EXPECT_EQ(capability, url.ends_with("/Evidence/Type") ? "s_basevideo_evidence_support" : "") << url;
    const bool writes = method != 4 && url.find("/V2/") == std::string::npos && !url.ends_with("/Files");
    EXPECT_EQ(mode, writes || url.ends_with("/GUID") ? 2 : 0) << url << " " << method;
  }
  EXPECT_EQ(platform_.bus->registrations.size(), 33U);
  service_.UnInit();
  std::ranges::sort(platform_.bus->removed);
  EXPECT_EQ(platform_.bus->removed, Texts(urls.begin(), urls.end()));
  EXPECT_EQ(Call("V1/Evidence/Type", 2), "") << "without a message object nothing is written";
}

// For no id, one and two: the codes of methods 0 to 5, with "!" where an answer is written.
TEST_F(RoutesTest, MethodsAndNumbersOfIdsAreCheckedAndWithoutAUserInterfaceOnlySomeAnswer) {
  service_.Init(std::weak_ptr<Evidence::CEvidenceUserInterface>());
  std::string reported;
  for (const auto& [url, callback] : platform_.bus->callbacks) {
    if (!url.starts_with(kBase)) continue;
    reported += "\n" + url.substr(kBase.size());
    for (const auto& ids : {std::vector<std::int32_t>(), {7}, {7, 8}}) {
      reported += " |";
      for (int method = 0; method <= 5; ++method) {
        Orv::Base::Error::SetLastError({});
        const bool answered = !Call(url.substr(kBase.size()), method, ids, Links("1", "7")).empty();
        reported += " " + std::to_string(GetLastError().SubCode()) + (answered ? "!" : "");
      }
    }
  }
  EXPECT_EQ(reported, R"(
V1/Evidence | 0 1 1 1 1 0 | 0 1 1 1 1 0 | 0 1 1 1 1 0
V1/Evidence/Custom | 6 1 6 6 1 6 | 6 1 6 6 1 6 | 6 1 6 6 1 6
V1/Evidence/ID | 2! 2! 2! 2! 2! 2! | 0 1 8! 1 1 0 | 2! 2! 2! 2! 2! 2!
V1/Evidence/ID/Files | 2! 2! 2! 2! 2! 2! | 0 8! 1! 8! 8! 0 | 2! 2! 2! 2! 2! 2!
V1/Evidence/Type | 0 1 8! 8! 1 0 | 0 1 8! 8! 1 0 | 0 1 8! 8! 1 0
V1/Evidence/Type/ID | 2! 2! 2! 2! 2! 2! | 0 1 8! 1 1 0 | 2! 2! 2! 2! 2! 2!
V2/Evidence/Files/BatchLinks | 0 1 1! 8! 8! 0 | 0 1 1! 8! 8! 0 | 0 1 1! 8! 8! 0
V2/Evidence/GUID | 0 8! 8! 8! 0! 0 | 0 8! 8! 8! 0! 0 | 0 8! 8! 8! 0! 0
V2/Evidence/ID/OperationLog | 0 8! 1! 8! 2! 0 | 0 8! 1! 8! 1! 0 | 0 8! 1! 8! 2! 0
V2/Evidence/OperationLog | 0 8! 1! 8! 2! 0 | 0 8! 1! 8! 1! 0 | 0 8! 1! 8! 2! 0)");
}

// For each path: whether the last error is cleared, then the levels of what PUT, POST, DELETE and GET log of
// themselves.
TEST_F(RoutesTest, DispatchersClearTheLastErrorAndLogRequests) {
  std::string reported;
  for (const auto& [url, callback] : platform_.bus->callbacks) {
    if (!url.starts_with(kBase)) continue;
    const auto path = url.substr(kBase.size());
    Orv::Base::Error::SetLastError({0, 77});
    Call(path, 0, {7});
    std::string levels = GetLastError().SubCode() == 77 ? " kept" : "";
    for (int method = 1; method <= 4; ++method) {
      platform_.sink->Clear();
      Call(path, method, {7}, "{");
      levels += " ";
      for (const auto& [level, tag, text] : platform_.sink->Lines())
        if (text.find(" json [{]") + 1 + text.find("link evidence, r") + 1 != 0) levels += std::to_string(level);
    }
    if (levels.find_first_not_of(' ') != std::string::npos) reported += "\n" + path + levels;
  }
  EXPECT_EQ(reported, R"(
V1/Evidence 3 3  3
V1/Evidence/ID/Files  3  
V2/Evidence/Files/BatchLinks kept 32 32 32 32)");
}

TEST_F(RoutesTest, RequestLinesSpareTheDeletion) {
  for (const int method : {2, 3})
    Call("V1/Evidence", method, {}, "{\"Password\":1}");
  const std::string line = "Evidence_Evidence]Merhod : 2, request json [{\"Password\":1}], session : .[";
  for (const auto& [level, tag, text] : platform_.sink->Lines())
    EXPECT_EQ(text.find("Password") == std::string::npos, text.find(line) == std::string::npos) << text;
  EXPECT_TRUE(platform_.sink->Has(3, line));
}

TEST_F(RoutesTest, TheFirstFailureEndsACallOfAnotherPluginAndUndoesNothing) {
  const auto asked = [](const std::string& guid, const std::string& name) {
    return R"({"Guid":")" + guid + R"(","Name":")" + name + R"(","Status":0,"File":{"Name":"f"}})";
  };
  const auto answered = [](int id, const std::string& name) {
    return R"({"ID":)" + std::to_string(id) + R"(,"Name":")" + name + R"(","File":[{"ID":)" +
           std::to_string(id < 0 ? id : id + 1) + R"(,"Name":"f"}]})";
  };
  const std::string nobody = "'' at '' on -1";
  const std::string created = History(1, 100, "-1 '' '' ''", nobody);
  const auto stored = [](const std::string& name, int calls = 4) {
    const Texts all{"add evidence 100 'a' '" + name + "'", "link 101 of 100", "add file 101 'f' of 100",
                    "log 306017 " + name + "/"};
    return Texts(all.begin(), all.begin() + calls);
  };
  const struct {
    std::string asked;  ///< first, before an evidence that is in order
    const char* failing;
    const char* code;
    std::string answer;  ///< of the first
    Texts calls;
    const char* line = "";
  } kCases[] = {
      {asked("a", "one") + R"(,{"Name":"no guid"})", "", "2", answered(100, "one") + R"(,{"ID":-1,"Name":"no guid"})",
       Then(stored("one"), Calls{created, "log 306021 f/one", History(4, 100, "-1 'f' '' ''", nobody)}),
       "id[-1], name[no guid]"},
      {asked("G7", "n"), "", "9805", answered(-1, "n"), {}, "Add evidence failed, id[-1], name[n], err[0,9805]."},
      {R"({"Guid":"a","Name":"one","Status":0})", "", "2", R"({"ID":100,"Name":"one"})", stored("one", 1)},
      {asked("a", "refused"), "", "10", answered(100, "refused"), stored("refused"),
       "Write log to platform failed, id[100]"},
      {asked("a", "one"), "history", "15", answered(100, "one"), Then(stored("one"), Calls{created}),
       "Write log to db failed, id[100]"}};
  std::shared_ptr<plugin_comm::IPluginCommData> reply;
  const auto ask = [&](const std::string& text) {
    service_.Evidence_Evidence_API("url", std::make_shared<plugin_comm::CPluginCommData>(text, nullptr, 0), reply);
  };
  for (const auto& [first, failing, code, answer, calls, line] : kCases) {
    Arrange({.failing = failing});
    tables_.next_key = 100;
    std::erase_if(tables_.rows["evidence"], [](scripted::Row& row) { return row["guid"] == "a"; });
    ask(R"({"Request":{"Evidence":[)" + first + "," + asked("b", "two") + "]}}");
    EXPECT_EQ(std::dynamic_pointer_cast<plugin_comm::CPluginCommData>(reply)->JsonTxt(),
              R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":)" + std::string(code) +
                  R"(,"CascadingErrorInfo":"","Data":{"Evidence":[)" + answer + "," + answered(-1, "two") + "]}}}");
    EXPECT_EQ(evidence_test::Lines(TakeCalls()), evidence_test::Lines(calls));
    EXPECT_TRUE(platform_.sink->Has(5, line)) << line;
  }
  ask("{}");
  EXPECT_TRUE(platform_.sink->Has(5, "Evidence_Evidence_API]Input param invalid, evidence is empty."));
  platform_.adapter->bus = nullptr;
  service_.Init(user_interface_);
  EXPECT_TRUE(platform_.sink->Has(6, "RegisterUrlToPlatform]ptr_msg_bus is null."));
}

TEST_F(RoutesTest, FaultsGetAPair) {
  platform_.db->throws = "broken";
  EXPECT_EQ(CodeOf(Send("GET /Evidence/7", "{}")), "1");
  EXPECT_TRUE(
      platform_.sink->Has(5, "[Evidence::CUsrServiceEvidence::Evidence_Evidence_ID]Unexpected exception: broken.["));
  const auto orphan = std::make_shared<Evidence::CEvidenceUserInterface>(std::weak_ptr<Evidence::CEvidenceManager>());
  service_.Init(orphan);
  const std::string answer = Send("PUT /Evidence/Type", "{}");
  EXPECT_EQ(CodeOf(answer), "1");
  EXPECT_TRUE(answer.ends_with(R"("Data":{"EvidenceTypeErrorList":{}}}})")) << answer;
}

}  // namespace
