// The registrations, and what each path answers before any handler is asked.

#include <gtest/gtest.h>

#include "impl/Evidence/EvidenceModule.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"

namespace {

using Evidence::CEvidenceUserInterface;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

std::string Status(int code) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) + "}}";
}

class RoutesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(module_.Initialize()); }
  void TearDown() override { module_.Finalize(); }

  /// The body that a path, from its version on, answers. Methods: 1 PUT, 2 POST, 3 DELETE, 4 GET.
  std::string Call(const std::string& path, int method, std::vector<std::int32_t> ids = {}, std::string body = {}) {
    const kelp::SHttpRequest request{method, std::string(), std::move(ids), std::move(body)};
    kelp::SHttpResponse response;
    platform_.bus->callbacks.at("/TRELL/Halyard/Evidence/" + path)(response, request);
    return response.response_body;
  }

  scripted::Platform platform_;
  Evidence::CEvidenceModule module_;
};

TEST_F(RoutesTest, EveryPathIsRemovedAndTypesCarryTheCapability) {
  std::set<std::string> urls;
  for (const auto& [url, method, mode, capability] : platform_.bus->registrations) {
    urls.insert(url);
    EXPECT_EQ(capability, url.ends_with("/Evidence/Type") ? "s_basevideo_evidence_support" : "") << url;
    const bool writes = method != 4 && url.find("/V2/") == std::string::npos && !url.ends_with("/Files");
    EXPECT_EQ(mode, writes || url.ends_with("/GUID") ? 2 : 0) << url << " " << method;
  }
  EXPECT_EQ(platform_.bus->registrations.size(), 33U);
  module_.Finalize();
  std::ranges::sort(platform_.bus->removed);
  EXPECT_EQ(platform_.bus->removed, std::vector<std::string>(urls.begin(), urls.end()));
}

TEST_F(RoutesTest, MethodsAndNumbersOfIdsAreChecked) {
  const std::map<std::string, std::string> rejected_methods{{"V1/Evidence/Type", "23"},
                                                            {"V1/Evidence/Type/ID", "2"},
                                                            {"V1/Evidence/ID", "2"},
                                                            {"V1/Evidence/ID/Files", "134"},
                                                            {"V2/Evidence/GUID", "123"},
                                                            {"V2/Evidence/OperationLog", "13"},
                                                            {"V2/Evidence/ID/OperationLog", "13"},
                                                            {"V2/Evidence/Files/BatchLinks", "34"}};
  for (const auto& [path, rejected] : rejected_methods) {
    for (const char method : rejected)
      EXPECT_EQ(Call(path, method - '0', {7}), Status(8)) << path << " " << method;
    for (const int other : {0, 5, -1, 2147483647})
      EXPECT_EQ(Call(path, other, {7}), "") << path << " " << other;
    const bool needs_id = path.starts_with("V1") && path.find("/ID") != std::string::npos;
    for (int method = 1; needs_id && method <= 4; ++method) {
      EXPECT_EQ(Call(path, method), Status(2)) << path << " " << method;
      EXPECT_EQ(Call(path, method, {7, 8}), Status(2)) << path << " " << method;
    }
  }
  EXPECT_EQ(Call("V2/Evidence/OperationLog", 4), Status(2)) << "an id is needed on GET";
  EXPECT_EQ(Call("V2/Evidence/OperationLog", 1), Status(8));
  for (const int method : {2, 3, 0, 5}) {
    EXPECT_EQ(Call("V1/Evidence/Custom", method), "") << "no answer, but a pair";
    EXPECT_EQ(GetLastError(), ErrorCode(0, 6));
  }
}

TEST_F(RoutesTest, RequestLinesSpareTheDeletion) {
  for (const int method : {2, 3})
    Call("V1/Evidence", method, {}, "{\"Password\":1}");
  const std::string line = "Evidence_Evidence]Merhod : 2, request json [{\"Password\":1}], session : .[";
  for (const auto& [level, tag, text] : platform_.sink->Lines())
    EXPECT_EQ(text.find("Password") == std::string::npos, text.find(line) == std::string::npos) << text;
  EXPECT_TRUE(platform_.sink->Has(3, line));
}

TEST_F(RoutesTest, FaultsAndLateRequestsGetAPair) {
  platform_.db->answer = [](const auto&) -> std::optional<std::vector<scripted::Row>> {
    throw std::runtime_error("broken");
  };
  EXPECT_EQ(Call("V1/Evidence/ID", 4, {7}, "{}"), Status(1)) << "an exception ends at the route";
  EXPECT_TRUE(platform_.sink->Has(5, "]Unexpected exception: broken.["));

  auto& service = *Evidence::CUsrServiceEvidence::Instance();
  const auto orphan = std::make_shared<CEvidenceUserInterface>(std::weak_ptr<Evidence::CEvidenceManager>());
  service.Init(orphan);
  EXPECT_EQ(Call("V1/Evidence/Type", 1, {}, "{}"),
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":1,"Data":{"EvidenceTypeErrorList":{}}}})");
  service.Init(std::weak_ptr<CEvidenceUserInterface>());
  EXPECT_EQ(Call("V1/Evidence/Type", 4, {}, "{}"), "") << "the user interface is gone: no answer";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
  service.Init(orphan);
  service.UnInit();
  EXPECT_EQ(Call("V1/Evidence/Type", 2), "") << "without a message object nothing is written";
}

}  // namespace
