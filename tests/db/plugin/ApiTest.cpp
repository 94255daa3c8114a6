// The API through which other plugins create evidences: what ends a call, and what stays of it, on a real PostgreSQL.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "plugin_comm/PluginCommManager.h"
#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using plugin_comm::IPluginCommManager;

/// An evidence of a request, with one file.
std::string Asked(const std::string& name) {
  return R"({"Guid":"g )" + name + R"(","Name":")" + name + R"(","Status":0,"Scene":{"ID":9999},"File":[{"Name":")" +
         name + R"(.mp4","Type":1}]})";
}

using ApiTest = evidence_test::PluginTest;

TEST_F(ApiTest, TheFirstFailureEndsTheCallAndUndoesNothing) {
  auto* const comm = IPluginCommManager::Instance().get();
  ASSERT_TRUE(
      comm->PublishApi("filemanager.s", "/API/FileManager/V1/LinkFile", [](const auto&, const auto&, auto& response) {
        response =
            std::make_shared<CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", nullptr, 0);
      }));
  struct Case {
    std::string asked;      ///< first, before an evidence that is in order
    std::string forbidden;  ///< table that may not be written
    std::string code;
    std::string answer;  ///< of the first
    std::string counts;  ///< evidences, files, lines of the platform's log, entries of histories
  };
  const std::string one = R"({"ID":1,"Name":"one","File":[{"ID":1000000001,"Name":"one.mp4"}]})";
  for (const Case& c : {
           Case{Asked("one") + R"(,{"Name":"no guid"})", "", "2", one + R"(,{"ID":-1,"Name":"no guid"})", "1 1 2 2"},
           Case{R"({"Guid":"g","Name":"no file","Status":0})", "", "2", R"({"ID":1,"Name":"no file"})", "1 0 0 0"},
           Case{Asked("one"), "platform.operation_log", "10", one, "1 1 0 0"},
           Case{Asked("one"), "evidence.operation_log", "15", one, "1 1 1 0"},
       }) {
    CleanTables();
    if (!c.forbidden.empty()) Postgres().Query("REVOKE INSERT ON " + c.forbidden + " FROM evidence_app");
    const auto request = std::make_shared<CPluginCommData>(
        R"({"Request":{"Evidence":[)" + c.asked + "," + Asked("two") + "]}}", nullptr, 0);
    std::shared_ptr<IPluginCommData> response;
    ASSERT_TRUE(comm->Request(response, "/API/Evidence/V1/Evidence", request, ""));
    EXPECT_EQ(std::dynamic_pointer_cast<CPluginCommData>(response)->JsonTxt(),
              R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":)" + c.code +
                  R"(,"CascadingErrorInfo":"","Data":{"Evidence":[)" + c.answer +
                  R"(,{"ID":-1,"Name":"two","File":[{"ID":-1,"Name":"two.mp4"}]}]}}})");
    if (!c.forbidden.empty()) Postgres().Query("GRANT INSERT ON " + c.forbidden + " TO evidence_app");
    EXPECT_EQ(Postgres().Value("SELECT concat_ws(' ', (SELECT count(*) FROM evidence.evidence), (SELECT count(*) FROM "
                               "evidence.evidence_file), (SELECT count(*) FROM platform.operation_log), (SELECT "
                               "count(*) FROM evidence.operation_log))"),
              c.counts);
  }
}

TEST_F(ApiTest, ACallWithoutARequestGetsNoResponse) {
  for (const std::string path : {"/API/Evidence/V1/Evidence", "/API/Evidence/V1/Evidence/Type"}) {
    std::shared_ptr<IPluginCommData> response;
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(IPluginCommManager::Instance()->Request(response, path, nullptr, "")) << path;
    EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 1)) << path;
  }
}

}  // namespace
