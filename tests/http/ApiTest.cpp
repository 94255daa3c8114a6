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
      "DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_file; DELETE FROM evidence.operation_log;"
      "DELETE FROM filemanager.link; DELETE FROM platform.operation_log;"
      "ALTER SEQUENCE evidence.evidence_id_seq RESTART; ALTER SEQUENCE evidence.evidence_file_id_seq RESTART");
  HostProcess host(HostProcess::SettingsMap{{"plugins", "file_manager.s.so, casefile.s.so, test_comm.s.so"}});
  host.WaitUntilListening();
  const std::string session = Login(host.port(), "tester", kTesterPassword);
  const auto call = [&](const std::string& path, const std::string& body) {
    return Ask(host.port(), "POST", path, session, body).body;
  };
  EXPECT_EQ(call("/Comm/Evidence", R"({"Request":{"Evidence":[)"
                                   R"({"Guid":"g1","Name":"zebra","Status":0,"File":{"Name":"z.mp4","Path":"p"}},)"
                                   R"({"Guid":"g2","Name":"ant","Status":1,"Label":"l","Scene":{"ID":9999},)"
                                   R"("File":[{"Name":"b.mp4","Digest":"d"},{"Name":"a.mp4"}]}]}})"),
            R"({"BinarySize":-1,"Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":{"Evidence":[)"
            R"({"ID":1,"Name":"zebra","File":[{"ID":1000000001,"Name":"z.mp4"}]},{"ID":2,"Name":"ant","File":)"
            R"([{"ID":1000000002,"Name":"b.mp4"},{"ID":1000000003,"Name":"a.mp4"}]}]}}})");
  EXPECT_EQ(Postgres().Query("SELECT id, guid, name, scene_id, evidence_status, label, evidence_create_user_name "
                             "FROM evidence.evidence ORDER BY id"),
            (Rows{{"1", "g1", "zebra", "-1", "0", "", ""}, {"2", "g2", "ant", "9999", "1", "l", ""}}));
  EXPECT_EQ(Postgres().Query("SELECT f.id, f.evidence_id, f.file_name, f.file_path, f.digest, l.linked "
                             "FROM evidence.evidence_file f JOIN filemanager.link l "
                             "ON l.file_id = f.id AND l.evidence_id = f.evidence_id ORDER BY f.id"),
            (Rows{{"1000000001", "1", "z.mp4", "p", "", "t"},
                  {"1000000002", "2", "b.mp4", "", "d", "t"},
                  {"1000000003", "2", "a.mp4", "", "", "t"}}));
  EXPECT_EQ(Postgres().Query("SELECT log_type, object_name, description, user_name FROM platform.operation_log "
                             "ORDER BY id"),
            (Rows{{"306017", "zebra", "", ""},
                  {"306021", "z.mp4", "zebra", ""},
                  {"306017", "ant", "", ""},
                  {"306021", "b.mp4;a.mp4", "ant", ""}}));
  EXPECT_EQ(Postgres().Query("SELECT evidence_id, operation_type, file_name, user_name, client_type "
                             "FROM evidence.operation_log ORDER BY id"),
            (Rows{{"1", "1", "", "", "-1"},
                  {"1", "4", "z.mp4", "", "-1"},
                  {"2", "1", "", "", "-1"},
                  {"2", "4", "b.mp4|a.mp4", "", "-1"}}));
  EXPECT_EQ(call("/Comm/Type", R"({"Request":{"SearchCriteria":{"EvidenceTypeIDs":[1]}}})"),
            R"({"BinarySize":"","Response":{"ErrorModule":0,"ErrorCode":0,"CascadingErrorInfo":"","Data":)"
            R"({"EvidenceTypeList":{"EvidenceType":[{"ID":1,"Name":"Theft"}]},"PageIndex":-1,"PageSize":-1,)"
            R"("TotalNum":1}}})");
  EXPECT_EQ(host.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
