// What the store finds and reads back on a real PostgreSQL: queries of evidences, hostile texts, histories, settings.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "support/RunningPlugin.h"
#include "support/ThrowawayPostgres.h"

namespace {

using namespace Evidence;
using evidence_test::Postgres;
using evidence_test::Rows;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class StoreReadTest : public evidence_test::PluginTest {
 protected:
  EvidencePtr Insert(std::int32_t id, const std::function<void(_tag_Evidence_&)>& set) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = id;
    evidence->guid = std::to_string(id);
    set(*evidence);
    EXPECT_TRUE(store_.InsertEvidence(evidence)) << id;
    return evidence;
  }

  /// The ids that a query finds, in order, "+" when more follow, and what it says of the page.
  std::string Found(const _tag_EvidenceFilterInfo_& filter, page_info page = {0, 1, 100}) {
    std::list<EvidencePtr> evidences;
    bool has_more = false;
    (void)Sent();
    Orv::Base::Error::SetLastError({});
    if (!store_.QueryEvidences(evidences, page, has_more, std::make_shared<_tag_EvidenceFilterInfo_>(filter))) {
      return "error " + std::to_string(GetLastError().SubCode());
    }
    std::string ids;
    for (const auto& evidence : evidences)
      ids += std::to_string(evidence->id) + " ";
    return ids + (has_more ? "+" : "") + "| " + std::to_string(page.PageSize) + " of " + std::to_string(page.total);
  }

  CEvidenceMgrDBByPG store_;
};

TEST_F(StoreReadTest, EachPartOfAFilterFindsItsRowsOnly) {
  Insert(1, [](auto&) {});
  Insert(2, [](auto& e) { e.evidence_type.type_id = e.add_mode = 3; });
  Insert(3, [](auto& e) { e.scene.scene_id = 3; });
  Insert(4, [](auto& e) { e.outcome.outcome_id = 3; });
  Insert(5, [](auto& e) { e.evidence_status = 0; });
  Insert(6, [](auto& e) { e.name = "Ki_ng % 'x' \\"; });
  Insert(7, [](auto& e) { e.label = "a|ki_NG|b"; });
  Insert(8, [](auto& e) { e.evidence_desc = "old KI_NG"; });
  Insert(9, [](auto& e) { e.releated_camera_ids = "ki_ng"; });
  Insert(10, [](auto& e) { e.guid = R"(A ki_ng b_c%d'e\)"; });
  Insert(11, [](auto& e) {
    e.evidence_begin_time = "2026-01-05";
    e.evidence_end_time = "2026-01-07";
  });
  Insert(12, [](auto& e) { e.name = "kixng"; });
  Postgres().Query(
      "UPDATE evidence.evidence SET create_time = '2020-01-01', local_create_time = '2021-01-01' WHERE id = 1;"
      "UPDATE evidence.evidence SET deleted = 1, name = 'ki_ng', scene_id = 3 WHERE id = 12");
  struct Case {
    std::function<void(_tag_EvidenceFilterInfo_&)> set;
    std::string condition;
    std::string found;
  };
  const auto keyword = [](const std::string& text, std::int32_t type) {
    return [=](auto& f) {
      f.keyword = text;
      f.keyword_type = type;
    };
  };
  for (const Case& c : {
           Case{[](auto&) {}, "", "1 2 3 4 5 6 7 8 9 10 11 | 11 of 11"},
           Case{[](auto& f) { f.evidence_type_id = 3; }, "evidence_type_id = 3 AND ", "2 | 1 of 1"},
           Case{[](auto& f) { f.scene_id = 3; }, "scene_id = 3  AND ", "3 | 1 of 1"},
           Case{[](auto& f) { f.outcome_id = 3; }, "outcome_id = 3  AND ", "4 | 1 of 1"},
           Case{[](auto& f) { f.status = 0; }, "evidence_status = 0  AND ", "5 | 1 of 1"},
           Case{[](auto& f) { f.add_mode = 3; }, "add_mode = 3 AND ", "2 | 1 of 1"},
           Case{[](auto& f) { f.guid = R"(B_c%D'e\)"; }, R"(guid ilike '%B\_c\%D''e\\%'  AND )", "10 | 1 of 1"},
           Case{keyword("ki_ng", 0), R"((name ilike '%ki\_ng%')  AND )", "6 | 1 of 1"},
           Case{keyword("ki_ng", 1), R"((name ilike '%ki\_ng%' OR label ilike '%ki\_ng%' )  AND )", "6 7 | 2 of 2"},
           Case{keyword("king", -1),
                "(name ilike '%king%' OR evidence_desc ilike '%king%'  OR guid ilike '%king%' OR  label ilike '%king%' "
                "  OR  releated_camera_ids ilike '%king%'   )  AND ",
                "| 0 of 0"},
           Case{keyword("king", 2), "", "1 2 3 4 5 6 7 8 9 10 11 | 11 of 11"},
           Case{[](auto& f) {
                  f.create_start_time = "2020-01-01 00:00:00";
                  f.create_end_time = "2020-12-31 00:00:00";
                },
                "create_time <= '2020-12-31 00:00:00' AND create_time >= '2020-01-01 00:00:00'  AND ", "1 | 1 of 1"},
           Case{[](auto& f) {
                  f.create_start_time = f.create_end_time = "2021-01-01 00:00:00";
                  f.time_type = 1;
                },
                "local_create_time <= '2021-01-01 00:00:00' AND local_create_time >= '2021-01-01 00:00:00'  AND ",
                "1 | 1 of 1"},
           Case{[](auto& f) {
                  f.evidence_begin_start_time = "2026-01-04";
                  f.evidence_begin_end_time = "2026-01-06";
                  f.evidence_end_start_time = "2026-01-06";
                  f.evidence_end_end_time = "2026-01-08";
                },
                "evidence_begin_time <= '2026-01-06' AND evidence_begin_time >= '2026-01-04'  AND evidence_end_time "
                "<= '2026-01-08' AND evidence_end_time >= '2026-01-06'  AND ",
                "11 | 1 of 1"},
           Case{[](auto& f) { f.create_start_time = f.evidence_begin_end_time = f.evidence_end_start_time = "2026"; },
                "", "1 2 3 4 5 6 7 8 9 10 11 | 11 of 11"},
       }) {
    _tag_EvidenceFilterInfo_ filter;
    filter.sort_type = 7;
    c.set(filter);
    EXPECT_EQ(Found(filter), c.found);
    EXPECT_EQ(Sent(), "SELECT COUNT(id)  FROM evidence.evidence WHERE " + c.condition +
                          "deleted = 0\nSELECT * FROM evidence.evidence WHERE " + c.condition +
                          "deleted = 0 ORDER BY ID ASC limit 101 offset 0;");
  }
}

TEST_F(StoreReadTest, SortsAndPages) {
  // Each column puts the rows into an order of its own.
  constexpr std::int32_t kColumns = 7;
  const auto order = [](std::int32_t column, std::int32_t row) { return (row - column + kColumns) % kColumns; };
  for (std::int32_t row = 0; row < kColumns; ++row) {
    Insert(order(3, row), [&](auto& e) {
      e.guid = std::to_string(row);
      e.name = std::to_string(order(0, row));
      e.create_user.name = std::to_string(order(1, row));
      e.evidence_begin_time = std::to_string(order(4, row));
      e.evidence_end_time = std::to_string(order(5, row));
      e.cad_id = std::to_string(order(6, row));
    });
  }
  Postgres().Query(
      "UPDATE evidence.evidence SET local_create_time = timestamp '2026-01-01' + "
      "(guid::integer - 2 + 7) % 7 * interval '1 day'");
  for (std::int32_t sort = -1; sort <= 16; ++sort) {
    const std::int32_t known = sort >= 1 && sort <= 14 ? sort - 1 : 5;
    std::string expected;
    for (std::int32_t place = 0; place < kColumns; ++place) {
      const std::int32_t row = known / 2 + (known % 2 == 0 ? place : kColumns - 1 - place);
      expected += std::to_string(order(3, row % kColumns)) + " ";
    }
    _tag_EvidenceFilterInfo_ filter;
    filter.sort_type = sort;
    EXPECT_EQ(Found(filter), expected + "| 7 of 7") << sort;
  }

  constexpr std::int32_t kMax = 2147483647;
  _tag_EvidenceFilterInfo_ filter;
  filter.sort_type = 7;
  for (const auto& [page, found] :
       std::vector<std::pair<page_info, std::string>>{{{0, 2, 2}, "2 3 +| 2 of 7"},
                                                      {{0, 1, 7}, "0 1 2 3 4 5 6 | 7 of 7"},
                                                      {{0, kMax, kMax}, "| 0 of 7"},
                                                      {{0, 1, kMax}, "0 1 2 3 4 5 6 | 7 of 7"},
                                                      {{0, 0, 5}, "error 2"},
                                                      {{0, -1, 5}, "error 2"},
                                                      {{0, 5, 0}, "error 2"},
                                                      {{0, 5, -1}, "error 2"},
                                                      {{0, -kMax - 1, -kMax - 1}, "error 15"}}) {
    EXPECT_EQ(Found(filter, page), found);
    EXPECT_EQ(Sent().empty(), found == "error 2");
  }
}

TEST_F(StoreReadTest, ABadFilterSendsNothing) {
  for (const std::function<void(_tag_EvidenceFilterInfo_&)>& set :
       std::initializer_list<std::function<void(_tag_EvidenceFilterInfo_&)>>{
           [](auto& f) { f.status = 2; }, [](auto& f) { f.status = -2; },
           [](auto& f) {
             f.create_start_time = "2026-01-02 00:00:00";
             f.create_end_time = "2026-01-01 00:00:00";
           },
           [](auto& f) { f.create_start_time = "2026' OR '1'='1"; }, [](auto& f) { f.evidence_begin_end_time = "\\"; },
           [](auto& f) { f.evidence_end_start_time = std::string("a\0b", 3); }}) {
    _tag_EvidenceFilterInfo_ filter;
    set(filter);
    EXPECT_EQ(Found(filter), "error 2");
    EXPECT_EQ(Sent(), "");
  }
}

/// Everything that a row holds of an evidence.
std::string Whole(const _tag_Evidence_& e) {
  std::string whole = e.guid + "\n" + e.create_time;
  for (const std::int32_t number : {e.id, e.evidence_type.type_id, e.scene.scene_id, e.outcome.outcome_id,
                                    e.evidence_status, e.create_user.id, e.add_mode, e.upload_mode, e.upload_status})
    whole += "\n" + std::to_string(number);
  for (const auto* text : {&e.name, &e.evidence_desc, &e.label, &e.evidence_begin_time, &e.evidence_end_time, &e.cad_id,
                           &e.create_user.name, &e.upload_begin_time, &e.upload_end_time, &e.record_begin_time,
                           &e.record_end_time, &e.releated_camera_ids, &e.succeed_camera_ids})
    whole += "\n" + *text;
  return whole;
}

TEST_F(StoreReadTest, HostileTextsReadBackWhole) {
  for (const std::string& text :
       {std::string(R"(it's back\slash \' \n 100%_ %s%n$1 :name ?)"), std::string("');DROP TABLE evidence.evidence;--"),
        std::string("line\nbreak\r\ttab \xE4\xB8\xAD\xF0\x9F\x94\x8E"), std::string(20000, 'x') + "'"}) {
    Postgres().Query("DELETE FROM evidence.evidence");
    const auto numbered = [&text](int n) { return text + std::to_string(n); };
    const auto evidence = Insert(1, [&](auto& e) {
      e = {1,
           text.substr(0, 60),
           numbered(1),
           {2, ""},
           {3, ""},
           {4, ""},
           {},
           0,
           numbered(2),
           {5, numbered(3)},
           "2026-01-01T05:00:00+05:00",
           numbered(4),
           numbered(5),
           numbered(6),
           6,
           numbered(7),
           7,
           numbered(8),
           numbered(9),
           numbered(10),
           numbered(11),
           8,
           "12",
           text.substr(0, 2000),
           {}};
    });
    EXPECT_TRUE(store_.UpdateCameraUploadStatus(1, 8) && store_.UpdateCameraUploadSuccList(1, "12"));
    Postgres().Query("UPDATE evidence.evidence SET local_create_time = '2026-01-01 05:00', create_time_offset = 300");
    EvidencePtr read;
    ASSERT_TRUE(store_.GetEvidenceByID(read, 1));
    EXPECT_EQ(Whole(*read), Whole(*evidence));
    EXPECT_TRUE(store_.UpdateEvidence(read));
    ASSERT_TRUE(store_.GetEvidenceByGuid(read, evidence->guid));
    EXPECT_EQ(Whole(*read), Whole(*evidence)) << "an update writes what stood";
  }
  const auto nul = std::make_shared<_tag_Evidence_>();
  nul->guid = std::string("a\0b", 3);
  EXPECT_FALSE(store_.InsertEvidence(nul)) << "a text is never cut short unseen";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
}

TEST_F(StoreReadTest, HistoryIsFoldedByTypeTimeAndUser) {
  Postgres().Query(
      "INSERT INTO evidence.operation_log (id, evidence_id, occur_local_time, occur_time_offset, client_type, "
      "operation_type, user_name, mod_type, before_mod, after_mod, file_name, user_ip, camera_name, dev_name, dev_ip) "
      "SELECT row_number() OVER (), 7, '2026-01-01', 60, 4, type, name, mod, before, '9:z', 'file', 'ip', 'camera', "
      "'dev', 'devip' FROM (VALUES (2, 'u', 2, '7:a:b'), (2, 'u', 6, ''), (2, 'u', 5, 'x'), (2, 'u', 2, '7'), "
      "(2, 'u', 2, '7::b:c:d'), (2, 'u', 2, '99999999999:a'), (2, 'v', 2, 'x:a'), (3, 'u', 2, '1'), (5, 'u', 2, '7:a')"
      ") AS rows (type, name, mod, before)");
  std::map<std::string, operation_record> records;
  IdList reserved;
  ASSERT_TRUE(store_.GetEvidenceLog(records, reserved, 7));
  std::vector<std::string> lines;
  for (const auto& [key, record] : records) {
    lines.push_back(key + " " + std::to_string(record.evidence_id) + " " + std::to_string(record.client_type) + " " +
                    std::to_string(record.is_device));
    for (const auto& item : record.change_items) {
      lines.push_back(std::to_string(item.mod_type) + " " + item.file_name + " " + std::to_string(item.before_id) +
                      ":" + item.before_mod + " " + std::to_string(item.after_id) + ":" + item.after_mod);
    }
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"22026-01-01T00:00:00+01:00uip 7 4 0", "2 file 7:a:b 9:z",
                                             "6 file -1: 9:z", "5  -1:file -1:", "2 file 7: 9:z", "2 file 7::b:c 9:z",
                                             "2 file 2147483647:a 9:z", "22026-01-01T00:00:00+01:00vip 7 4 0",
                                             "2 file 0:a 9:z", "32026-01-01T00:00:00+01:00uip 7 4 0", "2 file 1: 9:z",
                                             "52026-01-01T00:00:00+01:00cameradevdevip 7 4 1", "-1  -1:file -1:"}));
}

TEST_F(StoreReadTest, FailuresLeaveTheConnectionUsable) {
  std::int32_t count = 0;
  const auto counts = [&] { return store_.GetEvidencesCount(count); };
  const auto evidence = Insert(1, [](auto&) {});
  evidence->id = 2;
  EXPECT_FALSE(store_.InsertEvidence(evidence)) << "one live evidence for each guid";
  Postgres().Query("REVOKE SELECT ON evidence.evidence FROM evidence_app");
  EXPECT_FALSE(counts());
  Postgres().Query("GRANT SELECT ON evidence.evidence TO evidence_app");
  EXPECT_TRUE(counts());

  Postgres().Query("ALTER ROLE evidence_app SET statement_timeout = '50ms'");
  kelp::IDBManager::Instance()->UnInitialize("casefile.s");
  ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 1, 1, true));
  {
    const evidence_test::Session blocker(Postgres().OwnerConnection());
    blocker.Query("BEGIN; LOCK TABLE evidence.evidence");
    EXPECT_FALSE(counts()) << "cancelled by the server";
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  }
  EXPECT_TRUE(counts());
  Postgres().Query("ALTER ROLE evidence_app RESET statement_timeout");
  Postgres().Stop();
  EXPECT_FALSE(counts());
  Postgres().Start();
  EXPECT_TRUE(counts());
  EXPECT_EQ(count, 1);
}

}  // namespace
