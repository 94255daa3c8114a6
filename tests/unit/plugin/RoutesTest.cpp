// The registrations against a list of its own, and what each path answers to each method.

#include <gtest/gtest.h>

#include "impl/Evidence/EvidenceModule.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"

namespace {

using scripted::Registration;

class RoutesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(module_.Initialize()); }
  void TearDown() override { module_.Finalize(); }

  /// The body that a registered path answers.
  std::string Call(const std::string& url, int method, std::vector<std::int32_t> ids = {}, std::string body = {}) {
    kelp::SHttpRequest request{method, std::string(), std::move(ids), std::move(body)};
    kelp::SHttpResponse response;
    platform_.bus->callbacks.at(url)(response, request);
    return response.response_body;
  }

  scripted::Platform platform_;
  Evidence::CEvidenceModule module_;
};

const char kV0[] = "/TRELL/Halyard/BaseVideo/V0";
const char kV1[] = "/TRELL/Halyard/Evidence/V1";
const char kV2[] = "/TRELL/Halyard/Evidence/V2";

std::string Status(int code) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) + "}}";
}

// Method codes: 1 PUT, 2 POST, 3 DELETE, 4 GET. Each method is written with its mode: "4:0".
struct Expected {
  const char* base;
  const char* path;
  std::vector<std::pair<int, int>> methods;
};

TEST_F(RoutesTest, RegistersAndRemovesTheWholeTableInOrder) {
  const std::vector<Expected> in_order{
      {kV0, "/Evidence/Type", {{4, 0}, {1, 2}}},
      {kV1, "/Evidence/Type", {{4, 0}, {1, 2}}},
      {kV0, "/Evidence/Type/ID", {{4, 0}, {1, 2}, {3, 2}}},
      {kV1, "/Evidence/Type/ID", {{4, 0}, {1, 2}, {3, 2}}},
      {kV0, "/Evidence", {{4, 0}, {2, 2}, {1, 2}, {3, 2}}},
      {kV1, "/Evidence", {{4, 0}, {2, 2}, {1, 2}, {3, 2}}},
      {kV2, "/Evidence/GUID", {{4, 2}}},
      {kV0, "/Evidence/ID", {{4, 0}, {1, 2}, {3, 2}}},
      {kV1, "/Evidence/ID", {{4, 0}, {1, 2}, {3, 2}}},
      {kV1, "/Evidence/Custom", {{4, 0}, {1, 2}}},
      {kV0, "/Evidence/ID/Files", {{2, 0}}},
      {kV1, "/Evidence/ID/Files", {{2, 0}}},
      {kV2, "/Evidence/ID/OperationLog", {{4, 0}}},
      {kV2, "/Evidence/OperationLog", {{2, 0}}},
      {kV2, "/Evidence/Files/BatchLinks", {{2, 0}, {1, 0}}},
  };
  std::vector<std::string> expected;
  for (const auto& path : in_order) {
    for (const auto& [method, mode] : path.methods) {
      const bool capable = expected.size() < 4;
      expected.push_back(std::string(path.base) + path.path + " " + std::to_string(method) + " " +
                         std::to_string(mode) + (capable ? " s_basevideo_evidence_support" : " "));
    }
  }
  std::vector<std::string> seen;
  for (const Registration& row : platform_.bus->registrations) {
    seen.push_back(row.url + " " + std::to_string(row.method_code) + " " + std::to_string(row.route_mode) + " " +
                   row.capability);
  }
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(seen.size(), 33U);

  module_.Finalize();
  std::vector<std::string> removed;
  for (const char* base : {kV0, kV1}) {
    for (const char* path :
         {"/Evidence/Type", "/Evidence/Type/ID", "/Evidence", "/Evidence/ID", "/Evidence/ID/Files"}) {
      removed.push_back(std::string(base) + path);
    }
  }
  for (const char* path : {"/Evidence/Custom"})
    removed.push_back(std::string(kV1) + path);
  for (const char* path :
       {"/Evidence/GUID", "/Evidence/ID/OperationLog", "/Evidence/OperationLog", "/Evidence/Files/BatchLinks"}) {
    removed.push_back(std::string(kV2) + path);
  }
  EXPECT_EQ(platform_.bus->removed, removed);
}

TEST_F(RoutesTest, RejectedMethods) {
  struct Case {
    std::string url;
    std::vector<int> rejected;
    bool needs_id;
  };
  const std::string v1 = kV1;
  const std::string v2 = kV2;
  for (const Case& c : std::vector<Case>{{v1 + "/Evidence/Type", {2, 3}, false},
                                         {v1 + "/Evidence/Type/ID", {2}, true},
                                         {v1 + "/Evidence/ID", {2}, true},
                                         {v1 + "/Evidence/ID/Files", {1, 3, 4}, true},
                                         {v2 + "/Evidence/GUID", {1, 2, 3}, false},
                                         {v2 + "/Evidence/OperationLog", {1, 3}, false},
                                         {v2 + "/Evidence/ID/OperationLog", {1, 3}, false},
                                         {v2 + "/Evidence/Files/BatchLinks", {3, 4}, false}}) {
    for (const int method : c.rejected) {
      EXPECT_EQ(Call(c.url, method, {7}), Status(8)) << c.url << " " << method;
    }
    // The number of ids is tested before the method.
    if (c.needs_id) {
      for (int method = 1; method <= 4; ++method) {
        EXPECT_EQ(Call(c.url, method, {}), Status(2)) << c.url << " " << method;
        EXPECT_EQ(Call(c.url, method, {7, 8}), Status(2)) << c.url << " " << method;
      }
    }
    for (const int other : {0, 5, -1, 2147483647})
      EXPECT_EQ(Call(c.url, other, {7}), "") << c.url << " " << other;
  }
}

TEST_F(RoutesTest, CustomRejectsWithoutAnAnswer) {
  for (const int method : {2, 3, 0, 5}) {
    EXPECT_EQ(Call(std::string(kV1) + "/Evidence/Custom", method), "");
    EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 6));
  }
}

TEST_F(RoutesTest, OperationLogNeedsAnIdOnGetOnly) {
  EXPECT_EQ(Call(std::string(kV2) + "/Evidence/OperationLog", 4), Status(2));
  EXPECT_EQ(Call(std::string(kV2) + "/Evidence/OperationLog", 1), Status(8));
}

TEST_F(RoutesTest, RequestLinesSpareTheDeletion) {
  const std::string url = std::string(kV1) + "/Evidence";
  Call(url, 2, {}, "{\"a\":1}");
  EXPECT_TRUE(platform_.sink->Has(3,
                                  "[Evidence::CUsrServiceEvidence::Evidence_Evidence]Merhod : 2, request json "
                                  "[{\"a\":1}], session : .["));
  Call(url, 3, {}, "secret");
  for (const auto& line : platform_.sink->Lines())
    EXPECT_EQ(line.text.find("secret"), std::string::npos) << line.text;
  Call(std::string(kV2) + "/Evidence/Files/BatchLinks", 2, {}, "{}");
  EXPECT_TRUE(platform_.sink->Has(3, "]batch link evidence, req: [{}], method: [2].\n["));
  EXPECT_TRUE(platform_.sink->Has(2, "]batch link evidence, rsp: [" + Status(10002) + "].\n["));
}

TEST_F(RoutesTest, LateRequestsGetAPairAndNoCrash) {
  const auto callbacks = platform_.bus->callbacks;
  auto& service = *Evidence::CUsrServiceEvidence::Instance();
  kelp::SHttpResponse response;
  module_.Finalize();
  service.Init(std::make_shared<Evidence::CEvidenceUserInterface>(std::weak_ptr<Evidence::CEvidenceManager>()));
  callbacks.at(std::string(kV1) + "/Evidence/Type")(response, {4, "", {}, "{}"});
  EXPECT_EQ(response.response_body, "") << "the user interface is gone: no answer";
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 1));

  const auto user_interface =
      std::make_shared<Evidence::CEvidenceUserInterface>(std::weak_ptr<Evidence::CEvidenceManager>());
  service.Init(user_interface);
  callbacks.at(std::string(kV1) + "/Evidence/Type")(response, {1, "", {}, "{}"});
  EXPECT_EQ(response.response_body,
            R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":1,"Data":{"EvidenceTypeErrorList":{}}}})");

  service.UnInit();
  response.response_body.clear();
  callbacks.at(std::string(kV1) + "/Evidence/Type")(response, {2, "", {}, "{}"});
  EXPECT_EQ(response.response_body, "") << "without a message object nothing is written";
}

}  // namespace
