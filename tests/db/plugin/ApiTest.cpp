// The two APIs for other plugins: what ends a call, and what stays of it, on a real PostgreSQL.

#include <gtest/gtest.h>

#include "plugin_comm/PluginCommManager.h"
#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;
using evidence_test::RunningPlugin;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using plugin_comm::IPluginCommManager;

const std::string kEvidences = "/API/Evidence/V1/Evidence";
const std::string kTypes = "/API/Evidence/V1/Evidence/Type";
const std::string kLinkFile = "/API/FileManager/V1/LinkFile";

std::string Answer(int code, const std::string& evidences) {
  return R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
         R"(,"CascadingErrorInfo":"","Data":)" + (evidences.empty() ? "{}" : R"({"Evidence":[)" + evidences + "]}") +
         "}}";
}

/// An evidence of a request, with one file unless `file` is empty.
std::string Asked(const std::string& name, const std::string& file) {
  return R"({"Guid":"g )" + name + R"(","Name":")" + name + R"(","Status":0,"Scene":{"ID":9999})" +
         (file.empty() ? "" : R"(,"File":[{"Name":")" + file + R"(","Type":1}])") + "}";
}

std::string Request(const std::string& evidences) { return R"({"Request":{"Evidence":[)" + evidences + "]}}"; }

class ApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(IPluginCommManager::Instance()->PublishApi(
        "filemanager.s", kLinkFile, [](const auto&, const auto&, std::shared_ptr<IPluginCommData>& response) {
          response =
              std::make_shared<CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", nullptr, 0);
        }));
  }

  static void Clean() {
    Postgres().Query(
        "DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_file; DELETE FROM evidence.operation_log;"
        "DELETE FROM platform.operation_log; ALTER SEQUENCE evidence.evidence_id_seq RESTART;"
        "ALTER SEQUENCE evidence.evidence_file_id_seq RESTART");
  }

  static std::string Call(const std::string& path, const std::string& json) {
    std::shared_ptr<IPluginCommData> response;
    const auto request = std::make_shared<CPluginCommData>(json, nullptr, 0);
    if (!IPluginCommManager::Instance()->Request(response, path, request, "")) return "no response";
    return std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt();
  }

  /// How many evidences, files, lines of the platform's log and entries of histories there are.
  static std::string Counts() {
    return Postgres().Value(
        "SELECT (SELECT count(*) FROM evidence.evidence) || ' ' || (SELECT count(*) FROM evidence.evidence_file) || "
        "' ' || (SELECT count(*) FROM platform.operation_log) || ' ' || "
        "(SELECT count(*) FROM evidence.operation_log)");
  }

  const RunningPlugin plugin_;
};

TEST_F(ApiTest, TheFirstFailureEndsTheCallAndUndoesNothing) {
  const std::string first = R"({"ID":1,"Name":"one","File":[{"ID":1000000001,"Name":"1.mp4"}]})";
  struct Case {
    std::string request;
    const char* forbidden;  ///< table that may not be written
    std::string answer;
    std::string counts;
    const char* log;
  };
  const std::string two = Asked("one", "1.mp4") + "," + Asked("two", "2.mp4");
  const std::string untried = R"({"ID":-1,"Name":"two","File":[{"ID":-1,"Name":"2.mp4"}]})";
  for (const Case& c : {
           Case{"", nullptr, Answer(2, ""), "0 0 0 0", "]Data Parse failed, data invalid, data[]."},
           Case{"{}", nullptr, Answer(2, ""), "0 0 0 0", "]Input param invalid, evidence is empty.["},
           Case{Request(Asked("one", "1.mp4") + R"(,{"Name":"no guid"},)" + Asked("two", "2.mp4")), nullptr,
                Answer(2, first + R"(,{"ID":-1,"Name":"no guid"},)" + untried), "1 1 2 2",
                "]Add evidence failed, id[-1], name[no guid], err[0,2].["},
           Case{Request(Asked("bare", "") + "," + Asked("two", "2.mp4")), nullptr,
                Answer(2, R"({"ID":1,"Name":"bare"},)" + untried), "1 0 0 0", "]Input param error.["},
           Case{Request(two), "platform.operation_log", Answer(10, first + "," + untried), "1 1 0 0",
                "]Write log to platform failed, id[1], mame[one], session-id[].["},
           Case{Request(two), "evidence.operation_log", Answer(15, first + "," + untried), "1 1 1 0",
                "]Write log to db failed, id[1], mame[one], session-id[].["},
       }) {
    Clean();
    const std::string table = c.forbidden == nullptr ? "" : c.forbidden;
    if (!table.empty()) Postgres().Query("REVOKE INSERT ON " + table + " FROM evidence_app");
    EXPECT_EQ(Call(kEvidences, c.request), c.answer) << c.log;
    if (!table.empty()) Postgres().Query("GRANT INSERT ON " + table + " TO evidence_app");
    EXPECT_EQ(Counts(), c.counts) << c.log;
    EXPECT_TRUE(plugin_.Log().Has(5, c.log)) << c.log;
  }
  EXPECT_TRUE(plugin_.Log().Has(3, "]Merhod : API, url[/API/Evidence/V1/Evidence], \r\n request-json[{}]."));
  EXPECT_TRUE(plugin_.Log().Has(3, "]Merhod : API, url[/API/Evidence/V1/Evidence], \r\n reponse-json[{\"BinarySize\""));
}

TEST_F(ApiTest, TypesAreListedByTheirIds) {
  const auto answer = [](int code, const std::string& list, const std::string& page) {
    return R"({"BinarySize":"","Response":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
           R"(,"CascadingErrorInfo":"","Data":{"EvidenceTypeList":)" + list + "," + page + "}}}";
  };
  EXPECT_EQ(Call(kTypes, R"({"Request":{"PageIndex":2,"PageSize":2,"SearchCriteria":{"EvidenceTypeIDs":[4,1,3,99]}}})"),
            answer(0, R"({"EvidenceType":[{"ID":4,"Name":"Missing person"}]})",
                   R"("PageIndex":2,"PageSize":2,"TotalNum":3)"));
  EXPECT_EQ(Call(kTypes, R"({"Request":{"PageIndex":1,"PageSize":0}})"),
            answer(2, "{}", R"("PageIndex":1,"PageSize":0,"TotalNum":6)"));
  EXPECT_EQ(Call(kTypes, "["), answer(2, "{}", R"("PageIndex":-1,"PageSize":-1,"TotalNum":0)"));
  EXPECT_TRUE(plugin_.Log().Has(2, "]Merhod : API, url[/API/Evidence/V1/Evidence/Type], \r\n request-json[[]."));
}

TEST_F(ApiTest, ACallWithoutARequestGetsNoResponse) {
  for (const auto& path : {kEvidences, kTypes}) {
    std::shared_ptr<IPluginCommData> response;
    Orv::Base::Error::SetLastError({0, 0});
    EXPECT_FALSE(IPluginCommManager::Instance()->Request(response, path, nullptr, "")) << path;
    EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 1)) << path;
  }
}

}  // namespace
