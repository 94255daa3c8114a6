// The two statements of an evidence query, and what is refused before anything is sent.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/EvidenceSession/EvidenceQueryText.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::_tag_EvidenceFilterInfo_;
using Evidence::BuildEvidenceQuery;
using Evidence::page_info;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

struct PartCase {
  const char* name;
  std::function<void(_tag_EvidenceFilterInfo_&)> set;
  std::string part;
};

class QueryPartTest : public ::testing::TestWithParam<PartCase> {};

TEST_P(QueryPartTest, StandsInBothStatements) {
  _tag_EvidenceFilterInfo_ filter;
  GetParam().set(filter);
  const auto sql = BuildEvidenceQuery(filter, {0, 3, 10});
  EXPECT_EQ(sql.count, "SELECT COUNT(id)  FROM evidence.evidence WHERE " + GetParam().part + "deleted = 0");
  EXPECT_EQ(sql.page, "SELECT * FROM evidence.evidence WHERE " + GetParam().part +
                          "deleted = 0 ORDER BY local_create_time DESC limit 11 offset 20;");
}

INSTANTIATE_TEST_SUITE_P(
    Parts, QueryPartTest,
    ::testing::Values(
        PartCase{"None", [](auto&) {}, ""},
        PartCase{"Type", [](auto& f) { f.evidence_type_id = 0; }, "evidence_type_id = 0 AND "},
        PartCase{"Scene", [](auto& f) { f.scene_id = 2; }, "scene_id = 2  AND "},
        PartCase{"Outcome", [](auto& f) { f.outcome_id = -2; }, "outcome_id = -2  AND "},
        PartCase{"Status", [](auto& f) { f.status = 1; }, "evidence_status = 1  AND "},
        PartCase{"AddMode", [](auto& f) { f.add_mode = 2; }, "add_mode = 2 AND "},
        PartCase{"Guid", [](auto& f) { f.guid = R"(a\b_c%d'e)"; }, R"(guid ilike '%a\\b\_c\%d''e%'  AND )"},
        PartCase{"KeywordInName",
                 [](auto& f) {
                   f.keyword = "k";
                   f.keyword_type = 0;
                 },
                 "(name ilike '%k%')  AND "},
        PartCase{"KeywordInNameAndLabel",
                 [](auto& f) {
                   f.keyword = "50%";
                   f.keyword_type = 1;
                 },
                 R"((name ilike '%50\%%' OR label ilike '%50\%%' )  AND )"},
        PartCase{"KeywordEverywhere", [](auto& f) { f.keyword = "k"; },
                 "(name ilike '%k%' OR evidence_desc ilike '%k%'  OR guid ilike '%k%' OR  label ilike '%k%'   OR  "
                 "releated_camera_ids ilike '%k%'   )  AND "},
        PartCase{"KeywordOfUnknownKind",
                 [](auto& f) {
                   f.keyword = "k";
                   f.keyword_type = 2;
                 },
                 ""},
        PartCase{"Created",
                 [](auto& f) {
                   f.create_start_time = "2026-01-01 00:00:00";
                   f.create_end_time = "2026-01-02 00:00:00";
                 },
                 "create_time <= '2026-01-02 00:00:00' AND create_time >= '2026-01-01 00:00:00'  AND "},
        PartCase{"CreatedLocal",
                 [](auto& f) {
                   f.create_start_time = "s";
                   f.create_end_time = "e";
                   f.time_type = 1;
                 },
                 "local_create_time <= 'e' AND local_create_time >= 's'  AND "},
        PartCase{"HalfARange",
                 [](auto& f) {
                   f.create_start_time = "s";
                   f.evidence_begin_end_time = "e";
                   f.evidence_end_start_time = "s";
                 },
                 ""},
        PartCase{"Everything",
                 [](auto& f) {
                   f.evidence_type_id = 1;
                   f.scene_id = 2;
                   f.outcome_id = 3;
                   f.status = 0;
                   f.guid = "g";
                   f.keyword = "k";
                   f.keyword_type = 0;
                   f.create_start_time = "a";
                   f.create_end_time = "b";
                   f.evidence_begin_start_time = "c";
                   f.evidence_begin_end_time = "d";
                   f.evidence_end_start_time = "e";
                   f.evidence_end_end_time = "f";
                   f.add_mode = 4;
                 },
                 "evidence_type_id = 1 AND scene_id = 2  AND outcome_id = 3  AND evidence_status = 0  AND guid ilike "
                 "'%g%'  AND (name ilike '%k%')  AND create_time <= 'b' AND create_time >= 'a'  AND "
                 "evidence_begin_time <= 'd' AND evidence_begin_time >= 'c'  AND evidence_end_time <= 'f' AND "
                 "evidence_end_time >= 'e'  AND add_mode = 4 AND "}),
    [](const auto& param) { return param.param.name; });

TEST(QuerySortTest, EveryOrderAndTheDefault) {
  const std::vector<std::string> orders{"name ASC",
                                        "name DESC",
                                        "evidence_create_user_name ASC",
                                        "evidence_create_user_name DESC",
                                        "local_create_time ASC",
                                        "local_create_time DESC",
                                        "ID ASC",
                                        "ID DESC",
                                        "evidence_begin_time ASC",
                                        "evidence_begin_time DESC",
                                        "evidence_end_time ASC",
                                        "evidence_end_time DESC",
                                        "cad_id ASC",
                                        "cad_id DESC"};
  for (std::int32_t sort = -1; sort <= 16; ++sort) {
    _tag_EvidenceFilterInfo_ filter;
    filter.sort_type = sort;
    const std::string order = sort >= 1 && sort <= 14 ? orders[static_cast<std::size_t>(sort) - 1] : orders[5];
    EXPECT_EQ(BuildEvidenceQuery(filter, {0, 1, 5}).page,
              "SELECT * FROM evidence.evidence WHERE deleted = 0 ORDER BY " + order + " limit 6 offset 0;");
  }
}

TEST(QueryPageTest, EndsOfTheRangeDoNotOverflow) {
  constexpr std::int32_t kMax = 2147483647;
  EXPECT_TRUE(BuildEvidenceQuery({}, {0, kMax, kMax}).page.ends_with(" limit 2147483648 offset 4611686011984936962;"));
  EXPECT_TRUE(BuildEvidenceQuery({}, {0, -kMax - 1, -kMax - 1})
                  .page.ends_with(" limit -2147483647 offset 4611686020574871552;"));
}

class EvidenceQueryTest : public ::testing::Test {
 protected:
  bool Run(page_info page = {0, 1, 2}) {
    page_ = page;
    evidences_.clear();
    return store_.QueryEvidences(evidences_, page_, has_more_, filter_);
  }

  scripted::Platform platform_;
  Evidence::CEvidenceMgrDBByPG store_;
  std::shared_ptr<_tag_EvidenceFilterInfo_> filter_ = std::make_shared<_tag_EvidenceFilterInfo_>();
  std::list<Evidence::EvidencePtr> evidences_;
  page_info page_;
  bool has_more_ = false;
};

TEST_F(EvidenceQueryTest, InputThatIsRefusedSendsNothing) {
  for (const page_info& page : {page_info{0, 0, 5}, page_info{0, -1, 5}, page_info{0, 5, 0}, page_info{0, 5, -1}}) {
    EXPECT_FALSE(Run(page));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  }
  const std::vector<std::function<void(_tag_EvidenceFilterInfo_&)>> faults{
      [](auto& f) { f.status = 2; },
      [](auto& f) { f.status = -2; },
      [](auto& f) {
        f.create_start_time = "2026-01-02 00:00:00";
        f.create_end_time = "2026-01-01 00:00:00";
      },
      [](auto& f) { f.create_start_time = "2026' OR '1'='1"; },
      [](auto& f) { f.evidence_begin_end_time = "\\"; },
      [](auto& f) { f.evidence_end_start_time = std::string("a\0b", 3); }};
  for (const auto& fault : faults) {
    *filter_ = {};
    fault(*filter_);
    EXPECT_FALSE(Run());
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  }
  EXPECT_TRUE(platform_.sink->Has(5, "]Input param error, page-index[0], page-size[5], begin-time[], end-time[], "));
  filter_ = nullptr;
  EXPECT_FALSE(Run());
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
  EXPECT_TRUE(platform_.db->sent.empty());
}

TEST_F(EvidenceQueryTest, OneEndOfARangeIsNotCompared) {
  filter_->create_start_time = "2026-01-02 00:00:00";
  EXPECT_TRUE(Run());
}

TEST_F(EvidenceQueryTest, OneRowMoreTellsThatMoreFollow) {
  int rows = 3;
  platform_.db->answer = [&rows](const std::string& sql) {
    if (sql.starts_with("SELECT COUNT")) return std::vector<scripted::Row>{{{"count", "25"}}};
    return std::vector<scripted::Row>(static_cast<std::size_t>(rows), scripted::Row{{"ID", "1"}});
  };
  EXPECT_TRUE(Run({0, 2, 2}));
  EXPECT_TRUE(has_more_);
  EXPECT_EQ(evidences_.size(), 2U);
  EXPECT_EQ(page_.PageSize, 2);
  EXPECT_EQ(page_.total, 25);
  rows = 2;
  EXPECT_TRUE(Run({0, 2, 2}));
  EXPECT_FALSE(has_more_) << "exactly the last page";
  rows = 0;
  EXPECT_TRUE(Run({0, 9, 2}));
  EXPECT_EQ(page_.PageSize, 0);
}

TEST_F(EvidenceQueryTest, EitherStatementMayFail) {
  for (const std::string failing : {"SELECT COUNT", "SELECT *"}) {
    platform_.db->answer = [&failing](const std::string& sql) -> std::optional<std::vector<scripted::Row>> {
      if (sql.starts_with(failing)) return std::nullopt;
      return std::vector<scripted::Row>();
    };
    EXPECT_FALSE(Run());
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
    EXPECT_TRUE(platform_.sink->Has(5, "]Query evidences failed, sql[" + failing));
  }
  EXPECT_TRUE(platform_.sink->Has(2, "]begin get count, sql: [SELECT COUNT(id)"));
}

}  // namespace
