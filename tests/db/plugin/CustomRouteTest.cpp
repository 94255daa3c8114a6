// Custom attributes over their route, on a real PostgreSQL.

#include <gtest/gtest.h>

#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;
using evidence_test::Rows;
using evidence_test::RunningPlugin;

const std::string kCustoms = "/TRELL/Halyard/Evidence/V1/Evidence/Custom";

std::string Status(int code) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) + "}}";
}

std::string List(const std::string& entries) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"CustomList":{"Custom":[)" + entries + "]}}}}";
}

/// The whole dictionary: the built-in attributes and these.
std::string Wanted(const std::string& entries) {
  return R"({"EvidenceCustomList":{"EvidenceCustom":[{"ID":1,"Name":"Labels","CustomType":1},)"
         R"({"ID":2,"Name":"Scene","CustomType":0},{"ID":3,"Name":"Outcome","CustomType":0})" +
         entries + "]}}";
}

const std::string kBuiltIn =
    R"({"ID":1,"Name":"Labels","CustomType":1},{"ID":2,"Name":"Scene","CustomType":0,"CustomOptionList":{}},)"
    R"({"ID":3,"Name":"Outcome","CustomType":0,"CustomOptionList":{}})";

class CustomRouteTest : public ::testing::Test {
 protected:
  CustomRouteTest() {
    Postgres().Query(
        "DELETE FROM evidence.evidence_custom WHERE id > 5; DELETE FROM evidence.evidence_option;"
        "DELETE FROM platform.incre_resource; DELETE FROM platform.operation_log;"
        "UPDATE evidence.evidence_custom SET name = (ARRAY['Labels', 'Scene', 'Outcome'])[id], deleted = 0;"
        "ALTER SEQUENCE evidence.evidence_custom_id_seq RESTART 6;"
        "ALTER SEQUENCE evidence.evidence_option_id_seq RESTART;"
        "ALTER SEQUENCE platform.incre_resource_version_seq RESTART 100");
    plugin_.emplace();
  }
  ~CustomRouteTest() override {
    plugin_.reset();
    Postgres().Query("UPDATE evidence.evidence_custom SET name = ''");
  }

  std::string Since(const std::string& version) const {
    return plugin_->Get(kCustoms, R"({"CustomQueryReq":{"ClientResourceVersion":)" + version + "}}");
  }
  static std::string Version() {
    return Postgres().Value("SELECT coalesce(max(version), 0) FROM platform.incre_resource");
  }

  std::optional<RunningPlugin> plugin_;
};

TEST_F(CustomRouteTest, WholeAndByWhatChanged) {
  EXPECT_EQ(plugin_->Get(kCustoms, "{}"), List(kBuiltIn));
  EXPECT_EQ(plugin_->Put(kCustoms, Wanted(R"(,{"Name":"colour","CustomType":0,"CustomOptionList":)"
                                          R"({"CustomOption":[{"OptionName":"red"},{"OptionName":"it's"}]}},)"
                                          R"({"Name":"plate","CustomType":1})")),
            Status(0));
  const std::string own =
      R"({"ID":6,"Name":"colour",%"CustomType":0,"CustomOptionList":{"CustomOption":)"
      R"([{"OptionID":1,"OptionName":"red"},{"OptionID":2,"OptionName":"it's"}]}},{"ID":7,"Name":"plate",%"CustomType":1})";
  const auto with_methods = [](std::string text, const std::string& method) {
    for (auto at = text.find('%'); at != std::string::npos; at = text.find('%'))
      text.replace(at, 1, method);
    return text;
  };
  EXPECT_EQ(plugin_->Get(kCustoms, "{}"), List(kBuiltIn + "," + with_methods(own, "")));
  const std::string version = Version();
  EXPECT_EQ(Since(version), "") << "nothing changed: an empty body";
  EXPECT_EQ(Since(std::to_string(std::stoi(version) - 2)), List(with_methods(own, R"("Method":0,)")));

  plugin_.reset();
  plugin_.emplace();
  EXPECT_EQ(plugin_->Put(kCustoms, Wanted(R"(,{"ID":7,"Name":"number","CustomType":1})")), Status(0));
  EXPECT_EQ(Since("\"" + version + "\""), List(R"({"ID":6,"Method":2,"CustomType":0,"CustomOptionList":{}},)"
                                               R"({"ID":7,"Name":"number","Method":1,"CustomType":1})"));
  EXPECT_EQ(Postgres().Query("SELECT log_type, object_name, user_name FROM platform.operation_log ORDER BY id"),
            (Rows{{"306014", "colour;plate", "alice"}, {"306016", "colour", "alice"}, {"306015", "number", "alice"}}));
}

TEST_F(CustomRouteTest, FailuresAreToldInABareEnvelope) {
  EXPECT_EQ(plugin_->Put(kCustoms, Wanted(R"(,{"Name":"Scene","CustomType":1},{"Name":"x","CustomType":1})")),
            Status(99999));
  EXPECT_EQ(Postgres().Value("SELECT name FROM evidence.evidence_custom WHERE id > 5"), "x");
  EXPECT_EQ(plugin_->Put(kCustoms, Wanted(R"(,{"ID":6,"Name":"x","CustomType":1},{"Name":"a"},{"Name":"b"})")),
            Status(120012))
      << "the batch as a whole, without entries";
  EXPECT_TRUE(plugin_->Log().Has(5, "]Update evidence custom failed,iMainCode[0],iSubCode[120012].["));
  for (const std::string& session : {std::string("session"), std::string("stranger")}) {
    EXPECT_EQ(plugin_->Request(kelp::kMethodPut, kCustoms, "{", session), Status(2)) << "before any permission";
  }
  EXPECT_EQ(plugin_->Request(kelp::kMethodPut, kCustoms, Wanted(""), "stranger"), Status(10));
  EXPECT_EQ(plugin_->Get(kCustoms, ""), Status(2));
  EXPECT_TRUE(plugin_->Log().Has(5, "]Decode Req Failed,iMainCode[0],iSubCode[2].["));
  Postgres().Query("REVOKE SELECT ON platform.incre_resource FROM evidence_app");
  const std::string unreadable = Since("1");
  Postgres().Query("GRANT SELECT ON platform.incre_resource TO evidence_app");
  EXPECT_EQ(unreadable, Status(15)) << "no empty body where the changes are not known";
  EXPECT_TRUE(plugin_->Log().Has(4, "]Get IncreResource evidence-customs failed.["));
  EXPECT_EQ(plugin_->Request(kelp::kMethodPost, kCustoms, Wanted("")), "");
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 6));
}

}  // namespace
