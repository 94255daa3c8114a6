// What every later message and handler stands on: the standard flow, the frame of the pdu messages, the platform log.

#include <gtest/gtest.h>

#include "Common/EvidenceLog.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrSericeSTDFlowTemplate.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/pdu/PduFrame.h"

namespace {

using Texts = std::vector<std::string>;

struct Response {
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
};

/// Takes any text but "bad"; "empty" decodes to nothing.
class FakePdu {
 public:
  bool DecodeReq(const std::string& text) {
    request_ = text == "empty" ? nullptr : std::make_shared<std::string>(text);
    return text != "bad";
  }
  std::shared_ptr<std::string> Request() const { return request_; }
  bool EncodeRsp(const std::shared_ptr<Response>& response) {
    text_ = std::to_string(response->main_code) + "," + std::to_string(response->sub_code);
    return encodes;
  }
  const std::string& Text() const { return text_; }
  bool encodes = true;

 private:
  std::shared_ptr<std::string> request_;
  std::string text_;
};

TEST(StandardFlowTest, DecodesWorksAndEncodes) {
  scripted::Platform platform;
  struct Case {
    std::string request;
    bool work;
    std::string text;
    bool called;
  };
  for (const Case& c :
       {Case{"good", true, "5,0", true}, Case{"good", false, "1,77", true}, Case{"", true, "5,0", true},
        Case{"", false, "1,77", true}, Case{"bad", true, "5,2", false}, Case{"empty", true, "5,2", false}}) {
    FakePdu pdu;
    bool called = false;
    std::string text;
    const auto response = std::make_shared<Response>(Response{5, 0});
    Evidence::ProcRequestSTDFlow(text, c.request, pdu, response, [&] {
      called = true;
      Orv::Base::Error::SetLastError({1, 77});
      return c.work;
    });
    EXPECT_EQ(text, c.text) << c.request;
    EXPECT_EQ(called, c.called) << c.request;
  }
  EXPECT_TRUE(platform.sink->Has(5, "[Evidence::ProcRequestSTDFlow]Request param error. req-data:\nbad\n["));
  FakePdu pdu;
  pdu.encodes = false;
  std::string text;
  Evidence::ProcRequestSTDFlow(text, "good", pdu, std::make_shared<Response>(), [] { return true; });
  EXPECT_EQ(text, "0,0") << "the text goes out whatever the encoder said";
  EXPECT_TRUE(platform.sink->Has(6, "]Encode response failed!!!\n["));
}

TEST(PduFrameTest, WritesSignedNumbersAndKeepsEmptyNodes) {
  kelp::CRapidJsonProto proto;
  auto* const root = pdu::BeginResponse(proto, "/ResponseStatus", {-1, 2, ""});
  ASSERT_NE(root, nullptr);
  auto* const data = pdu::AddData(proto, root);
  EXPECT_EQ(proto.get_str(),
            R"({"ResponseStatus":{"ErrorModule":-1,"ErrorCode":2,"CascadingErrorInfo":"","Data":{}}})");
  ASSERT_NE(proto.add_list_v(data, "List", ""), nullptr);
  EXPECT_NE(proto.get_str().find(R"("Data":{"List":[{}]})"), std::string::npos);
  EXPECT_EQ(pdu::AddData(proto, nullptr), nullptr);
  EXPECT_EQ(pdu::BeginResponse(proto, "/", {}), nullptr);
  EXPECT_EQ(pdu::ElementPath("/OperationLog", 3), "/OperationLog/3");
}

TEST(PlatformLogTest, JoinsNamesUpToTheLimit) {
  scripted::Platform platform;
  Evidence::CUsrServiceEvidence service;
  const auto lines = [&](const Texts& names) {
    platform.log->lines.clear();
    EXPECT_TRUE(service.WriteLog("s", 306013, -1, names, {}, ""));
    return platform.log->lines;
  };
  const std::string long_name(300, 'x');
  const std::string half(128, 'h');
  EXPECT_EQ(lines({"a", "b", "c"}), Texts{"s 306013 a;b;c"});
  EXPECT_EQ(lines({long_name, "b"}), (Texts{"s 306013 " + long_name, "s 306013 b"}));
  EXPECT_EQ(lines({half, half}), (Texts{"s 306013 " + half, "s 306013 " + half})) << "256 bytes are one too many";
  EXPECT_EQ(lines({half, half.substr(1)}), Texts{"s 306013 " + half + ";" + half.substr(1)});
  EXPECT_EQ(lines({"", ""}), Texts{"s 306013 "}) << "empty names leave one line";
  EXPECT_EQ(lines({}), Texts{});
}

TEST(PlatformLogTest, FailsOnlyWhenEveryLineFailed) {
  scripted::Platform platform;
  Evidence::CUsrServiceEvidence service;
  const std::string first(200, 'a');
  const std::string second(200, 'b');
  for (const auto& [refused, result] :
       {std::pair{std::string("a"), true}, std::pair{std::string("b"), true}, std::pair{std::string(), false}}) {
    platform.log->accept = [&](const std::string& name) { return !refused.empty() && !name.starts_with(refused); };
    EXPECT_EQ(service.WriteLog("s", 1, 2, Texts{first, second}, {}, ""), result) << refused;
  }
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 10));
  EXPECT_TRUE(platform.sink->Has(
      5, "]Failed to record operation log, session-id[s], log-type[1], object-id[2], object-name[" + first + "].["));
}

TEST(PlatformLogTest, FailedOperationsGoToTheOtherLog) {
  scripted::Platform platform;
  Evidence::CUsrServiceEvidence service;
  EXPECT_TRUE(service.WriteLog("s", 7, 5000000000, "name", {3, 9}, "unused"));
  EXPECT_EQ(platform.system_and_log->failures, Texts{"s 7 5000000000 name 3-9"});
  EXPECT_TRUE(platform.log->lines.empty());
  platform.system_and_log->log_result = 1;
  EXPECT_FALSE(service.WriteLog("s", 7, -1, "name", {3, 9}, ""));
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 10));
  EXPECT_TRUE(platform.sink->Has(5, "object-id[-1], object-name[name], error: [3-9].["));
  platform.adapter->system_and_log = nullptr;
  EXPECT_FALSE(service.WriteLog("s", 7, -1, "name", {3, 9}, ""));
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 1));
}

TEST(FunctionNameTest, IsQualifiedWithoutTypes) {
  for (const auto& [signature, name] :
       {std::pair{"bool Evidence::CFoo::Bar(const std::string&)", "Evidence::CFoo::Bar"},
        std::pair{"std::function<bool(int)> Evidence::Make(std::map<int, int>)", "Evidence::Make"},
        std::pair{"auto Evidence::GuardEdge(Work&&, Failed&&) [with Work = f()::<lambda()>]", "Evidence::GuardEdge"},
        std::pair{"Evidence::CFoo::CFoo()", "Evidence::CFoo::CFoo"},
        std::pair{"Evidence::CFoo::Bar(int)::<lambda(kelp::IDBResultSet*)>", "Evidence::CFoo::Bar"},
        std::pair{"virtual std::shared_ptr<int>& Evidence::CFoo::Get() const", "Evidence::CFoo::Get"}}) {
    EXPECT_EQ(Evidence::QualifiedFunctionName(signature), name);
  }
}

}  // namespace
