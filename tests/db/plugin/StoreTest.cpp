// Every operation of the store on a real PostgreSQL: the texts that it sends, what it then reads, and its failure.

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
using Orv::Base::Error::SetLastError;
using Store = CEvidenceMgrDBByPG;

template <class Record>
std::shared_ptr<Record> Share(const Record& record) {
  return std::make_shared<Record>(record);
}

class StoreTest : public evidence_test::PluginTest {
 protected:
  /// Runs an operation, which must succeed and send these texts; then once more without a server.
  void Sends(const std::string& texts, const std::function<bool()>& operation) {
    (void)Sent();
    EXPECT_TRUE(operation()) << texts;
    EXPECT_EQ(Sent(), texts);
    const platform::ScopedBackend<kelp::IDBManager> no_server(nullptr);
    SetLastError({});
    EXPECT_FALSE(operation()) << texts;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15)) << texts;
    EXPECT_TRUE(plugin_->Log().Has(5, "failed")) << texts;
  }

  /// What an operation with bad input sends, which must be nothing.
  void Refuses(const ErrorCode& error, const std::function<bool()>& operation) {
    (void)Sent();
    EXPECT_FALSE(operation());
    EXPECT_EQ(GetLastError(), error);
    EXPECT_EQ(Sent(), "");
  }

  /// The operations of a dictionary, all of one form.
  template <class Record, class Pointer = std::shared_ptr<Record>>
  void Dictionary(const std::string& table, const std::string& sequence, std::int32_t (Store::*next)(),
                  bool (Store::*insert)(const std::list<Pointer>&), bool (Store::*update)(const std::list<Pointer>&),
                  bool (Store::*remove)(const IdList&), bool (Store::*read)(std::list<Pointer>&),
                  bool (Store::*name_of)(std::string&, std::int32_t)) {
    Sends("SELECT NEXTVAL('evidence.evidence_" + sequence + "_seq')", [&] { return (store_.*next)() != -1; });
    const std::list<Pointer> entries{Share(Record{8, "O'Brien"}), Share(Record{9, R"(100% \ "x")"})};
    const std::string into = "INSERT INTO " + table + " (ID, name, create_time, deleted) VALUES (";
    const std::string set = "UPDATE " + table + " SET ";
    Sends(into + "8, 'O''Brien', 'UTC', 0);" + into + "9, '100% \\ \"x\"', 'UTC', 0);",
          [&] { return (store_.*insert)(entries); });
    Sends(set + "name = 'O''Brien', update_time = 'UTC' WHERE id = 8;" + set +
              "name = '100% \\ \"x\"', update_time = 'UTC' WHERE id = 9;",
          [&] { return (store_.*update)(entries); });
    Sends(set + "deleted = 1 WHERE id = 8;" + set + "deleted = 1 WHERE id = 7;", [&] {
      return (store_.*remove)({8, 7});
    });
    std::list<Pointer> live;
    Sends("SELECT * FROM " + table + " WHERE deleted = 0;", [&] { return (store_.*read)(live); });
    EXPECT_EQ(live.back()->type_name, R"(100% \ "x")");
    std::string name;
    Sends("SELECT * FROM " + table + " WHERE ID = 8", [&] { return (store_.*name_of)(name, 8) && name == "O'Brien"; });
    (void)Sent();
    EXPECT_TRUE((store_.*name_of)(name, 1000) && name.empty()) << "an unknown entry has no name";
    const std::list<Pointer> nothing;
    const IdList no_ids;
    EXPECT_TRUE((store_.*insert)(nothing) && (store_.*update)(nothing) && (store_.*remove)(no_ids));
    EXPECT_EQ(Sent(), "SELECT * FROM " + table + " WHERE ID = 1000") << "empty batches send nothing";
  }

  Store store_;
};

TEST_F(StoreTest, Dictionaries) {
  Dictionary<_tag_EvidenceType_>("evidence.evidence_type", "type_id", &Store::QueryEvidenceTypeSeqID,
                                 &Store::InsertEvidenceTypes, &Store::UpdateEvidenceTypes, &Store::DeleteEvidenceTypes,
                                 &Store::ReadAllEvidenceTypes, &Store::QueryEvidenceTypeNameById);
  Dictionary<tag_EvidenceScene_>("evidence.evidence_scense", "scense_id", &Store::QueryEvidenceSceneSeqID,
                                 &Store::InsertEvidenceScenes, &Store::UpdateEvidenceScenes,
                                 &Store::DeleteEvidenceScenes, &Store::ReadAllEvidenceScenes,
                                 &Store::QueryEvidenceSceneNameById);
  Dictionary<tag_EvidenceOutcome_>("evidence.evidence_outcome", "outcome_id", &Store::QueryEvidenceOutcomeSeqID,
                                   &Store::InsertEvidenceOutcomes, &Store::UpdateEvidenceOutcomes,
                                   &Store::DeleteEvidenceOutcomes, &Store::ReadAllEvidenceOutcomes,
                                   &Store::QueryEvidenceOutcomeNameById);
  Postgres().Query("ALTER SEQUENCE evidence.evidence_type_id_seq RESTART 2147483647");
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), 2147483647);
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), -1) << "the sequence is exhausted";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
}

TEST_F(StoreTest, Evidences) {
  const auto evidence = Share(_tag_Evidence_{
      7,    "g'", "O'Brien", {1, ""}, {2, ""}, {3, ""}, {},    0,     "d'", {4, "u'"}, "ignored", "eb'", "ee'",
      "l'", 5,    "1,2'",    6,       "ub'",   "ue'",   "rb'", "re'", 9,    "ignored", "c'",      {}});
  EvidencePtr read;
  std::list<EvidencePtr> list;
  std::int32_t count = 9;
  Sends("SELECT NEXTVAL('evidence.evidence_id_seq')", [&] { return store_.QueryEvidenceSeqID() != -1; });
  Sends(
      "INSERT INTO evidence.evidence (ID, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, "
      "evidence_status, evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, "
      "local_create_time, update_time_offset, update_time, local_update_time, deleted, label, add_mode, upload_mode, "
      "upload_begin_time, upload_end_time, record_begin_time, record_end_time, releated_camera_ids, "
      "evidence_begin_time, evidence_end_time, cad_id) VALUES (7, 'g''', 'O''Brien', 1, 2, 3, 'd''', 0, 4, 'u''', 330, "
      "'UTC', 'LOCAL', 330, 'UTC', 'LOCAL', 0, 'l''', 5, 6, 'ub''', 'ue''', 'rb''', 're''', '1,2''', 'eb''', "
      "'ee''','c''')",
      [&] { return store_.InsertEvidence(evidence); });
  Sends(
      "UPDATE evidence.evidence SET guid = 'g''', name = 'O''Brien', evidence_type_id = 1, scene_id = 2, outcome_id = "
      "3, evidence_desc = 'd''', evidence_status = 0, update_time_offset = 330, update_time = 'UTC', "
      "local_update_time = 'LOCAL' ,label = 'l''' ,evidence_begin_time = 'eb''' ,evidence_end_time = 'ee''', cad_id = "
      "'c''' WHERE id = 7;",
      [&] { return store_.UpdateEvidence(evidence); });
  Sends("UPDATE evidence.evidence SET upload_status = 8 WHERE ID = 7",
        [&] { return store_.UpdateCameraUploadStatus(7, 8); });
  Sends(R"(UPDATE evidence.evidence SET succeed_camera_ids = '1,2\' WHERE ID = 7)",
        [&] { return store_.UpdateCameraUploadSuccList(7, R"(1,2\)"); });
  Sends("SELECT * FROM evidence.evidence WHERE guid = 'g''' AND deleted = 0",
        [&] { return store_.GetEvidenceByGuid(read, "g'"); });
  Sends("SELECT * FROM evidence.evidence WHERE deleted = 0;", [&] { return store_.QueryAllEvidences(list); });
  EXPECT_EQ(list.back()->guid, "g'");
  Sends("SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in (7,8);", [&] {
    return store_.GetEvidenceByIDs(list, {7, 8});
  });
  EXPECT_EQ(std::to_string(list.back()->id) + list.back()->name, "7O'Brien");
  Sends("SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ", [&] { return store_.GetEvidencesCount(count); });
  EXPECT_EQ(count, 0) << "a failure leaves nothing of an earlier count";
  Sends(
      "UPDATE evidence.evidence SET evidence_type_id = -1, update_time = 'UTC', local_update_time = 'LOCAL' WHERE "
      "deleted = 0 AND evidence_type_id IN (1,2);",
      [&] {
        return store_.DeleteEvidenceTypeInEvidence({1, 2});
      });
  Sends("SELECT * FROM evidence.evidence WHERE ID = 7 AND deleted = 0",
        [&] { return store_.GetEvidenceByID(read, 7); });
  Sends("UPDATE evidence.evidence SET deleted = 1 WHERE id = 7;UPDATE evidence.evidence SET deleted = 1 WHERE id = 8;",
        [&] {
          return store_.DeleteEvidences({7, 8});
        });

  SetLastError({0, 4711});
  EXPECT_FALSE(store_.GetEvidenceByID(read, 7) || store_.GetEvidenceByGuid(read, "g'"));
  EXPECT_EQ(read, nullptr);
  EXPECT_EQ(GetLastError(), ErrorCode(0, 4711)) << "no row, no pair";
  Refuses({0, 2}, [&] { return store_.InsertEvidence(nullptr) || store_.UpdateEvidence(nullptr); });
  Refuses({0, 15}, [&] { return store_.UpdateCameraUploadSuccList(7, "1' , name = 'x"); });
  EXPECT_TRUE(store_.DeleteEvidences({}) && store_.GetEvidenceByIDs(list, {}) &&
              store_.DeleteEvidenceTypeInEvidence({}));
  EXPECT_EQ(Sent(), "");
}

TEST_F(StoreTest, LabelsAreJoined) {
  std::string labels;
  const auto insert = [](const std::string& id, const std::string& label) {
    Postgres().Query("INSERT INTO evidence.evidence (id, guid, label) VALUES (" + id + ", '" + id + "', '" + label +
                     "')");
  };
  insert("1", "a");
  insert("2", "");
  Sends("SELECT label FROM evidence.evidence WHERE deleted = 0", [&] { return store_.GetEvidenceLabel(labels); });
  EXPECT_EQ(labels, "a|") << "a text this short keeps its separator";
  insert("3", "b");
  labels.clear();
  EXPECT_TRUE(store_.GetEvidenceLabel(labels));
  EXPECT_EQ(labels, "a|b");
}

TEST_F(StoreTest, CustomsAndOptions) {
  const auto custom = Share(tag_EvidenceCustom_{6, "n'", {{-1, "a"}, {-1, "b'"}}, 0, -1});
  std::list<EvidenceCustomPtr> customs{custom, Share(tag_EvidenceCustom_{7, "m", {}, 1, -1})};
  std::vector<tag_EvidenceOption_> options;
  std::string name;
  const std::string insert = "INSERT INTO evidence.evidence_custom (ID, name,types,create_time, deleted) VALUES (";
  const std::string update = "UPDATE evidence.evidence_custom SET ";
  const std::string insert_option = "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (";
  const std::string update_option = "UPDATE evidence.evidence_option SET ";
  const std::string next = "SELECT NEXTVAL('evidence.evidence_option_id_seq')\n";
  Sends("SELECT NEXTVAL('evidence.evidence_custom_id_seq')", [&] { return store_.QueryEvidenceCustomSeqID() != -1; });
  Sends(insert + "6, 'n''',0,'UTC',0);" + insert + "7, 'm',1,'UTC',0);",
        [&] { return store_.InsertEvidenceCustoms(customs); });
  Sends(next + next + insert_option + "1, 'a',6,0);" + insert_option + "2, 'b''',6,0);",
        [&] { return store_.InsertOptionsByCustom(customs) && custom->custom_options.back().option_id == 2; });
  Sends(update + "name = 'n''', types = 0 , update_time = 'UTC' WHERE id = 6;" + update +
            "name = 'm', types = 1 , update_time = 'UTC' WHERE id = 7;",
        [&] { return store_.UpdateEvidenceCustoms(customs); });
  Sends(insert_option + "5, 'x''',6,0);", [&] { return store_.InsertOptions({{5, "x'"}}, custom); });
  Sends(update_option + "name = 'y''' WHERE ID = 5;", [&] { return store_.UpdatetOptions({{5, "y'"}}, nullptr); });
  Sends(update_option + "deleted = 1 WHERE ID = 1;", [&] { return store_.DeleteOptions({{1, ""}}, nullptr); });
  Sends("SELECT * FROM evidence.evidence_option WHERE custom_id = 6 AND deleted = 0",
        [&] { return store_.GetOptionsByCustom(options, custom); });
  EXPECT_EQ(std::to_string(options.at(1).option_id) + options[1].option_name, "5y'");
  Sends("SELECT * FROM evidence.evidence_custom WHERE ID = 6",
        [&] { return store_.QueryEvidenceCustomNameById(name, 6) && name == "n'"; });
  customs.clear();
  Sends("SELECT * FROM evidence.evidence_custom WHERE deleted = 0;",
        [&] { return store_.ReadAllEvidenceCustoms(customs); });
  customs.remove_if([](const auto& read) { return read->custom_id == 3; });
  const std::string first = "SELECT * FROM evidence.evidence_option WHERE custom_id = 2 AND deleted = 0;";
  Sends(first + "\n" + first + "SELECT * FROM evidence.evidence_option WHERE custom_id = 6 AND deleted = 0;",
        [&] { return store_.ReadAllCustomOptions(customs); });
  EXPECT_EQ(customs.back()->custom_type, 1);
  Sends(update_option + "deleted = 1 WHERE custom_id = 6;", [&] { return store_.DeleteOptionsByCustom({6}); });
  Sends(update + "deleted = 1 WHERE id = 6;", [&] { return store_.DeleteEvidenceCustoms({6}); });
  Refuses({0, 15}, [&] {
    return store_.GetOptionsByCustom(options, nullptr) || store_.InsertOptions({{5, "x"}}, nullptr);
  });
}

TEST_F(StoreTest, ValuesShareTheKeyOfTheirCustom) {
  const auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->id = 7;
  evidence->evidence_customs = {{1, "", {{-1, R"(free \ text)"}}, 1, -1}, {2, "", {{8, "65"}, {9, "b"}}, 0, -1}};
  const std::string next = "SELECT NEXTVAL('evidence.evidence_custom_info_id_seq')\n";
  const std::string insert =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id,option_id, option_text, deleted)VALUES (";
  const std::string replace =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id,custom_id,option_id, option_text, deleted)VALUES (";
  const std::string clear = "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = 7;";
  Sends(next + next + insert + R"(1, 7,1, -1, 'free \ text',0);)" + insert + "2, 7,2, 8, '65',0);" + insert +
            "2, 7,2, 9, 'b',0);",
        [&] { return store_.InsertEvidenceCustomInfo(evidence); });
  Sends(next + next + clear + replace + R"(3, 7, 1,-1, 'free \ text',0);)" + replace + "4, 7, 2,8, '65',0);" + replace +
            "4, 7, 2,9, 'b',0);",
        [&] { return store_.UpdateEvidenceCustomInfo(evidence); });

  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> by_id;
  std::map<std::int32_t, tag_EvidenceCustom_> all;
  std::list<EvidenceCustomPtr> of_one;
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN (7,8);", [&] {
    return store_.GetEvidenceCustomInfo(by_id, {7, 8});
  });
  ASSERT_EQ(by_id[7].size(), 3U) << "a row each, those of the first writing replaced";
  EXPECT_EQ(by_id[7].front().custom_options.front().option_name, R"(free \ text)");
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0",
        [&] { return store_.GetEvidenceCustomInfo(all); });
  EXPECT_EQ(all.at(7).custom_id, 1) << "the first stays";
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = 7 AND deleted = 0",
        [&] { return store_.GetEvidenceCustomByID(of_one, 7); });
  EXPECT_EQ(of_one.back()->custom_options.front().option_id, 9);
  Sends("UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = 2;",
        [&] { return store_.DeleteEvidenceCustomInfoByCustomID({2}); });
  Sends(clear, [&] { return store_.DeleteEvidenceCustomInfo({7}); });
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence_custom_info WHERE deleted = 0"), "0");

  // A value stands in its text as it is, so one with a quote is never sent.
  evidence->evidence_customs = {{1, "", {{-1, "',0);DROP TABLE evidence.evidence;--"}}, 1, -1}};
  EXPECT_FALSE(store_.InsertEvidenceCustomInfo(evidence));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_FALSE(store_.UpdateEvidenceCustomInfo(evidence));
  EXPECT_EQ(Sent(), next + next.substr(0, next.size() - 1));
}

TEST_F(StoreTest, Files) {
  const auto file = Share(_tag_EvidenceFile_{0, 3, 2, "n'", R"(C:\p')", "ignored", "", -1, 7, "g'", "d'"});
  std::map<std::int32_t, std::list<EvidenceFilePtr>> by_evidence;
  std::map<std::int32_t, std::list<std::string>> names;
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 9;
  const std::string update = "UPDATE evidence.evidence_file SET ";
  const std::string from = " FROM evidence.evidence_file WHERE ";
  Sends("SELECT NEXTVAL('evidence.evidence_file_id_seq')", [&] { return store_.QueryEvidenceFileSeqID() != -1; });
  Sends(
      "INSERT INTO evidence.evidence_file (ID, file_type, file_name, file_path, begin_time, end_time, time_offset, "
      "evidence_id, guid, digest, deleted) VALUES (3, 2, 'n''', 'C:\\p''', 'LOCAL', 'LOCAL',  330, 7, 'g''', 'd''', "
      "0);",
      [&] { return store_.InsertEvidenceFiles({file}); });
  Sends(update +
            "file_type = 2, file_name = 'n''', file_path = 'C:\\p''', begin_time = 'LOCAL', end_time = 'LOCAL', "
            "time_offset = 330 , evidence_id = 7, guid = 'g''',digest = 'd''' WHERE id = 3;",
        [&] { return store_.UpdateEvidenceFiles(std::list<EvidenceFilePtr>{file}); });
  Sends(update + "digest = 'x''' WHERE id = 3;", [&] { return store_.ModiyfEvidenceFileDigest({{3, "x'"}}); });
  Sends("SELECT id, evidence_id" + from + "evidence_id IN (7,8) AND deleted = 0;", [&] {
    return store_.QueryEvidenceFiles(by_evidence, {7, 8});
  });
  EXPECT_EQ(by_evidence.at(7).front()->id, 3);
  Sends("SELECT *" + from + "evidence_id = 7 AND deleted = 0  AND file_name = 'n'''  AND guid = 'g''' ",
        [&] { return store_.QueryEvidenceFiles(files, 7, "n'", "g'"); });
  EXPECT_EQ(std::to_string(files.back()->id) + files.back()->file_name, "3") << "which files, not what they hold";
  Sends("SELECT *" + from + "evidence_id = 7 AND deleted = 0 ",
        [&] { return store_.QueryEvidenceFiles(files, 7, "", ""); });
  Sends("SELECT evidence_id, file_name" + from + "deleted = 0 AND id IN (3);",
        [&] { return store_.GetEvidenceIDAndFileNameByFileID(names, {3}); });
  EXPECT_EQ(names.at(7).front(), "n'");
  Sends("SELECT ID, evidence_id, file_name" + from + "deleted = 0 AND id IN (3,4);", [&] {
    return store_.GetEvidenceFileByFileID(files, {3, 4});
  });
  EXPECT_EQ(files.back()->file_name, "n'");
  Sends("SELECT count(*)" + from + "evidence_id = 7 AND deleted = 0 ",
        [&] { return store_.GetEvidenceFilesCount(count, 7) && count == 1; });
  Sends(update + "deleted = 1 WHERE id = 3 AND evidence_id = 8;" + update +
            "deleted = 1 WHERE id = 4 AND evidence_id "
            "= 8;",
        [&] {
          return store_.UpdateEvidenceFiles(IdVector{3, 4}, 8);
        });
  EXPECT_TRUE(store_.GetEvidenceFilesCount(count, 7) && count == 1) << "the same file elsewhere stays";
  Sends(update + "deleted = 1 WHERE id = 3;", [&] { return store_.DeleteEvidenceFiles({3}); });
  Sends(update + "deleted = 1 WHERE evidence_id = 7;", [&] { return store_.DeleteEvidenceFilesByEvidenceId(7); });
  (void)Sent();
  EXPECT_TRUE(store_.UpdateEvidenceFiles(IdVector{3}, -1)) << "files under -1 belong to nobody";
  EXPECT_EQ(Sent(), "");
}

TEST_F(StoreTest, UnrelatedFiles) {
  Postgres().Query(
      "INSERT INTO evidence.evidence_file (id, file_type, evidence_id, file_name, time_offset, begin_time, end_time) "
      "VALUES (1, 1, -1, '50% off', 60, '2026-01-01 12:00', '2026-01-01 13:00'),"
      "(2, 3, -1, '500', 0, '2026-01-02', '2026-01-02'), (3, 3, 7, '50%', 0, '2026-01-01', '2026-01-01')");
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  filter->page_index = 1;
  filter->page_size = 10;
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 0;
  const auto run = [&] { return store_.QueryUnRelatedEvidenceFiles(files, filter, count); };
  const auto sends = [&](const std::string& condition) {
    files.clear();
    const std::string text = "FROM evidence.evidence_file WHERE " + condition + "deleted = 0 ";
    Sends("SELECT count(*) " + text + "\nSELECT * " + text + "ORDER BY begin_time DESC limit 10 offset 0;", run);
    EXPECT_EQ(static_cast<std::int32_t>(files.size()), count);
    return files.empty() ? 0 : files.front()->id;
  };
  EXPECT_EQ(sends("evidence_id = -1  AND "), 2) << "the newest first";
  filter->file_type = 8;
  EXPECT_EQ(sends("evidence_id = -1  AND "), 2) << "of any type without a list";
  filter->assemble_types = "1, 2";
  EXPECT_EQ(sends("evidence_id = -1  AND file_type IN (1, 2)  AND "), 1);
  filter->file_type = 1;
  filter->keyword = "50%";
  filter->create_start_time = "2026-01-01T00:00:00+05:30";
  filter->create_end_time = "2026-01-01T13:00:00+05:30";
  EXPECT_EQ(sends(R"((file_name ilike '%50\%%' )  AND evidence_id = -1  AND file_type = 1  AND )"
                  "end_time <= '2026-01-01 13:00:00' AND begin_time >= '2026-01-01 00:00:00'  AND "),
            1);
  EXPECT_EQ(files.front()->begin_time + files.front()->end_time, "2026-01-01T12:00:00+01:002026-01-01T13:00:00+01:00");
  std::swap(filter->create_start_time, filter->create_end_time);
  Refuses({0, 2}, run);
  filter->create_start_time.clear();
  filter->assemble_types = "1) OR (1=1";
  Refuses({0, 2}, run);
  Refuses({0, 1}, [&] { return store_.QueryUnRelatedEvidenceFiles(files, nullptr, count); });

  std::map<std::int32_t, std::int32_t> counts;
  Sends(
      "SELECT file_type, count(*) FROM evidence.evidence_file WHERE evidence_id = -1 AND deleted = 0 GROUP BY "
      "file_type",
      [&] { return store_.QueryUnRelatedEvidenceFilesNum(counts); });
  EXPECT_EQ(counts,
            (std::map<std::int32_t, std::int32_t>{{1, 1}, {2, 0}, {3, 1}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}}));
}

TEST_F(StoreTest, AHistoryIsOneTransaction) {
  operation_record record;
  record.evidence_id = 7;
  record.user_name = "u'";
  record.user_ip = "ip'";
  record.dev_name = "dev'";
  record.operation_type = 2;
  record.change_items = {{"f'", 2, 7, "old'", 8, "new'", "guid"}, {"unused", -1, 1, "object'", 2, "unused", ""}};
  operation_record bare;
  bare.user_name = std::string("\0", 1);
  const std::string next = "SELECT NEXTVAL('evidence.operation_log_id_seq')\n";
  const std::string insert =
      "\nINSERT INTO evidence.operation_log (ID, evidence_id, user_name, user_ip, operation_type, file_name, "
      "occur_local_time, occur_time_offset, camera_name, dev_name, dev_ip, mod_type , before_mod, after_mod, "
      "client_type) VALUES (";
  Sends(next + next + next + "BEGIN" + insert +
            "1, 7, 'u''', 'ip''', 2, 'f''', 'LOCAL', '330', 'u''', 'dev''', 'ip''', 2, '7:old''', '8:new''', 3);" +
            insert + "2, 7, 'u''', 'ip''', 2, 'object''', 'LOCAL', '330', 'u''', 'dev''', 'ip''', -1, '', '', 3);" +
            insert +
            "3, -1, '\xEF\xBF\xBD', '', 0, '', 'LOCAL', '330', '\xEF\xBF\xBD', '', '', -1, '', '', 3);\nCOMMIT",
        [&] {
          return store_.WriteEvidenceLog({record, bare}, 3);
        });
  std::map<std::string, operation_record> records;
  IdList reserved;
  Sends("SELECT * FROM evidence.operation_log WHERE evidence_id = 7 ",
        [&] { return store_.GetEvidenceLog(records, reserved, 7); });
  EXPECT_EQ(records.begin()->second.change_items.front().after_mod, "new'");
  (void)Sent();
  EXPECT_TRUE(store_.WriteEvidenceLog({}, 3));
  EXPECT_EQ(Sent(), "");
}

TEST_F(StoreTest, SettingsKeepTheirPasswordEnciphered) {
  const auto settings = Share(_tag_FTPSettings_{false, 2, "a'", 21, "u'", "secret", "p'", 3, "pool'"});
  FTPSettingsPtr read;
  Sends(
      "UPDATE evidence.ftp_setting SET enable = 0, type = 2, address = 'a''', port = 21, username = 'u''', password "
      "= 'wmtGLicqYW09kymlbAkA/w==', path = 'p''', storage_type = 3, pool_name = 'pool''' , update_time = 'UTC' WHERE "
      "ID = 0 AND deleted = 0",
      [&] { return store_.UpdateFTPSettings(settings); });
  Sends("SELECT * FROM evidence.ftp_setting WHERE ID = 0 AND deleted = 0", [&] { return store_.GetFTPSettings(read); });
  const auto whole = [](const _tag_FTPSettings_& s) {
    return std::tie(s.enable, s.type, s.address, s.port, s.username, s.password, s.path, s.storage_type, s.pool_name);
  };
  EXPECT_EQ(whole(*read), whole(*settings));
  Postgres().Query("UPDATE evidence.ftp_setting SET enable = 1, password = 'AAAA'");
  EXPECT_FALSE(store_.GetFTPSettings(read));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 253)) << "the password cannot be opened";
  EXPECT_EQ(read->pool_name + read->password, "pool'");
  EXPECT_EQ(read->storage_type, 1) << "of enabled settings, whatever the column says";

  const platform::ScopedBackend<platform::ISystemBackend> no_key(nullptr);
  Refuses({0, 252}, [&] { return store_.UpdateFTPSettings(settings); });
  settings->password = "";
  EXPECT_TRUE(store_.UpdateFTPSettings(settings)) << "no password needs no key";
  Refuses({0, 2}, [&] { return store_.UpdateFTPSettings(nullptr); });
}

}  // namespace
