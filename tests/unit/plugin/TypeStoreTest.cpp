// The statement texts of the type operations, seen as the database manager gets them, and their failure pairs.

#include <gtest/gtest.h>

#include <regex>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::EvidenceTypePtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;

class TypeStoreTest : public ::testing::Test {
 protected:
  /// What was sent, with each time replaced by NOW.
  Texts Sent() {
    static const std::regex time(R"('\d{4}-\d\d-\d\d \d\d:\d\d:\d\d')");
    Texts texts;
    for (const auto& sql : platform_.db->sent)
      texts.push_back(std::regex_replace(sql, time, "'NOW'"));
    platform_.db->sent.clear();
    return texts;
  }

  static EvidenceTypePtr Type(std::int32_t id, const std::string& name) {
    return std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{id, name});
  }

  scripted::Platform platform_;
  Evidence::CEvidenceMgrDBByPG store_;
};

TEST_F(TypeStoreTest, SendsExactTexts) {
  const std::list<EvidenceTypePtr> types{Type(6, "O'Brien"), Type(7, R"(100% \ "x")")};
  EXPECT_TRUE(store_.InsertEvidenceTypes(types));
  EXPECT_TRUE(store_.UpdateEvidenceTypes(types));
  EXPECT_TRUE(store_.DeleteEvidenceTypes({6, 7}));
  EXPECT_TRUE(store_.DeleteEvidenceTypeInEvidence({6, 7}));
  EXPECT_EQ(
      Sent(),
      (Texts{
          "INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (6, 'O''Brien', 'NOW', 0);"
          "INSERT INTO evidence.evidence_type (ID, name, create_time, deleted) VALUES (7, '100% \\ \"x\"', 'NOW', 0);",
          "UPDATE evidence.evidence_type SET name = 'O''Brien', update_time = 'NOW' WHERE id = 6;"
          "UPDATE evidence.evidence_type SET name = '100% \\ \"x\"', update_time = 'NOW' WHERE id = 7;",
          "UPDATE evidence.evidence_type SET deleted = 1 WHERE id = 6;"
          "UPDATE evidence.evidence_type SET deleted = 1 WHERE id = 7;",
          "UPDATE evidence.evidence SET evidence_type_id = -1, update_time = 'NOW', local_update_time = 'NOW' "
          "WHERE deleted = 0 AND evidence_type_id IN (6,7);"}));

  std::string name = "left over";
  EXPECT_TRUE(store_.QueryEvidenceTypeNameById(name, 6)) << "no row is no failure";
  EXPECT_EQ(name, "");
  EXPECT_EQ(Sent(), (Texts{"SELECT * FROM evidence.evidence_type WHERE ID = 6"}));
}

TEST_F(TypeStoreTest, EmptyBatchesSendNothing) {
  EXPECT_TRUE(store_.InsertEvidenceTypes({}));
  EXPECT_TRUE(store_.UpdateEvidenceTypes({}));
  EXPECT_TRUE(store_.DeleteEvidenceTypes({}));
  EXPECT_TRUE(store_.DeleteEvidenceTypeInEvidence({}));
  EXPECT_EQ(Sent(), Texts{});
}

TEST_F(TypeStoreTest, SequenceGivesTheNextKeyOrMinusOne) {
  platform_.db->answer = [](const std::string&) { return std::vector<scripted::Row>{{{"nextval", "41"}}}; };
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), 41);
  EXPECT_EQ(Sent(), (Texts{"SELECT NEXTVAL('evidence.evidence_type_id_seq')"}));

  platform_.db->answer = [](const std::string&) { return std::vector<scripted::Row>(); };
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), -1);
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(platform_.sink->Has(5, "[Evidence::CEvidenceMgrDBByPG::QueryLastSeqID]Query last swq id failed.["));
  platform_.sink->Clear();
  platform_.db->null_cursor = true;
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), -1);
  EXPECT_TRUE(platform_.sink->Has(5, "]Query last swq id failed.["));

  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), -1);
  EXPECT_TRUE(platform_.sink->Has(5, "]Query last seq id failed, do sql failed.["));
}

TEST_F(TypeStoreTest, ReadsRowsAndPassesOverANullCursor) {
  platform_.db->answer = [](const std::string&) {
    return std::vector<scripted::Row>{{{"ID", "0"}, {"name", ""}}, {{"ID", "6"}, {"name", "a"}}};
  };
  std::list<EvidenceTypePtr> types;
  EXPECT_TRUE(store_.ReadAllEvidenceTypes(types));
  ASSERT_EQ(types.size(), 2U);
  EXPECT_EQ(types.back()->type_id, 6);
  EXPECT_EQ(types.back()->type_name, "a");
  platform_.db->null_cursor = true;
  types.clear();
  EXPECT_TRUE(store_.ReadAllEvidenceTypes(types));
  EXPECT_TRUE(types.empty());
}

TEST_F(TypeStoreTest, FailuresGiveThePairAndTheLine) {
  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  const std::list<EvidenceTypePtr> types{Type(6, "a")};
  std::list<EvidenceTypePtr> read;
  std::string name;
  struct Case {
    std::function<bool()> run;
    std::string line;
  };
  for (const Case& c :
       {Case{[&] { return store_.InsertEvidenceTypes(types); },
             "]Insert evidence type failed, sqls[INSERT INTO evidence.evidence_type"},
        Case{[&] { return store_.UpdateEvidenceTypes(types); },
             "]Update evidence type failed, sqls[UPDATE evidence.evidence_type SET name"},
        Case{[&] { return store_.DeleteEvidenceTypes({6}); },
             "]Delete evidence type failed, sqls[UPDATE evidence.evidence_type SET deleted"},
        Case{[&] { return store_.ReadAllEvidenceTypes(read); },
             "]Read all evidences from DB failed, sql[SELECT * FROM evidence.evidence_type"},
        Case{[&] { return store_.QueryEvidenceTypeNameById(name, 6); }, "]Get evidence type failed, id[6].["},
        Case{[&] { return store_.DeleteEvidenceTypeInEvidence({6}); },
             "]Update evidence failed, sql[UPDATE evidence.evidence SET evidence_type_id = -1"}}) {
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(c.run());
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15)) << c.line;
    EXPECT_TRUE(platform_.sink->Has(5, c.line)) << c.line;
  }
}

// The database gives the result of the last statement of a text.
TEST_F(TypeStoreTest, OptionsAreReadWithAGrowingText) {
  std::list<Evidence::EvidenceCustomPtr> customs;
  for (const int type : {0, 1, 2}) {
    customs.push_back(std::make_shared<Evidence::tag_EvidenceCustom_>());
    customs.back()->custom_id = 10 + type;
    customs.back()->custom_type = type;
  }
  platform_.db->answer = [this](const std::string&) {
    return std::vector<scripted::Row>{{{"ID", std::to_string(platform_.db->sent.size())}, {"name", "option"}}};
  };
  EXPECT_TRUE(store_.ReadAllCustomOptions(customs));
  const std::string first = "SELECT * FROM evidence.evidence_option WHERE custom_id = 10 AND deleted = 0;";
  EXPECT_EQ(Sent(),
            (Texts{first, first + "SELECT * FROM evidence.evidence_option WHERE custom_id = 12 AND deleted = 0;"}));
  EXPECT_EQ(customs.front()->custom_options.front().option_id, 1);
  EXPECT_EQ(customs.back()->custom_options.front().option_id, 2);
}

}  // namespace
