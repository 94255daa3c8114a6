// Another plugin of the real host calls both APIs; the file manager keeps the links.

#include <gtest/gtest.h>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

TEST(ApiTest, AnotherPluginCreatesEvidencesAndListsTypes) {
  EnsureTester();
  Postgres().Query(
      "DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_file; DELETE FROM filemanager.link;"
      "ALTER SEQUENCE evidence.evidence_id_seq RESTART; ALTER SEQUENCE evidence.evidence_file_id_seq RESTART");
  HostProcess host(HostProcess::SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so, test_comm.s.so"}});
  host.WaitUntilListening();
  const std::string session = Login(host.port(), "tester", kTesterPassword);
  const auto call = [&](const std::string& path, const std::string& body) {
    return Ask(host.port(), "POST", path, session, body).body;
  };
  EXPECT_EQ(call("/Comm/Evidence", R"({"Request":{"Evidence":[)"
                                   R"({"Guid":"g1","Name":"zebra","Status":0,"File":{"Name":"z.mp4"}},)"
                                   R"({"Guid":"g2","Name":"ant","Status":0,"File":{"Name":"a.mp4"}}]}})"),
            R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":{"Evidence":[)"
            R"({"ID":1,"Name":"zebra","File":[{"ID":1000000001,"Name":"z.mp4"}]},)"
            R"({"ID":2,"Name":"ant","File":[{"ID":1000000002,"Name":"a.mp4"}]}]}}})");
  EXPECT_EQ(Postgres().Query("SELECT evidence_id, file_id FROM filemanager.link WHERE linked ORDER BY evidence_id"),
            (Rows{{"1", "1000000001"}, {"2", "1000000002"}}));
  EXPECT_EQ(call("/Comm/Type", R"({"Request":{"SearchCriteria":{"EvidenceTypeIDs":[1]}}})"),
            R"({"BinarySize":"","Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":)"
            R"({"EvidenceTypeList":{"EvidenceType":[{"ID":1,"Name":"Theft"}]},"PageIndex":-1,"PageSize":-1,)"
            R"("TotalNum":1}}})");
  EXPECT_EQ(host.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
