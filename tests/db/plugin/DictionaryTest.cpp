// Types and custom attributes from their routes to the rows, on a real PostgreSQL.

#include <gtest/gtest.h>

#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Postgres;

const std::string kTypes = "/TRELL/Halyard/Evidence/V1/Evidence/Type";
const std::string kCustoms = "/TRELL/Halyard/Evidence/V1/Evidence/Custom";

const std::string kBuiltInTypes =
    R"("Name":"Other"},{"ID":1,"Name":"Theft"},{"ID":2,"Name":"Robbery"},{"ID":3,"Name":"Attack"},)"
    R"({"ID":4,"Name":"Missing person"},{"ID":5,"Name":"Suspicious behavior"})";
const std::string kBuiltInCustoms =
    R"({"ID":1,"Name":"Label","CustomType":1},{"ID":2,"Name":"Scene","CustomType":0,"CustomOptionList":{}},)"
    R"({"ID":3,"Name":"Outcome","CustomType":0,"CustomOptionList":{}})";

std::string Answer(int code, const std::string& data = {}) {
  return R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":)" + std::to_string(code) +
         (data.empty() ? "" : R"(,"Data":)" + data) + "}}";
}

std::string TypeList(const std::string& total, const std::string& entries) {
  return Answer(0, R"({"TotalNum":)" + total + R"(,"EvidenceTypeList":{"EvidenceType":[)" + entries + "]}}");
}

std::string CustomList(const std::string& entries) {
  return Answer(0, R"({"CustomList":{"Custom":[)" + entries + "]}}");
}

/// The whole dictionary: the built-in entries and these.
std::string Types(const std::string& entries) {
  return R"({"EvidenceTypeList":{"EvidenceType":[{"ID":0,)" + kBuiltInTypes + entries + "]}}";
}
std::string Customs(const std::string& entries) {
  return R"({"EvidenceCustomList":{"EvidenceCustom":[)" + kBuiltInCustoms + entries + "]}}";
}

class DictionaryTest : public evidence_test::PluginTest {
 protected:
  /// What stands in the dictionaries' tables beside the built-in entries, the changes told and the lines logged.
  static std::string Rows() {
    return Postgres().Value(
        "SELECT string_agg(concat_ws(' ', word, a, b, c, d), '; ' ORDER BY part, place) FROM ("
        "SELECT 1 AS part, id AS place, 'type' AS word, id AS a, name AS b, deleted AS c, NULL::integer AS d "
        "FROM evidence.evidence_type WHERE id > 5 UNION ALL "
        "SELECT 2, id, 'custom', id, name, types, deleted FROM evidence.evidence_custom WHERE id > 5 UNION ALL "
        "SELECT 3, id, 'option', id, name, custom_id, deleted FROM evidence.evidence_option UNION ALL "
        "SELECT 4, version, 'change', source_type, NULL, resource_id, method FROM platform.incre_resource UNION ALL "
        "SELECT 5, id, 'log', log_type, concat_ws(' ', user_name, client_address, object_name), NULL, NULL "
        "FROM platform.operation_log) AS lines");
  }
};

TEST_F(DictionaryTest, TypesOfTheTableTheCacheTheChangesAndTheLogAgree) {
  EXPECT_EQ(Put(kTypes, Types(R"(,{"Name":"O'Brien \\ 100%"},{"Name":"\u4e2d"},{"Name":"a\u0000b"})")),
            Answer(99999, R"({"EvidenceTypeErrorList":{"EvidenceTypeError":[)"
                          R"({"Name":"a\u0000b","Error":{"ErrorModule":0,"ErrorCode":2}}]}})"));
  EXPECT_EQ(Put(kTypes + "/6", R"({"EvidenceType":{"ID":99,"Name":"';DROP TABLE x;--\\'\" %s%n$1"}})"), Answer(0));
  EXPECT_EQ(Put(kTypes + "/0", R"({"EvidenceType":{"Name":"Fire"}})"), Answer(0));
  Postgres().Query(
      "INSERT INTO evidence.evidence (id, guid, evidence_type_id, deleted) VALUES (1, 'a', 7, 0), (2, 'b', 7, 1), "
      "(3, 'c', 6, 0)");
  EXPECT_EQ(plugin_->Request(kelp::kMethodDelete, kTypes + "/7"), Answer(0));
  EXPECT_EQ(Postgres().Value("SELECT string_agg(evidence_type_id::text, ' ' ORDER BY id) FROM evidence.evidence"),
            "-1 7 6")
      << "only live evidences lose the type";
  EXPECT_EQ(Rows(),
            "type 6 ';DROP TABLE x;--\\'\" %s%n$1 0; type 7 \xE4\xB8\xAD 1; "
            "change 13001 6 0; change 13001 7 0; change 13001 6 1; change 13001 0 1; change 13001 7 2; "
            "log 306011 alice 10.0.0.7 O'Brien \\ 100%;\xE4\xB8\xAD;a\xEF\xBF\xBD"
            "b; log 306012 alice 10.0.0.7 ';DROP TABLE x;--\\'\" %s%n$1; log 306012 alice 10.0.0.7 Fire; "
            "log 306013 alice 10.0.0.7 \xE4\xB8\xAD");
  const std::string own = R"({"ID":6,"Name":"';DROP TABLE x;--\\'\" %s%n$1")";
  EXPECT_EQ(Get(kTypes, R"({"EvidenceTypeQueryReq":{"ClientResourceVersion":1}})"),
            TypeList("3", own + R"(,"Method":1},{"ID":0,"Name":"Fire","Method":1},{"ID":7,"Method":2})"))
      << "no addition of what is gone since";
  EXPECT_EQ(Get(kTypes, R"({"EvidenceTypeQueryReq":{"ClientResourceVersion":9}})"),
            Answer(0, R"({"TotalNum":0,"EvidenceTypeList":{}})"));
  EXPECT_EQ(Get(kTypes + "/7"), Answer(9809, "{}"));
  const std::string all = Get(kTypes, "{}");
  EXPECT_EQ(all, TypeList("7", R"({"ID":0,"Name":"Fire"})" + kBuiltInTypes.substr(15) + "," + own + "}"));
  Restart();
  EXPECT_EQ(Get(kTypes, "{}"), all);
  EXPECT_EQ(Postgres().Value("SELECT string_agg(name, '|' ORDER BY id) FROM evidence.evidence_type WHERE id < 6"),
            "Fire|||||")
      << "names in the reader's language are not stored";
}

TEST_F(DictionaryTest, CustomsOfTheTableTheCacheTheChangesAndTheLogAgree) {
  EXPECT_EQ(Put(kCustoms, Customs(R"(,{"Name":"colour","CustomType":0,"CustomOptionList":{"CustomOption":)"
                                  R"([{"OptionName":"red"},{"OptionName":"it's"}]}},{"Name":"plate","CustomType":1})")),
            Answer(0));
  Postgres().Query(
      "INSERT INTO evidence.evidence_custom_info (id, evidence_id, custom_id) VALUES (1, 1, 6), (2, 1, 7)");
  EXPECT_EQ(
      Put(kCustoms, Customs(R"(,{"ID":6,"Name":"it's","CustomType":0,"CustomOptionList":{"CustomOption":)"
                            R"([{"OptionID":2,"OptionName":"blue"},{"OptionID":99,"OptionName":"of nobody"}]}})")),
      Answer(0));
  EXPECT_EQ(Rows(),
            "custom 6 it's 0 0; custom 7 plate 1 1; option 1 red 6 1; option 2 blue 6 0; "
            "change 13005 6 0; change 13005 7 0; change 13005 7 2; change 13005 6 1; "
            "log 306014 alice 10.0.0.7 colour;plate; log 306016 alice 10.0.0.7 plate; log 306015 alice 10.0.0.7 it's");
  EXPECT_EQ(Postgres().Value("SELECT string_agg(deleted::text, '' ORDER BY id) FROM evidence.evidence_custom_info"),
            "01");
  Restart();
  const std::string own = R"("CustomType":0,"CustomOptionList":{"CustomOption":[{"OptionID":2,"OptionName":"blue"}]}})";
  EXPECT_EQ(Get(kCustoms, "{}"), CustomList(kBuiltInCustoms + R"(,{"ID":6,"Name":"it's",)" + own));
  const auto since = [this](const std::string& version) {
    return Get(kCustoms, R"({"CustomQueryReq":{"ClientResourceVersion":)" + version + "}}");
  };
  EXPECT_EQ(since("2"), CustomList(R"({"ID":7,"Method":2,"CustomType":0,"CustomOptionList":{}},)"
                                   R"({"ID":6,"Name":"it's","Method":1,)" +
                                   own));
  EXPECT_EQ(since("\"9\""), "") << "nothing changed: an empty body";
}

// Nothing takes back what earlier statements of a batch wrote: the running plugin serves what it knew, the next one
// what the rows say.
TEST_F(DictionaryTest, RefusedStatementsLeaveWhatIsServed) {
  const std::string types = Get(kTypes, "{}");
  const std::string customs = Get(kCustoms, "{}");
  Postgres().Query("INSERT INTO evidence.evidence_type (id, name, deleted) VALUES (7, 'in the way', 1)");
  EXPECT_EQ(Put(kTypes, Types(R"(,{"Name":"y"},{"Name":"x"})")),
            Answer(99999, R"({"EvidenceTypeErrorList":{"EvidenceTypeError":[)"
                          R"({"Name":"y","Error":{"ErrorModule":0,"ErrorCode":15}},)"
                          R"({"Name":"x","Error":{"ErrorModule":0,"ErrorCode":15}}]}})"));
  Postgres().Query(
      "REVOKE INSERT ON evidence.evidence_option FROM evidence_app;"
      "REVOKE SELECT ON platform.incre_resource FROM evidence_app");
  const std::string own =
      Customs(R"(,{"Name":"a","CustomType":0,"CustomOptionList":{"CustomOption":[{"OptionName":"x"}]}})");
  EXPECT_EQ(plugin_->Request(kelp::kMethodPut, kCustoms, "{", "stranger"), Answer(2)) << "before any permission";
  EXPECT_EQ(plugin_->Request(kelp::kMethodPut, kCustoms, own, "stranger"), Answer(10));
  EXPECT_EQ(Put(kCustoms, own), Answer(99999));
  EXPECT_EQ(Get(kTypes, R"({"EvidenceTypeQueryReq":{"ClientResourceVersion":1}})"),
            Answer(15, R"({"TotalNum":0,"EvidenceTypeList":{}})"));
  EXPECT_EQ(Get(kCustoms, R"({"CustomQueryReq":{"ClientResourceVersion":1}})"), Answer(15));
  Postgres().Query(
      "GRANT INSERT ON evidence.evidence_option TO evidence_app;"
      "GRANT SELECT ON platform.incre_resource TO evidence_app");
  EXPECT_EQ(Get(kTypes, "{}"), types);
  EXPECT_EQ(Get(kCustoms, "{}"), customs);
  EXPECT_EQ(Rows(), "type 7 in the way 1; custom 6 a 0 0");
  Restart();
  EXPECT_EQ(Get(kTypes, "{}"), types);
  EXPECT_EQ(Get(kCustoms, "{}"),
            CustomList(kBuiltInCustoms + R"(,{"ID":6,"Name":"a","CustomType":0,"CustomOptionList":{}})"));
}

}  // namespace
