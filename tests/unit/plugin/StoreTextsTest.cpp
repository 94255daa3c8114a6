// The statement texts of evidences, customs, options, values, files and history, each as the database manager gets it.

#include <gtest/gtest.h>

#include <regex>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using namespace Evidence;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;

class StoreTextsTest : public ::testing::Test {
 protected:
  StoreTextsTest() {
    platform_.db->answer = [this](const std::string& sql) {
      if (sql.starts_with("SELECT NEXTVAL")) return std::vector<scripted::Row>{{{"nextval", std::to_string(++key_)}}};
      return rows_;
    };
  }

  /// What was sent since the last call, without sequence queries, with each time replaced by NOW.
  Texts Sent() {
    static const std::regex time(R"('\d{4}-\d\d-\d\d \d\d:\d\d:\d\d')");
    Texts texts;
    for (const auto& sql : platform_.db->sent) {
      if (!sql.starts_with("SELECT NEXTVAL")) texts.push_back(std::regex_replace(sql, time, "'NOW'"));
    }
    platform_.db->sent.clear();
    return texts;
  }

  static EvidencePtr SomeEvidence() {
    auto e = std::make_shared<_tag_Evidence_>();
    e->id = 7;
    e->guid = "g";
    e->name = "O'Brien";
    e->evidence_type.type_id = 1;
    e->scene.scene_id = 2;
    e->outcome.outcome_id = 3;
    e->evidence_desc = "d";
    e->evidence_status = 0;
    e->create_user = {4, "u"};
    e->label = "l";
    e->add_mode = 5;
    e->upload_mode = 6;
    e->upload_begin_time = "ub";
    e->upload_end_time = "ue";
    e->record_begin_time = "rb";
    e->record_end_time = "re";
    e->releated_camera_ids = "1,2";
    e->evidence_begin_time = "eb";
    e->evidence_end_time = "ee";
    e->cad_id = "c";
    return e;
  }

  static EvidenceCustomPtr Custom(std::int32_t id, std::vector<tag_EvidenceOption_> options, std::int32_t type = 0) {
    return std::make_shared<tag_EvidenceCustom_>(tag_EvidenceCustom_{id, "n'" + std::to_string(id), options, type, -1});
  }

  static std::string Offset() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return std::to_string(local.tm_gmtoff / 60);
  }

  scripted::Platform platform_;
  CEvidenceMgrDBByPG store_;
  std::vector<scripted::Row> rows_;
  int key_ = 100;
};

TEST_F(StoreTextsTest, Evidences) {
  const auto evidence = SomeEvidence();
  std::list<EvidencePtr> read;
  std::int32_t count = 9;
  EXPECT_TRUE(store_.InsertEvidence(evidence));
  EXPECT_TRUE(store_.UpdateEvidence(evidence));
  EXPECT_TRUE(store_.DeleteEvidences({7, 8}));
  EXPECT_TRUE(store_.GetEvidenceByIDs(read, {7, 8}));
  EXPECT_TRUE(store_.GetEvidencesCount(count));
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(store_.UpdateCameraUploadStatus(7, 1));
  EXPECT_TRUE(store_.UpdateCameraUploadSuccList(7, R"(1,2\)"));
  EXPECT_EQ(
      Sent(),
      (Texts{
          "INSERT INTO evidence.evidence (ID, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, "
          "evidence_status, evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, "
          "local_create_time, update_time_offset, update_time, local_update_time, deleted, label, add_mode, "
          "upload_mode, upload_begin_time, upload_end_time, record_begin_time, record_end_time, "
          "releated_camera_ids, evidence_begin_time, evidence_end_time, cad_id) VALUES (7, 'g', 'O''Brien', 1, 2, 3, "
          "'d', 0, 4, 'u', " +
              Offset() + ", 'NOW', 'NOW', " + Offset() +
              ", 'NOW', 'NOW', 0, 'l', 5, 6, 'ub', 'ue', 'rb', 're', '1,2', 'eb', 'ee','c')",
          "UPDATE evidence.evidence SET guid = 'g', name = 'O''Brien', evidence_type_id = 1, scene_id = 2, "
          "outcome_id = 3, evidence_desc = 'd', evidence_status = 0, update_time_offset = " +
              Offset() +
              ", update_time = 'NOW', local_update_time = 'NOW' ,label = 'l' ,evidence_begin_time = 'eb' "
              ",evidence_end_time = 'ee', cad_id = 'c' WHERE id = 7;",
          "UPDATE evidence.evidence SET deleted = 1 WHERE id = 7;UPDATE evidence.evidence SET deleted = 1 WHERE id = "
          "8;",
          "SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in (7,8);",
          "SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ",
          "UPDATE evidence.evidence SET upload_status = 1 WHERE ID = 7",
          R"(UPDATE evidence.evidence SET succeed_camera_ids = '1,2\' WHERE ID = 7)"}));
  EXPECT_FALSE(store_.InsertEvidence(nullptr));
  EXPECT_FALSE(store_.UpdateEvidence(nullptr));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  EXPECT_TRUE(store_.DeleteEvidences({}) && store_.GetEvidenceByIDs(read, {}));
  EXPECT_EQ(Sent(), Texts{});
}

TEST_F(StoreTextsTest, LabelsAreJoined) {
  for (const auto& [labels, text] :
       std::vector<std::pair<Texts, std::string>>{{{}, ""}, {{"a"}, "a|"}, {{"a", "", "b"}, "a|b"}, {{"ab"}, "ab"}}) {
    rows_.clear();
    for (const auto& label : labels)
      rows_.push_back({{"label", label}});
    std::string joined;
    EXPECT_TRUE(store_.GetEvidenceLabel(joined));
    EXPECT_EQ(joined, text);
  }
  EXPECT_TRUE(platform_.sink->Has(5, "]Get evidence label after["));
}

TEST_F(StoreTextsTest, CustomsAndOptions) {
  std::list<EvidenceCustomPtr> customs{Custom(6, {{-1, "a"}, {-1, "b'"}}), Custom(7, {}, 1)};
  EXPECT_TRUE(store_.InsertEvidenceCustoms(customs));
  EXPECT_TRUE(store_.InsertOptionsByCustom(customs));
  EXPECT_EQ(customs.front()->custom_options.back().option_id, 102) << "the caller sees the new ids";
  EXPECT_TRUE(store_.UpdateEvidenceCustoms(customs));
  EXPECT_TRUE(store_.InsertOptions({{5, "x"}}, customs.front()));
  EXPECT_TRUE(store_.UpdatetOptions({{5, "y'"}}, nullptr));
  EXPECT_TRUE(store_.DeleteOptions({{5, ""}}, nullptr));
  EXPECT_TRUE(store_.DeleteOptionsByCustom({6}));
  EXPECT_TRUE(store_.DeleteEvidenceCustoms({6}));
  std::vector<tag_EvidenceOption_> options;
  rows_ = {{{"ID", "5"}, {"name", "y"}}};
  EXPECT_TRUE(store_.GetOptionsByCustom(options, customs.front()));
  EXPECT_EQ(options.front().option_name, "y");
  std::string name;
  EXPECT_TRUE(store_.QueryEvidenceCustomNameById(name, 6));
  EXPECT_EQ(
      Sent(),
      (Texts{"INSERT INTO evidence.evidence_custom (ID, name,types,create_time, deleted) VALUES (6, 'n''6',0,'NOW',0);"
             "INSERT INTO evidence.evidence_custom (ID, name,types,create_time, deleted) VALUES (7, 'n''7',1,'NOW',0);",
             "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (101, 'a',6,0);"
             "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (102, 'b''',6,0);",
             "UPDATE evidence.evidence_custom SET name = 'n''6', types = 0 , update_time = 'NOW' WHERE id = 6;"
             "UPDATE evidence.evidence_custom SET name = 'n''7', types = 1 , update_time = 'NOW' WHERE id = 7;",
             "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (5, 'x',6,0);",
             "UPDATE evidence.evidence_option SET name = 'y''' WHERE ID = 5;",
             "UPDATE evidence.evidence_option SET deleted = 1 WHERE ID = 5;",
             "UPDATE evidence.evidence_option SET deleted = 1 WHERE custom_id = 6;",
             "UPDATE evidence.evidence_custom SET deleted = 1 WHERE id = 6;",
             "SELECT * FROM evidence.evidence_option WHERE custom_id = 6 AND deleted = 0",
             "SELECT * FROM evidence.evidence_custom WHERE ID = 6"}));
  Orv::Base::Error::SetLastError({0, 4711});
  EXPECT_FALSE(store_.GetOptionsByCustom(options, nullptr) || store_.InsertOptions({{5, "x"}}, nullptr));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 4711)) << "no pair for a missing custom";
}

TEST_F(StoreTextsTest, ValuesShareTheKeyOfTheirCustom) {
  auto evidence = SomeEvidence();
  evidence->evidence_customs = {*Custom(1, {{-1, R"(free \ text)"}}), *Custom(2, {{8, "a"}, {9, "b"}}), *Custom(3, {})};
  EXPECT_TRUE(store_.InsertEvidenceCustomInfo(evidence));
  EXPECT_EQ(key_, 103) << "a custom without options uses up a key";
  EXPECT_TRUE(store_.UpdateEvidenceCustomInfo(evidence));
  const std::string insert =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id,option_id, option_text, deleted)VALUES (";
  const std::string replace =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id,custom_id,option_id, option_text, deleted)VALUES (";
  const std::string clear = "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = 7;";
  EXPECT_EQ(Sent(), (Texts{insert + R"(101, 7,1, -1, 'free \ text',0);)" + insert + "102, 7,2, 8, 'a',0);" + insert +
                               "102, 7,2, 9, 'b',0);",
                           clear + replace + R"(104, 7, 1,-1, 'free \ text',0);)" + replace + "105, 7, 2,8, 'a',0);" +
                               replace + "105, 7, 2,9, 'b',0);"}));

  evidence->evidence_customs.clear();
  EXPECT_TRUE(store_.InsertEvidenceCustomInfo(evidence));
  EXPECT_TRUE(store_.UpdateEvidenceCustomInfo(evidence));
  EXPECT_TRUE(store_.DeleteEvidenceCustomInfo({7}));
  EXPECT_TRUE(store_.DeleteEvidenceCustomInfoByCustomID({2}));
  EXPECT_EQ(Sent(), (Texts{clear, clear, "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = 2;"}));
}

TEST_F(StoreTextsTest, AQuoteInAValueIsNeverSent) {
  auto evidence = SomeEvidence();
  evidence->evidence_customs = {*Custom(1, {{-1, "',0);DROP TABLE evidence.evidence;--"}})};
  EXPECT_FALSE(store_.InsertEvidenceCustomInfo(evidence));
  EXPECT_FALSE(store_.UpdateEvidenceCustomInfo(evidence));
  EXPECT_FALSE(store_.UpdateCameraUploadSuccList(7, "1' , name = 'x"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_EQ(Sent(), Texts{});
  EXPECT_TRUE(platform_.sink->Has(5, "]Insert evidence failed, sql[INSERT INTO evidence.evidence_custom_info"));
  EXPECT_TRUE(platform_.sink->Has(5, "]Update evidence custom failed, sqls[UPDATE evidence.evidence_custom_info"));
  EXPECT_TRUE(platform_.sink->Has(5, "]Update evidence failed, sql[UPDATE evidence.evidence SET succeed_camera_ids"));
}

TEST_F(StoreTextsTest, ValuesAreReadInThreeWays) {
  rows_ = {{{"evidence_id", "7"}, {"custom_id", "2"}, {"option_id", "8"}, {"option_text", "65"}},
           {{"evidence_id", "7"}, {"custom_id", "2"}, {"option_id", "9"}, {"option_text", "66"}}};
  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> by_id;
  EXPECT_TRUE(store_.GetEvidenceCustomInfo(by_id, {7, 8}));
  ASSERT_EQ(by_id[7].size(), 2U) << "rows are not joined";
  EXPECT_EQ(by_id[7].back().custom_options.front().option_name, "66");
  std::map<std::int32_t, tag_EvidenceCustom_> all;
  EXPECT_TRUE(store_.GetEvidenceCustomInfo(all));
  EXPECT_EQ(all.at(7).custom_options.front().option_id, 8) << "the first stays";
  EXPECT_EQ(all.at(7).custom_options.front().option_name, "A") << "the low byte of the text read as a number";
  std::list<EvidenceCustomPtr> of_one;
  EXPECT_TRUE(store_.GetEvidenceCustomByID(of_one, 7));
  EXPECT_EQ(of_one.size(), 2U);
  EXPECT_TRUE(store_.GetEvidenceCustomInfo(by_id, {}));
  EXPECT_TRUE(platform_.sink->Has(4, "]no evidecne custom info need.["));
  EXPECT_EQ(Sent(), (Texts{"SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN (7,8);",
                           "SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0",
                           "SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = 7 AND deleted = 0"}));
  platform_.db->null_cursor = true;
  EXPECT_TRUE(store_.GetEvidenceCustomInfo(all));
  EXPECT_TRUE(platform_.sink->Has(5, "]Query ftp settings failed.["));
}

TEST_F(StoreTextsTest, Files) {
  const auto file = std::make_shared<_tag_EvidenceFile_>();
  file->id = 3;
  file->file_type = 2;
  file->file_name = "n'";
  file->file_path = R"(C:\p)";
  file->begin_time = "ignored";
  file->evidence_id = 7;
  file->guid = "g";
  file->digest = "d";
  std::map<std::int32_t, std::list<EvidenceFilePtr>> by_evidence;
  std::map<std::int32_t, std::list<std::string>> names;
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 0;
  EXPECT_TRUE(store_.InsertEvidenceFiles({file}));
  EXPECT_TRUE(store_.UpdateEvidenceFiles(std::list<EvidenceFilePtr>{file}));
  EXPECT_TRUE(store_.UpdateEvidenceFiles(IdVector{3, 4}, 7));
  EXPECT_TRUE(store_.UpdateEvidenceFiles(IdVector{3}, -1));
  EXPECT_TRUE(store_.DeleteEvidenceFiles({3}));
  EXPECT_TRUE(store_.ModiyfEvidenceFileDigest({{3, "x'"}}));
  EXPECT_TRUE(store_.DeleteEvidenceFilesByEvidenceId(7));
  rows_ = {{{"ID", "3"}, {"id", "3"}, {"evidence_id", "7"}, {"file_name", "n"}}};
  EXPECT_TRUE(store_.QueryEvidenceFiles(by_evidence, {7, 8}));
  EXPECT_EQ(by_evidence.at(7).front()->id, 3);
  EXPECT_TRUE(store_.QueryEvidenceFiles(files, 7, "n'", "g"));
  EXPECT_TRUE(store_.QueryEvidenceFiles(files, 7, "", ""));
  EXPECT_EQ(files.back()->file_name, "") << "this read tells which files, not what they hold";
  EXPECT_TRUE(store_.GetEvidenceIDAndFileNameByFileID(names, {3}));
  EXPECT_EQ(names.at(7).front(), "n");
  EXPECT_TRUE(store_.GetEvidenceFileByFileID(files, {3, 4}));
  EXPECT_EQ(files.back()->file_name, "n");
  rows_ = {{{"count", "12"}}};
  EXPECT_TRUE(store_.GetEvidenceFilesCount(count, 7));
  EXPECT_EQ(count, 12);
  const std::string offset = Offset();
  EXPECT_EQ(
      Sent(),
      (Texts{"INSERT INTO evidence.evidence_file (ID, file_type, file_name, file_path, begin_time, end_time, "
             "time_offset, evidence_id, guid, digest, deleted) VALUES (3, 2, 'n''', 'C:\\p', 'NOW', 'NOW',  " +
                 offset + ", 7, 'g', 'd', 0);",
             "UPDATE evidence.evidence_file SET file_type = 2, file_name = 'n''', file_path = 'C:\\p', begin_time = "
             "'NOW', end_time = 'NOW', time_offset = " +
                 offset + " , evidence_id = 7, guid = 'g',digest = 'd' WHERE id = 3;",
             "UPDATE evidence.evidence_file SET deleted = 1 WHERE id = 3 AND evidence_id = 7;UPDATE "
             "evidence.evidence_file SET deleted = 1 WHERE id = 4 AND evidence_id = 7;",
             "UPDATE evidence.evidence_file SET deleted = 1 WHERE id = 3;",
             "UPDATE evidence.evidence_file SET digest = 'x''' WHERE id = 3;",
             "UPDATE evidence.evidence_file SET deleted = 1 WHERE evidence_id = 7;",
             "SELECT id, evidence_id FROM evidence.evidence_file WHERE evidence_id IN (7,8) AND deleted = 0;",
             "SELECT * FROM evidence.evidence_file WHERE evidence_id = 7 AND deleted = 0  AND file_name = 'n'''  AND "
             "guid = 'g' ",
             "SELECT * FROM evidence.evidence_file WHERE evidence_id = 7 AND deleted = 0 ",
             "SELECT evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN (3);",
             "SELECT ID, evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN (3,4);",
             "SELECT count(*) FROM evidence.evidence_file WHERE evidence_id = 7 AND deleted = 0 "}));
}

TEST_F(StoreTextsTest, UnrelatedFiles) {
  setenv("TZ", "UTC", 1);
  tzset();
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  filter->page_index = 3;
  filter->page_size = 10;
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 0;
  const auto run = [&] { return store_.QueryUnRelatedEvidenceFiles(files, filter, count); };
  const auto texts = [](const std::string& part) {
    const std::string common = "FROM evidence.evidence_file WHERE " + part + "deleted = 0 ";
    return Texts{"SELECT count(*) " + common, "SELECT * " + common + "ORDER BY begin_time DESC limit 10 offset 20;"};
  };
  EXPECT_TRUE(run());
  EXPECT_EQ(Sent(), texts("evidence_id = -1  AND "));
  filter->keyword = "50%";
  filter->file_type = 3;
  filter->create_start_time = "2026-01-01T00:00:00Z";
  filter->create_end_time = "2026-01-02T00:00:00+00:00";
  EXPECT_TRUE(run());
  EXPECT_EQ(
      platform_.db->sent.front(),
      R"(SELECT count(*) FROM evidence.evidence_file WHERE (file_name ilike '%50\%%' )  AND evidence_id = -1  AND )"
      "file_type = 3  AND end_time <= '2026-01-02 00:00:00' AND begin_time >= '2026-01-01 00:00:00'  AND deleted = 0 ");
  Sent();
  *filter = {};
  filter->page_index = 3;
  filter->page_size = 10;
  filter->file_type = 8;
  EXPECT_TRUE(run());
  EXPECT_EQ(Sent(), texts("evidence_id = -1  AND "));
  filter->assemble_types = "1, 2";
  EXPECT_TRUE(run());
  EXPECT_EQ(Sent(), texts("evidence_id = -1  AND file_type IN (1, 2)  AND "));
  filter->assemble_types = "1) OR (1=1";
  EXPECT_FALSE(run());
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  filter->assemble_types = "";
  filter->create_start_time = "2026-01-02T00:00:00Z";
  filter->create_end_time = "2026-01-01T00:00:00Z";
  EXPECT_FALSE(run());
  EXPECT_EQ(Sent(), Texts{});
  EXPECT_FALSE(store_.QueryUnRelatedEvidenceFiles(files, nullptr, count));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));

  rows_ = {{{"file_type", "3"}, {"count", "4"}}, {{"file_type", "99"}, {"count", "1"}}};
  std::map<std::int32_t, std::int32_t> counts;
  EXPECT_TRUE(store_.QueryUnRelatedEvidenceFilesNum(counts));
  EXPECT_EQ(counts.size(), 9U);
  EXPECT_EQ(counts[3] * 100 + counts[99] * 10 + counts[8], 410);
  EXPECT_EQ(Sent(), Texts{"SELECT file_type, count(*) FROM evidence.evidence_file WHERE evidence_id = -1 AND deleted = "
                          "0 GROUP BY file_type"});
}

TEST_F(StoreTextsTest, HistoryIsWrittenAsOneList) {
  operation_record record;
  record.evidence_id = 7;
  record.user_name = "u'";
  record.user_ip = "ip";
  record.dev_name = "dev";
  record.operation_type = 2;
  record.change_items = {{"f", 2, 7, "old'", 8, "new", "guid"}, {"unused", -1, 1, "object'", 2, "unused", ""}};
  operation_record bare;
  bare.operation_type = 1;
  EXPECT_TRUE(store_.WriteEvidenceLog({record, bare}, 3));
  const std::string insert =
      "INSERT INTO evidence.operation_log (ID, evidence_id, user_name, user_ip, operation_type, file_name, "
      "occur_local_time, occur_time_offset, camera_name, dev_name, dev_ip, mod_type , before_mod, after_mod, "
      "client_type) VALUES (";
  const std::string offset = Offset();
  EXPECT_EQ(Sent(), (Texts{insert + "101, 7, 'u''', 'ip', 2, 'f', 'NOW', '" + offset +
                               "', 'u''', 'dev', 'ip', 2, '7:old''', '8:new', 3);",
                           insert + "102, 7, 'u''', 'ip', 2, 'object''', 'NOW', '" + offset +
                               "', 'u''', 'dev', 'ip', -1, '', '', 3);",
                           insert + "103, -1, '', '', 1, '', 'NOW', '" + offset + "', '', '', '', -1, '', '', 3);"}));
  EXPECT_EQ(platform_.db->lists, 1);
  EXPECT_TRUE(store_.WriteEvidenceLog({}, 3));
  EXPECT_EQ(platform_.db->lists, 1);
  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  EXPECT_FALSE(store_.WriteEvidenceLog({record}, 3));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(platform_.sink->Has(5, "]Insert evidence file failed, sql_list[2].["));
}

TEST_F(StoreTextsTest, HistoryIsFoldedByTypeTimeAndUser) {
  const auto row = [](const std::string& type, const std::string& user, const std::string& mod,
                      const std::string& before) {
    return scripted::Row{{"operation_type", type},    {"occur_local_time", "2026-01-01 00:00:00"},
                         {"occur_time_offset", "60"}, {"client_type", "4"},
                         {"user_name", user},         {"user_ip", "ip"},
                         {"mod_type", mod},           {"file_name", "file"},
                         {"before_mod", before},      {"after_mod", "9:z"},
                         {"camera_name", "camera"},   {"dev_name", "dev"},
                         {"dev_ip", "devip"}};
  };
  rows_ = {row("2", "u", "2", "7:a:b"), row("2", "u", "6", "8"), row("2", "u", "5", "x"), row("2", "v", "2", ""),
           row("5", "u", "2", "7:a")};
  std::map<std::string, operation_record> records;
  IdList reserved{1};
  EXPECT_TRUE(store_.GetEvidenceLog(records, reserved, 7));
  EXPECT_EQ(Sent(), Texts{"SELECT * FROM evidence.operation_log WHERE evidence_id = 7 "});
  ASSERT_EQ(records.size(), 3U);
  const auto& folded = records.at("22026-01-01T00:00:00+01:00uip");
  EXPECT_EQ(folded.evidence_id, 7);
  EXPECT_EQ(folded.client_type, 4);
  ASSERT_EQ(folded.change_items.size(), 3U);
  EXPECT_EQ(folded.change_items[0].before_id, 7);
  EXPECT_EQ(folded.change_items[0].before_mod, "a:b");
  EXPECT_EQ(folded.change_items[0].after_mod, "z");
  EXPECT_EQ(folded.change_items[0].file_name, "file");
  EXPECT_EQ(folded.change_items[1].before_id, 8);
  EXPECT_EQ(folded.change_items[1].before_mod, "");
  EXPECT_EQ(folded.change_items[2].before_mod, "file") << "other kinds show the object";
  const auto& device = records.at("52026-01-01T00:00:00+01:00cameradevdevip");
  EXPECT_EQ(device.is_device, 1);
  EXPECT_EQ(device.change_items.front().mod_type, -1);
  EXPECT_EQ(device.change_items.front().before_mod, "file");
}

TEST_F(StoreTextsTest, StoredValuesAreTakenApart) {
  struct Case {
    std::string stored;
    std::int32_t number;
    std::string text;
  };
  for (const Case& c : {Case{"", -1, ""}, Case{"7", 7, ""}, Case{"7:", 7, ""}, Case{"7:a", 7, "a"},
                        Case{"-1:a:b", -1, "a:b"}, Case{"7:a:b:c", 7, "a:b:c"}, Case{"7:a:b:c:d", 7, "a:b:c"},
                        Case{"7::b", 7, ":b"}, Case{"x:a", 0, "a"}, Case{"99999999999:a", 2147483647, "a"}}) {
    rows_ = {{{"operation_type", "2"}, {"mod_type", "2"}, {"before_mod", c.stored}}};
    std::map<std::string, operation_record> records;
    IdList reserved;
    EXPECT_TRUE(store_.GetEvidenceLog(records, reserved, 7));
    EXPECT_EQ(records.begin()->second.change_items.front().before_id, c.number) << c.stored;
    EXPECT_EQ(records.begin()->second.change_items.front().before_mod, c.text) << c.stored;
  }
}

TEST_F(StoreTextsTest, ANulReachesTheDatabaseAsABadByte) {
  auto evidence = SomeEvidence();
  evidence->label = std::string("a\0b", 3);
  EXPECT_TRUE(store_.InsertEvidence(evidence));
  EXPECT_NE(Sent().front().find("'a\xFF"
                                "b'"),
            std::string::npos)
      << "the rest of the text must not be lost unseen";
}

TEST_F(StoreTextsTest, FailuresGiveThePairAndTheLine) {
  platform_.db->answer = [](const std::string&) { return std::nullopt; };
  const auto evidence = SomeEvidence();
  evidence->evidence_customs = {*Custom(1, {{-1, "v"}})};
  const auto file = std::make_shared<_tag_EvidenceFile_>();
  std::list<EvidenceFilePtr> files;
  std::list<EvidencePtr> evidences;
  std::list<EvidenceCustomPtr> customs{Custom(6, {{5, "o"}})};
  std::vector<tag_EvidenceOption_> options{{5, "o"}};
  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> values;
  std::map<std::int32_t, tag_EvidenceCustom_> all_values;
  std::map<std::int32_t, std::list<EvidenceFilePtr>> files_of;
  std::map<std::int32_t, std::list<std::string>> names;
  std::map<std::int32_t, std::int32_t> counts;
  std::map<std::string, operation_record> records;
  IdList ids{7};
  std::string text;
  std::int32_t count = 0;
  struct Case {
    std::function<bool()> run;
    std::string line;
  };
  for (const Case& c :
       {Case{[&] { return store_.InsertEvidence(evidence); }, "]Insert evidence failed, sql[INSERT"},
        Case{[&] { return store_.UpdateEvidence(evidence); }, "]Update evidence failed, sql[UPDATE"},
        Case{[&] { return store_.DeleteEvidences(ids); }, "]Delete evidences to DB failed, sqls[UPDATE"},
        Case{[&] { return store_.GetEvidenceByIDs(evidences, ids); }, "]Read ids evidences from DB failed, sql[SELECT"},
        Case{[&] { return store_.GetEvidencesCount(count); }, "]Get evidence count failed.["},
        Case{[&] { return store_.GetEvidenceLabel(text); }, "]Get evidence label failed["},
        Case{[&] { return store_.InsertEvidenceCustoms(customs); }, "]Insert evidence custom failed, sqls[INSERT"},
        Case{[&] { return store_.UpdateEvidenceCustoms(customs); }, "]Update evidence custom failed, sqls[UPDATE"},
        Case{[&] { return store_.DeleteEvidenceCustoms(ids); }, "]Delete evidence custom failed, sqls[UPDATE"},
        Case{[&] { return store_.QueryEvidenceCustomNameById(text, 6); }, "]Get evidence custom failed, id[6].["},
        Case{[&] { return store_.ReadAllCustomOptions(customs); }, "]Get custom option failed, sqls[SELECT"},
        Case{[&] { return store_.GetOptionsByCustom(options, customs.front()); }, "]Get custom option failed, id[6].["},
        Case{[&] { return store_.InsertOptionsByCustom(customs); }, "]Insert evidence option failed, sqls[INSERT"},
        Case{[&] { return store_.UpdatetOptions(options, nullptr); }, "]Update custom option failed, sqls[UPDATE"},
        Case{[&] { return store_.DeleteOptions(options, nullptr); },
             "]Delete evidence custom options failed, sqls[UPDATE evidence.evidence_option SET deleted = 1 WHERE ID"},
        Case{[&] { return store_.DeleteOptionsByCustom(ids); },
             "]Delete evidence custom options failed, sqls[UPDATE evidence.evidence_option SET deleted = 1 WHERE c"},
        Case{[&] { return store_.DeleteEvidenceCustomInfo(ids); },
             "]Delete evidences to DB failed, sqls[UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evid"},
        Case{[&] { return store_.DeleteEvidenceCustomInfoByCustomID(ids); },
             "]Delete evidences to DB failed, sqls[UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom"},
        Case{[&] { return store_.GetEvidenceCustomInfo(all_values); }, "]Get evidence custom info failed.["},
        Case{[&] { return store_.GetEvidenceCustomInfo(values, {7}); }, "]Get evidence failed: [SELECT"},
        Case{[&] { return store_.GetEvidenceCustomByID(customs, 7); }, "]Get evidence failed, id[7].["},
        Case{[&] { return store_.InsertEvidenceFiles({file}); }, "]Insert evidence file failed, sqls[INSERT"},
        Case{[&] { return store_.UpdateEvidenceFiles(std::list<EvidenceFilePtr>{file}); },
             "]Update evidence file failed, sqls[UPDATE"},
        Case{[&] { return store_.UpdateEvidenceFiles(IdVector{3}, 7); },
             "]Delete evidence file failed, sqls[UPDATE evidence.evidence_file SET deleted = 1 WHERE id = 3 AND"},
        Case{[&] { return store_.DeleteEvidenceFiles(ids); },
             "]Delete evidence file failed, sqls[UPDATE evidence.evidence_file SET deleted = 1 WHERE id = 7;]"},
        Case{[&] {
               return store_.ModiyfEvidenceFileDigest({{3, "d"}});
             },
             "]Modify evidence file digest failed, sqls[UPDATE"},
        Case{[&] { return store_.DeleteEvidenceFilesByEvidenceId(7); }, "]Delete evidence file failed, sql[UPDATE"},
        Case{[&] { return store_.QueryEvidenceFiles(files_of, {7}); }, "]batch get evidence file failed.["},
        Case{[&] { return store_.QueryEvidenceFiles(files, 7, "", ""); },
             "]Get evidence file failed, evidence-id[7].["},
        Case{[&] { return store_.GetEvidenceFilesCount(count, 7); },
             "]Get evidence file count failed, evidence-id[7].["},
        Case{[&] { return store_.QueryUnRelatedEvidenceFilesNum(counts); }, "]QueryUnRelatedEvidenceFilesNum failed.["},
        Case{[&] { return store_.GetEvidenceIDAndFileNameByFileID(names, {3}); },
             "]GetEvidenceIDByFileID failed, sqls[SELECT evidence_id, file_name"},
        Case{[&] { return store_.GetEvidenceFileByFileID(files, {3}); },
             "]GetEvidenceIDByFileID failed, sqls[SELECT ID, evidence_id"},
        Case{[&] {
               return store_.QueryUnRelatedEvidenceFiles(files, std::make_shared<_tag_EvidenceFilterInfo_>(), count);
             },
             "]Query evidences failed, sql[SELECT count(*) FROM evidence.evidence_file"},
        Case{[&] { return store_.GetEvidenceLog(records, ids, 7); }, "]Get evidence label failed["},
        Case{[&] { return store_.UpdateCameraUploadStatus(7, 1); },
             "]Update evidence failed, sql[UPDATE evidence.evidence SET upload_status"}}) {
    Orv::Base::Error::SetLastError({});
    platform_.sink->Clear();
    EXPECT_FALSE(c.run()) << c.line;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15)) << c.line;
    EXPECT_TRUE(platform_.sink->Has(5, c.line)) << c.line;
  }
}

}  // namespace
