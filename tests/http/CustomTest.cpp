// The dictionary of custom attributes as a client on the network sees it.

#include <gtest/gtest.h>

#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

TEST(CustomTest, AttributesChangeByTheRightsOfTheUser) {
  EnsureTester();
  Postgres().Query(
      "DELETE FROM evidence.evidence_custom WHERE id > 5; ALTER SEQUENCE evidence.evidence_custom_id_seq RESTART");
  const auto added = RunHost({"user", "add", "adder", "--web", "1427,1428", "--password-stdin"}, "adder's password\n");
  ASSERT_EQ(added.exit_code, 0) << added.err;
  HostProcess host(HostProcess::SettingsMap{{"plugins", "casefile.s.so"}});
  host.WaitUntilListening();
  const std::string session = Login(host.port(), "adder", "adder's password");
  const auto call = [&](const std::string& method, const std::string& body) {
    return Ask(host.port(), method, "/TRELL/Halyard/Evidence/V1/Evidence/Custom", session, body);
  };
  const auto put = [&](const std::string& entries) {
    return call("PUT", R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"CustomType":1},{"ID":2,"CustomType":0},)"
                       R"({"ID":3,"CustomType":0})" +
                           entries + "]}}")
        .body;
  };
  const auto status = [](int code) {
    return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) + "}}";
  };
  EXPECT_EQ(put(R"(,{"Name":"plate","CustomType":1})"), status(0));
  EXPECT_NE(call("GET", "{}").body.find(R"({"ID":6,"Name":"plate","CustomType":1})"), std::string::npos);
  EXPECT_EQ(put(""), status(10)) << "an attribute left out is a deletion";
  const std::string version = Postgres().Value("SELECT max(version) FROM platform.incre_resource");
  const auto unchanged = call("GET", R"({"CustomQueryReq":{"ClientResourceVersion":)" + version + "}}");
  EXPECT_EQ(unchanged.status, 204);
  EXPECT_EQ(unchanged.body, "");
  EXPECT_EQ(host.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
