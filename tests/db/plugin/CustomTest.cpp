// Custom attributes with their options from the manager to the rows, on a real PostgreSQL.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/ThrowawayPostgres.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::CEvidenceManager;
using Evidence::ErrorPtr;
using Evidence::EvidenceCustomPtr;
using Evidence::tag_EvidenceCustom_;
using evidence_test::Postgres;
using evidence_test::Rows;
using Texts = std::vector<std::string>;
using Options = std::vector<Evidence::tag_EvidenceOption_>;

constexpr char kCustomRows[] = "SELECT id, name, types, deleted FROM evidence.evidence_custom WHERE id > 5 ORDER BY id";
constexpr char kOptionRows[] = "SELECT id, custom_id, name, deleted FROM evidence.evidence_option ORDER BY id";

class CustomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query(
        "DELETE FROM evidence.evidence_custom WHERE id > 5; DELETE FROM evidence.evidence_option;"
        "DELETE FROM evidence.evidence_custom_info; DELETE FROM platform.incre_resource;"
        "UPDATE evidence.evidence_custom SET name = '', deleted = 0;"
        "ALTER SEQUENCE evidence.evidence_custom_id_seq RESTART 6;"
        "ALTER SEQUENCE evidence.evidence_option_id_seq RESTART");
    platform_.adapter->system_and_log = platform::MakeSystemAndLogApi();
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 2, 1, true));
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize(platform::kPlatformDbId, 2, 1, true));
    ASSERT_TRUE(manager_.Initialize());
  }
  void TearDown() override {
    kelp::IDBManager::Instance()->UnInitialize("casefile.s");
    kelp::IDBManager::Instance()->UnInitialize(platform::kPlatformDbId);
  }

  bool Set(const std::vector<tag_EvidenceCustom_>& entries) {
    std::list<EvidenceCustomPtr> customs;
    for (const auto& entry : entries)
      customs.push_back(std::make_shared<tag_EvidenceCustom_>(entry));
    errors_.clear();
    return manager_.SetEvidenceCustoms(errors_, customs, "", nullptr, true);
  }

  /// The cache of a manager as "id name/type id=option..."; options by id, the order in which rows come being nobody's.
  static Texts Cached(CEvidenceManager& manager) {
    std::list<EvidenceCustomPtr> customs;
    EXPECT_TRUE(manager.GetEvidenceCustoms(customs, nullptr));
    Texts texts;
    for (const auto& custom : customs) {
      std::map<std::int32_t, std::string> options;
      for (const auto& option : custom->custom_options)
        options[option.option_id] = option.option_name;
      texts.push_back(std::to_string(custom->custom_id) + " " + custom->custom_name + "/" +
                      std::to_string(custom->custom_type));
      for (const auto& [id, name] : options)
        texts.back() += " " + std::to_string(id) + "=" + name;
    }
    return texts;
  }

  /// What a manager that starts now serves.
  static Texts AfterRestart() {
    CEvidenceManager manager;
    EXPECT_TRUE(manager.Initialize());
    return Cached(manager);
  }

  scripted::Platform platform_;
  platform::ScopedBackend<kelp::IDBManager> db_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  CEvidenceManager manager_;
  std::list<ErrorPtr> errors_;
};

TEST_F(CustomTest, WalkLeavesRowsThatARestartReadsBack) {
  const std::string odd = "O'Brien \\ 100%_\n\xE4\xB8\xAD";
  const std::string long_text = std::string(19999, 'x') + "'";
  const tag_EvidenceCustom_ label{1, "", {}, 1, -1};
  ASSERT_TRUE(Set({label,
                   {2, "", {{-1, "street"}}, 0, -1},
                   {3, "", {}, 0, -1},
                   {-1, "O'Brien \\ 100%", {{-1, odd}, {-1, long_text}, {-1, "gone"}}, 0, -1},
                   {-1, "text", {}, 1, -1}}));
  EXPECT_TRUE(errors_.empty());
  EXPECT_EQ(Postgres().Query(kCustomRows), (Rows{{"6", "O'Brien \\ 100%", "0", "0"}, {"7", "text", "1", "0"}}));
  EXPECT_EQ(
      Postgres().Query(kOptionRows),
      (Rows{{"1", "2", "street", "0"}, {"2", "6", odd, "0"}, {"3", "6", long_text, "0"}, {"4", "6", "gone", "0"}}));
  EXPECT_EQ(Postgres().Value("SELECT name FROM evidence.evidence_custom WHERE id = 2"), "");
  EXPECT_EQ(AfterRestart(), Cached(manager_));

  Postgres().Query(
      "INSERT INTO evidence.evidence_custom_info (id, evidence_id, custom_id, option_id) VALUES (1, 1, 7, -1), "
      "(2, 1, 6, 2)");
  ASSERT_TRUE(Set({label,
                   {2, "", {{1, "street"}}, 0, -1},
                   {6, "it's", {{3, "it's"}, {-1, "new"}, {2, odd}, {99, "of nobody"}}, 0, -1}}));
  EXPECT_TRUE(errors_.empty());
  EXPECT_EQ(Postgres().Query(kCustomRows), (Rows{{"6", "it's", "0", "0"}, {"7", "text", "1", "1"}}));
  EXPECT_EQ(Postgres().Query(kOptionRows), (Rows{{"1", "2", "street", "0"},
                                                 {"2", "6", odd, "0"},
                                                 {"3", "6", "it's", "0"},
                                                 {"4", "6", "gone", "1"},
                                                 {"5", "6", "new", "0"}}));
  EXPECT_EQ(Postgres().Query("SELECT custom_id, deleted FROM evidence.evidence_custom_info ORDER BY id"),
            (Rows{{"7", "1"}, {"6", "0"}}));
  EXPECT_EQ(Cached(manager_), (Texts{"1 /1", "2 /0 1=street", "6 it's/0 2=" + odd + " 3=it's 5=new"}));
  EXPECT_EQ(AfterRestart(), Cached(manager_));
  EXPECT_EQ(Postgres().Query("SELECT resource_id, method FROM platform.incre_resource WHERE source_type = 13005 "
                             "ORDER BY version"),
            (Rows{{"2", "1"}, {"6", "0"}, {"7", "0"}, {"3", "2"}, {"7", "2"}, {"6", "1"}}));
}

// Nothing takes back what earlier statements of a batch wrote: the running manager serves what it knew, the next one
// what the rows say.
TEST_F(CustomTest, RefusedOptionsLeaveTheirAttributeToTheNextStart) {
  const std::vector<tag_EvidenceCustom_> built_in{{1, "", {}, 1, -1}, {2, "", {}, 0, -1}, {3, "", {}, 0, -1}};
  const Texts served{"1 /1", "2 /0", "3 /0"};
  auto wanted = built_in;
  wanted.push_back({-1, "a", {{-1, "x"}}, 0, -1});
  Postgres().Query("REVOKE INSERT ON evidence.evidence_option FROM evidence_app");
  const bool done = Set(wanted);
  Postgres().Query("GRANT INSERT ON evidence.evidence_option TO evidence_app");
  EXPECT_FALSE(done);
  ASSERT_EQ(errors_.size(), 1U);
  EXPECT_EQ(errors_.front()->id, 6);
  EXPECT_EQ(errors_.front()->sub_code, 15);
  EXPECT_TRUE(platform_.sink->Has(5,
                                  "]Insert evidence option failed, sqls[INSERT INTO evidence.evidence_option (ID, "
                                  "name,custom_id,deleted) VALUES (1, 'x',6,0);]."));
  EXPECT_EQ(Cached(manager_), served);
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM platform.incre_resource"), "0");
  auto standing = served;
  standing.emplace_back("6 a/0");
  EXPECT_EQ(AfterRestart(), standing);
}

}  // namespace
