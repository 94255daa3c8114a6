// The table of routes, what is checked before a handler is called, and what is left when one cannot work.

#include "unit/plugin/HandlerTest.h"

namespace {

using handler_test::Links;
using Orv::Base::Error::GetLastError;
using RoutesTest = handler_test::HandlerTest;
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

TEST_F(RoutesTest, CallsOfOtherPluginsLogTheirFailures) {
  const auto created = [](const std::string& members) { return R"({"Request":{"Evidence":[{)" + members + "}]}}"; };
  const std::string file = R"(,"Status":1,"File":{"Name":"f"})";
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"{}", "", "Input param invalid, evidence is empty."},
      {created(R"("Guid":"G7","Name":"n")" + file), "", "Add evidence failed, id[-1], name[n], err[0,9805]."},
      {created(R"("Guid":"a","Name":"refused")" + file), "", "Write log to platform failed, id[100]"},
      {created(R"("Guid":"b","Name":"n")" + file), "history", "Write log to db failed, id["},
  };
  for (const auto& [text, failing, line] : cases) {
    tables_.failing = {failing[0] == 0 ? "none" : failing};
    std::shared_ptr<plugin_comm::IPluginCommData> reply;
    service_.Evidence_Evidence_API("url", std::make_shared<plugin_comm::CPluginCommData>(text, nullptr, 0), reply);
    EXPECT_TRUE(platform_.sink->Has(5, "[Evidence::CUsrServiceEvidence::Evidence_Evidence_API]" + std::string(line)))
        << line;
  }
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
