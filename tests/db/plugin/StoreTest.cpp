// Every operation of the store on a real PostgreSQL: the texts that it sends, what it then reads, and its failure.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "OrvBase/Error.h"
#include "support/StoreFixture.h"

namespace evidence_test {
namespace {

using namespace Evidence;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Store = CEvidenceMgrDBByPG;

template <class Record>
std::shared_ptr<Record> Share(const Record& record) {
  return std::make_shared<Record>(record);
}

class StoreTest : public StoreFixture {
 protected:
  /// Runs an operation, which must succeed and send these texts; then once more without a server.
  template <class Operation, class... Arguments>
  void Sends(const std::string& texts, const Operation& operation, Arguments&&... arguments) {
    (void)Sent();
    EXPECT_TRUE(std::invoke(operation, store_, arguments...)) << texts;
    EXPECT_EQ(Sent(), texts);
    const platform::ScopedBackend<kelp::IDBManager> no_server(nullptr);
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(std::invoke(operation, store_, arguments...)) << texts;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15)) << texts;
    EXPECT_TRUE(log_->Has(5, "failed")) << texts;
  }

  /// Runs an operation that must end with this pair; 0 is success. Nothing may be sent.
  template <class Operation, class... Arguments>
  void SendsNothing(int code, const Operation& operation, Arguments&&... arguments) {
    (void)Sent();
    EXPECT_EQ(std::invoke(operation, store_, arguments...), code == 0);
    EXPECT_TRUE(code == 0 || GetLastError() == ErrorCode(0, code)) << code;
    EXPECT_EQ(Sent(), "");
  }

  /// The operations of a dictionary, all of one form.
  template <class Record, class Pointer = std::shared_ptr<Record>>
  void Dictionary(const std::string& table, std::int32_t (Store::*next)(),
                  bool (Store::*insert)(const std::list<Pointer>&), bool (Store::*update)(const std::list<Pointer>&),
                  bool (Store::*remove)(const IdList&), bool (Store::*read)(std::list<Pointer>&),
                  bool (Store::*name_of)(std::string&, std::int32_t)) {
    Sends("SELECT NEXTVAL('" + table + "_id_seq')", [&](Store& store) { return (store.*next)() != -1; });
    const std::list<Pointer> entries{Share(Record{8, "O'Brien"}), Share(Record{9, R"(100% \ "x")"})};
    const std::string into = "INSERT INTO " + table + " (ID, name, create_time, deleted) VALUES (";
    const std::string set = "UPDATE " + table + " SET ";
    Sends(into + "8, 'O''Brien', 'UTC', 0);" + into + "9, '100% \\ \"x\"', 'UTC', 0);", insert, entries);
    Sends(set + "name = 'O''Brien', update_time = 'UTC' WHERE id = 8;" + set +
              "name = '100% \\ \"x\"', update_time = 'UTC' WHERE id = 9;",
          update, entries);
    Sends(set + "deleted = 1 WHERE id = 8;" + set + "deleted = 1 WHERE id = 7;", remove, IdList{8, 7});
    std::list<Pointer> live;
    Sends("SELECT * FROM " + table + " WHERE deleted = 0;", read, live);
    EXPECT_TRUE(std::ranges::any_of(live, [](const auto& entry) { return entry->type_name == R"(100% \ "x")"; }));
    std::string name;
    Sends("SELECT * FROM " + table + " WHERE ID = 8", name_of, name, 8);
    EXPECT_TRUE((store_.*name_of)(name, 8) && name == "O'Brien") << "names outlive their entries";
    EXPECT_TRUE((store_.*name_of)(name, 1000) && name.empty()) << "an unknown entry has none";
    SendsNothing(0, insert, std::list<Pointer>());
  }

  /// Returns the error of a query, or the ids that it finds and "+" when more follow, the page's size and the total.
  std::string Found(const _tag_EvidenceFilterInfo_& filter, page_info page = {0, 1, 10}) {
    std::list<EvidencePtr> evidences;
    bool more = false;
    (void)Sent();
    if (!store_.QueryEvidences(evidences, page, more, Share(filter))) return std::to_string(GetLastError().SubCode());
    std::string ids;
    for (const auto& evidence : evidences)
      ids += std::to_string(evidence->id) + " ";
    return ids + (more ? "+ " : "") + std::to_string(page.PageSize) + " of " + std::to_string(page.total);
  }

  Store store_;
};

TEST_F(StoreTest, Dictionaries) {
  Dictionary<_tag_EvidenceType_>("evidence.evidence_type", &Store::QueryEvidenceTypeSeqID, &Store::InsertEvidenceTypes,
                                 &Store::UpdateEvidenceTypes, &Store::DeleteEvidenceTypes, &Store::ReadAllEvidenceTypes,
                                 &Store::QueryEvidenceTypeNameById);
  Dictionary<tag_EvidenceScene_>("evidence.evidence_scense", &Store::QueryEvidenceSceneSeqID,
                                 &Store::InsertEvidenceScenes, &Store::UpdateEvidenceScenes,
                                 &Store::DeleteEvidenceScenes, &Store::ReadAllEvidenceScenes,
                                 &Store::QueryEvidenceSceneNameById);
  Dictionary<tag_EvidenceOutcome_>("evidence.evidence_outcome", &Store::QueryEvidenceOutcomeSeqID,
                                   &Store::InsertEvidenceOutcomes, &Store::UpdateEvidenceOutcomes,
                                   &Store::DeleteEvidenceOutcomes, &Store::ReadAllEvidenceOutcomes,
                                   &Store::QueryEvidenceOutcomeNameById);
  Postgres().Query("ALTER SEQUENCE evidence.evidence_type_id_seq RESTART 2147483647");
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), 2147483647);
  EXPECT_EQ(store_.QueryEvidenceTypeSeqID(), -1) << "the sequence is exhausted";
}

/// Visits what a row holds of an evidence.
template <class Visit>
void EachColumn(_tag_Evidence_& e, const Visit& visit) {
  for (auto* number : {&e.id, &e.evidence_type.type_id, &e.scene.scene_id, &e.outcome.outcome_id, &e.evidence_status,
                       &e.create_user.id, &e.add_mode, &e.upload_mode, &e.upload_status})
    visit(*number);
  for (auto* text : {&e.guid, &e.name, &e.evidence_desc, &e.create_user.name, &e.label, &e.upload_begin_time,
                     &e.upload_end_time, &e.record_begin_time, &e.record_end_time, &e.releated_camera_ids,
                     &e.evidence_begin_time, &e.evidence_end_time, &e.cad_id})
    visit(*text);
}

TEST_F(StoreTest, Evidences) {
  const auto evidence = std::make_shared<_tag_Evidence_>();
  std::istringstream values("1 2 3 4 5 6 7 8 9 10' 11' 12' 13' 14' 15' 16' 17' 18' 19' 20' 21' 22'");
  EachColumn(*evidence, [&values](auto& column) { values >> column; });
  evidence->label = "l";
  evidence->name = "O' \\' \\n %s$1\n\xE4\xB8\xAD;--";
  EvidencePtr read;
  std::list<EvidencePtr> list;
  std::string labels;
  std::int32_t count = 9;
  Sends("SELECT NEXTVAL('evidence.evidence_id_seq')", [](Store& store) { return store.QueryEvidenceSeqID() != -1; });
  Sends(
      "INSERT INTO evidence.evidence (ID, guid, name, evidence_type_id, scene_id, outcome_id, evidence_desc, "
      "evidence_status, evidence_create_user_id, evidence_create_user_name, create_time_offset, create_time, "
      "local_create_time, update_time_offset, update_time, local_update_time, deleted, label, add_mode, upload_mode, "
      "upload_begin_time, upload_end_time, record_begin_time, record_end_time, releated_camera_ids, "
      "evidence_begin_time, evidence_end_time, cad_id) VALUES (1, '10''', 'O'' \\'' \\n %s$1\n\xE4\xB8\xAD;--', 2, 3, "
      "4, '12''', 5, 6, '13''', 330, 'UTC', 'LOCAL', 330, 'UTC', 'LOCAL', 0, 'l', 7, 8, '15''', '16''', '17''', "
      "'18''', '19''', '20''', '21''','22''')",
      &Store::InsertEvidence, evidence);
  Sends(
      "UPDATE evidence.evidence SET guid = '10''', name = 'O'' \\'' \\n %s$1\n\xE4\xB8\xAD;--', evidence_type_id = 2, "
      "scene_id = 3, outcome_id = 4, evidence_desc = '12''', evidence_status = 5, update_time_offset = 330, "
      "update_time = 'UTC', local_update_time = 'LOCAL' ,label = 'l' ,evidence_begin_time = '20''' "
      ",evidence_end_time = '21''', cad_id = '22''' WHERE id = 1;",
      &Store::UpdateEvidence, evidence);
  Sends("UPDATE evidence.evidence SET upload_status = 9 WHERE ID = 1", &Store::UpdateCameraUploadStatus, 1, 9);
  Sends("UPDATE evidence.evidence SET succeed_camera_ids = '1,2' WHERE ID = 1", &Store::UpdateCameraUploadSuccList, 1,
        "1,2");
  SendsNothing(15, &Store::UpdateCameraUploadSuccList, 1, "1' , name = 'x");
  Postgres().Query("UPDATE evidence.evidence SET local_create_time = '2026-01-01 05:00', create_time_offset = 300");
  Sends("SELECT * FROM evidence.evidence WHERE guid = '10''' AND deleted = 0", &Store::GetEvidenceByGuid, read, "10'");
  Sends("SELECT * FROM evidence.evidence WHERE deleted = 0;", &Store::QueryAllEvidences, list);
  ASSERT_EQ(list.size(), 1U);
  std::ostringstream written;
  std::ostringstream stored;
  EachColumn(*evidence, [&written](const auto& column) { written << column << '|'; });
  EachColumn(*list.back(), [&stored](const auto& column) { stored << column << '|'; });
  EXPECT_EQ(stored.str(), written.str());
  EXPECT_EQ(list.back()->create_time + list.back()->succeed_camera_ids, "2026-01-01T05:00:00+05:001,2");
  Sends("SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in (1,8);", &Store::GetEvidenceByIDs, list,
        IdList{1, 8});
  EXPECT_EQ(std::to_string(list.back()->id) + list.back()->name, "1" + evidence->name);
  Sends("SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ", &Store::GetEvidencesCount, count);
  EXPECT_EQ(count, 0) << "a failure leaves nothing of an earlier count";
  Sends("SELECT label FROM evidence.evidence WHERE deleted = 0", &Store::GetEvidenceLabel, labels);
  EXPECT_EQ(labels, "l|") << "so short a text keeps its separator";
  EXPECT_TRUE(store_.GetEvidenceLabel(labels) && labels == "l|l") << labels;
  Sends(
      "UPDATE evidence.evidence SET evidence_type_id = -1, update_time = 'UTC', local_update_time = 'LOCAL' WHERE "
      "deleted = 0 AND evidence_type_id IN (1,2);",
      &Store::DeleteEvidenceTypeInEvidence, IdVector{1, 2});
  Sends("SELECT * FROM evidence.evidence WHERE ID = 1 AND deleted = 0", &Store::GetEvidenceByID, read, 1);
  Sends("UPDATE evidence.evidence SET deleted = 1 WHERE id = 1;UPDATE evidence.evidence SET deleted = 1 WHERE id = 8;",
        &Store::DeleteEvidences, IdList{1, 8});

  Orv::Base::Error::SetLastError({0, 4711});
  EXPECT_FALSE(store_.GetEvidenceByID(read, 1) || store_.GetEvidenceByGuid(read, "10'"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 4711)) << "no row, no pair";
  evidence->id = 3;
  evidence->label = std::string("a\0b", 3);
  EXPECT_FALSE(store_.InsertEvidence(evidence)) << "a text is never cut short unseen";
  SendsNothing(0, &Store::DeleteEvidenceTypeInEvidence, IdVector());
}

TEST_F(StoreTest, CustomsAndOptions) {
  const auto custom = Share(tag_EvidenceCustom_{6, "n'", {{-1, "a"}, {-1, "b'"}}, 0, -1});
  std::list<EvidenceCustomPtr> customs{custom, Share(tag_EvidenceCustom_{7, "m", {}, 1, -1})};
  using Options = std::vector<tag_EvidenceOption_>;
  Options options;
  std::string name;
  const std::string insert = "INSERT INTO evidence.evidence_custom (ID, name,types,create_time, deleted) VALUES (";
  const std::string update = "UPDATE evidence.evidence_custom SET ";
  const std::string insert_option = "INSERT INTO evidence.evidence_option (ID, name,custom_id,deleted) VALUES (";
  const std::string update_option = "UPDATE evidence.evidence_option SET ";
  const std::string next = "SELECT NEXTVAL('evidence.evidence_option_id_seq')\n";
  Sends("SELECT NEXTVAL('evidence.evidence_custom_id_seq')",
        [](Store& store) { return store.QueryEvidenceCustomSeqID() != -1; });
  Sends(insert + "6, 'n''',0,'UTC',0);" + insert + "7, 'm',1,'UTC',0);", &Store::InsertEvidenceCustoms, customs);
  Sends(next + next + insert_option + "1, 'a',6,0);" + insert_option + "2, 'b''',6,0);", [&](Store& store) {
    return store.InsertOptionsByCustom(customs) && custom->custom_options.back().option_id == 2;
  });
  Sends(update + "name = 'n''', types = 0 , update_time = 'UTC' WHERE id = 6;" + update +
            "name = 'm', types = 1 , update_time = 'UTC' WHERE id = 7;",
        &Store::UpdateEvidenceCustoms, customs);
  Sends(insert_option + "5, 'x''',6,0);", &Store::InsertOptions, Options{{5, "x'"}}, custom);
  Sends(update_option + "name = 'y''' WHERE ID = 5;", &Store::UpdatetOptions, Options{{5, "y'"}}, nullptr);
  Sends(update_option + "deleted = 1 WHERE ID = 1;" + update_option + "deleted = 1 WHERE ID = 2;",
        &Store::DeleteOptions, Options{{1, ""}, {2, ""}}, nullptr);
  Sends("SELECT * FROM evidence.evidence_option WHERE custom_id = 6 AND deleted = 0", &Store::GetOptionsByCustom,
        options, custom);
  EXPECT_EQ(std::to_string(options.at(0).option_id) + options[0].option_name, "5y'");
  Sends("SELECT * FROM evidence.evidence_custom WHERE ID = 6", &Store::QueryEvidenceCustomNameById, name, 6);
  customs.clear();
  Sends("SELECT * FROM evidence.evidence_custom WHERE deleted = 0;", &Store::ReadAllEvidenceCustoms, customs);
  customs.remove_if([](const auto& read) { return read->custom_id == 3; });
  customs.sort([](const auto& one, const auto& other) { return one->custom_id < other->custom_id; });
  // The database gives the result of the last statement of a text.
  const std::string first = "SELECT * FROM evidence.evidence_option WHERE custom_id = 2 AND deleted = 0;";
  Sends(first + "\n" + first + "SELECT * FROM evidence.evidence_option WHERE custom_id = 6 AND deleted = 0;",
        &Store::ReadAllCustomOptions, customs);
  Sends(update_option + "deleted = 1 WHERE custom_id = 6;", &Store::DeleteOptionsByCustom, IdList{6});
  Sends(update + "deleted = 1 WHERE id = 6;", &Store::DeleteEvidenceCustoms, IdList{6});
}

TEST_F(StoreTest, ValuesShareTheKeyOfTheirCustom) {
  const auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->id = 7;
  evidence->evidence_customs = {{1, "", {{-1, R"(free \ text)"}}, 1, -1}, {2, "", {{8, "a"}, {9, "b"}}, 0, -1}};
  const std::string next = "SELECT NEXTVAL('evidence.evidence_custom_info_id_seq')\n";
  const std::string insert =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id, custom_id,option_id, option_text, deleted)VALUES (";
  const std::string replace =
      "INSERT INTO evidence.evidence_custom_info (ID, evidence_id,custom_id,option_id, option_text, deleted)VALUES (";
  const std::string clear = "UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = 7;";
  Sends(next + next + insert + R"(1, 7,1, -1, 'free \ text',0);)" + insert + "2, 7,2, 8, 'a',0);" + insert +
            "2, 7,2, 9, 'b',0);",
        &Store::InsertEvidenceCustomInfo, evidence);
  Sends(next + next + clear + replace + R"(3, 7, 1,-1, 'free \ text',0);)" + replace + "4, 7, 2,8, 'a',0);" + replace +
            "4, 7, 2,9, 'b',0);",
        &Store::UpdateEvidenceCustomInfo, evidence);
  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> by_id;
  std::map<std::int32_t, tag_EvidenceCustom_> all;
  std::list<EvidenceCustomPtr> of_one;
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN (7,8);", [&](Store& store) {
    return store.GetEvidenceCustomInfo(by_id, {7, 8});
  });
  ASSERT_EQ(by_id[7].size(), 3U) << "one for each row, without the first writing";
  EXPECT_EQ(by_id[7].front().custom_options.front().option_name, R"(free \ text)");
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0",
        [&](Store& store) { return store.GetEvidenceCustomInfo(all); });
  EXPECT_EQ(all.at(7).custom_id, 1) << "the first stays";
  Sends("SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = 7 AND deleted = 0",
        &Store::GetEvidenceCustomByID, of_one, 7);
  ASSERT_EQ(of_one.size(), 3U);
  EXPECT_EQ(of_one.back()->custom_options.front().option_id, 9);
  Sends("UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = 2;",
        &Store::DeleteEvidenceCustomInfoByCustomID, IdList{2});
  Sends(clear, &Store::DeleteEvidenceCustomInfo, IdList{7});

  // A value is put into its text unescaped, so one with a quote is never sent.
  evidence->evidence_customs = {{1, "", {{-1, "',0);DROP TABLE evidence.evidence;--"}}, 1, -1}};
  EXPECT_FALSE(store_.InsertEvidenceCustomInfo(evidence) || store_.UpdateEvidenceCustomInfo(evidence));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_EQ(Sent() + "\n", next + next);
}

TEST_F(StoreTest, Files) {
  const auto file = Share(_tag_EvidenceFile_{0, 3, 2, "n'", R"(C:\p')", "ignored", "", -1, 7, "g'", "d'"});
  std::map<std::int32_t, std::list<EvidenceFilePtr>> by_evidence;
  std::map<std::int32_t, std::list<std::string>> names;
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 9;
  const std::string update = "UPDATE evidence.evidence_file SET ";
  const std::string from = " FROM evidence.evidence_file WHERE ";
  Sends("SELECT NEXTVAL('evidence.evidence_file_id_seq')",
        [](Store& store) { return store.QueryEvidenceFileSeqID() != -1; });
  Sends(
      "INSERT INTO evidence.evidence_file (ID, file_type, file_name, file_path, begin_time, end_time, time_offset, "
      "evidence_id, guid, digest, deleted) VALUES (3, 2, 'n''', 'C:\\p''', 'LOCAL', 'LOCAL',  330, 7, 'g''', 'd''', "
      "0);",
      &Store::InsertEvidenceFiles, std::list{file});
  Sends(update +
            "file_type = 2, file_name = 'n''', file_path = 'C:\\p''', begin_time = 'LOCAL', end_time = 'LOCAL', "
            "time_offset = 330 , evidence_id = 7, guid = 'g''',digest = 'd''' WHERE id = 3;",
        [&](Store& store) { return store.UpdateEvidenceFiles(std::list{file}); });
  Sends(update + "digest = 'x''' WHERE id = 3;", &Store::ModiyfEvidenceFileDigest,
        std::map<std::int32_t, std::string>{{3, "x'"}});
  Sends("SELECT id, evidence_id" + from + "evidence_id IN (7,8) AND deleted = 0;", [&](Store& store) {
    return store.QueryEvidenceFiles(by_evidence, {7, 8});
  });
  EXPECT_EQ(by_evidence.at(7).front()->id, 3);
  Sends("SELECT *" + from + "evidence_id = 7 AND deleted = 0  AND file_name = 'n'''  AND guid = 'g''' ",
        [&](Store& store) { return store.QueryEvidenceFiles(files, 7, "n'", "g'"); });
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(std::to_string(files.back()->id) + files.back()->file_name, "3") << "which files, not what they hold";
  Sends("SELECT evidence_id, file_name" + from + "deleted = 0 AND id IN (3);", &Store::GetEvidenceIDAndFileNameByFileID,
        names, IdVector{3});
  Sends("SELECT ID, evidence_id, file_name" + from + "deleted = 0 AND id IN (3,4);", &Store::GetEvidenceFileByFileID,
        files, IdVector{3, 4});
  EXPECT_EQ(files.back()->file_name + names.at(files.back()->evidence_id).front(), "n'n'");
  Sends(update + "deleted = 1 WHERE id = 3 AND evidence_id = 8;" + update +
            "deleted = 1 WHERE id = 4 AND evidence_id = 8;",
        [](Store& store) {
          return store.UpdateEvidenceFiles(IdVector{3, 4}, 8);
        });
  Sends("SELECT count(*)" + from + "evidence_id = 7 AND deleted = 0 ",
        [&](Store& store) { return store.GetEvidenceFilesCount(count, 7) && count == 1; });
  Sends(update + "deleted = 1 WHERE id = 3;", &Store::DeleteEvidenceFiles, IdList{3});
  Sends(update + "deleted = 1 WHERE evidence_id = 7;", &Store::DeleteEvidenceFilesByEvidenceId, 7);
  // Files under -1 belong to nobody.
  SendsNothing(0, [](Store& store) { return store.UpdateEvidenceFiles(IdVector{3}, -1); });
}

TEST_F(StoreTest, UnrelatedFiles) {
  Postgres().Query(
      "INSERT INTO evidence.evidence_file (id, file_type, evidence_id, file_name, time_offset, begin_time, end_time) "
      "VALUES (1, 1, -1, '50% off', 60, '2026-01-01 12:00', '2026-01-01 13:00'), (2, 3, -1, '500', 0, '2026-01-01', "
      "'2026-01-01 13:00'), (3, 3, 7, '50%', 0, '2026-01-01', '2026-01-01')");
  const auto filter = Share(_tag_EvidenceFilterInfo_());
  std::tie(filter->page_index, filter->page_size, filter->file_type, filter->keyword) = std::tuple(1, 10, 8, "50%");
  filter->create_start_time = "2026-01-01T00:00:00+05:30";
  filter->create_end_time = "2026-01-01T13:00:00+05:30";
  filter->assemble_types = "1, 3";
  std::list<EvidenceFilePtr> files;
  std::int32_t count = 0;
  const std::string text =
      R"(FROM evidence.evidence_file WHERE (file_name ilike '%50\%%' )  AND evidence_id = -1  AND file_type IN (1, 3)  )"
      "AND end_time <= '2026-01-01 13:00:00' AND begin_time >= '2026-01-01 00:00:00'  AND deleted = 0 ";
  Sends("SELECT count(*) " + text + "\nSELECT * " + text + "ORDER BY begin_time DESC limit 10 offset 0;",
        &Store::QueryUnRelatedEvidenceFiles, files, filter, count);
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files.front()->begin_time + files.front()->end_time, "2026-01-01T12:00:00+01:002026-01-01T13:00:00+01:00");
  std::swap(filter->create_start_time, filter->create_end_time);
  SendsNothing(2, &Store::QueryUnRelatedEvidenceFiles, files, filter, count);
  filter->create_start_time.clear();
  filter->assemble_types = "1) OR (1=1";
  SendsNothing(2, &Store::QueryUnRelatedEvidenceFiles, files, filter, count);

  std::map<std::int32_t, std::int32_t> counts;
  Sends(
      "SELECT file_type, count(*) FROM evidence.evidence_file WHERE evidence_id = -1 AND deleted = 0 GROUP BY "
      "file_type",
      &Store::QueryUnRelatedEvidenceFilesNum, counts);
  const std::map<std::int32_t, std::int32_t> by_type{{1, 1}, {2, 0}, {3, 1}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}};
  EXPECT_EQ(counts, by_type);
}

TEST_F(StoreTest, FiltersOfEvidences) {
  Postgres().Query(
      "INSERT INTO evidence.evidence (id, name, guid) VALUES (1, E'a Ki_ng % ''x'' \\\\', 'a'), (2, 'kixng % ''x'' ', "
      "'b')");
  _tag_EvidenceFilterInfo_ f;
  f.keyword = R"(kI_ng % 'x' \)";
  EXPECT_EQ(Found(f), "1 1 of 1") << "each character means itself, in either case";
  const auto sends = [&](const std::string& condition) {
    f.sort_type = 8;
    (void)Found(f);
    EXPECT_EQ(Sent(), "SELECT COUNT(id)  FROM evidence.evidence WHERE " + condition +
                          "deleted = 0\nSELECT * FROM evidence.evidence WHERE " + condition +
                          "deleted = 0 ORDER BY ID DESC limit 11 offset 0;");
  };
  f.keyword = "k";
  sends(
      "(name ilike '%k%' OR evidence_desc ilike '%k%'  OR guid ilike '%k%' OR  label ilike '%k%'   OR  "
      "releated_camera_ids ilike '%k%'   )  AND ");
  f.keyword = "50%";
  f.keyword_type = 1;
  sends(R"((name ilike '%50\%%' OR label ilike '%50\%%' )  AND )");
  f.keyword_type = 0;
  f.guid = R"(a\b_c%d'e)";
  std::tie(f.evidence_type_id, f.scene_id, f.outcome_id, f.status, f.add_mode) = std::tuple(0, 2, 3, 1, 4);
  sends(R"(evidence_type_id = 0 AND scene_id = 2  AND outcome_id = 3  AND evidence_status = 1  AND guid ilike )"
        R"('%a\\b\_c\%d''e%'  AND (name ilike '%50\%%')  AND add_mode = 4 AND )");
  f = {};
  f.create_start_time = f.evidence_begin_end_time = f.evidence_end_start_time = "2026";
  sends("");
  std::tie(f.create_start_time, f.create_end_time) = std::tuple("2026-01-01 00:00:00", "2026-01-02 00:00:00");
  std::tie(f.evidence_begin_start_time, f.evidence_begin_end_time) = std::tuple("3", "4");
  std::tie(f.evidence_end_start_time, f.evidence_end_end_time) = std::tuple("5", "6");
  const auto created = [](const std::string& column) {
    return column + " <= '2026-01-02 00:00:00' AND " + column +
           " >= '2026-01-01 00:00:00'  AND evidence_begin_time <= '4' AND evidence_begin_time >= '3'  AND "
           "evidence_end_time <= '6' AND evidence_end_time >= '5'  AND ";
  };
  sends(created("create_time"));
  f.time_type = 1;
  sends(created("local_create_time"));

  const auto refused = [&] {
    EXPECT_EQ(Found(f), "2");
    EXPECT_EQ(Sent(), "");
    f = {};
  };
  f = {};
  using Filter = _tag_EvidenceFilterInfo_;
  for (const auto time :
       {&Filter::create_start_time, &Filter::create_end_time, &Filter::evidence_begin_start_time,
        &Filter::evidence_begin_end_time, &Filter::evidence_end_start_time, &Filter::evidence_end_end_time}) {
    for (const std::string& unsafe : {std::string("2026' OR '1'='1"), std::string("\\"), std::string("a\0b", 3)}) {
      f.*time = unsafe;
      refused();
    }
  }
  std::tie(f.create_start_time, f.create_end_time) = std::tuple("2026-01-02 00:00:00", "2026-01-01 00:00:00");
  refused();
  f.status = 2;
  refused();
}

TEST_F(StoreTest, SortsAndPagesOfEvidences) {
  Postgres().Query("INSERT INTO evidence.evidence (id, guid) VALUES (1, 'a'), (2, 'b'), (3, 'c')");
  _tag_EvidenceFilterInfo_ filter;
  for (const std::string column : {"name", "evidence_create_user_name", "local_create_time", "ID",
                                   "evidence_begin_time", "evidence_end_time", "cad_id", "local_create_time"}) {
    for (const std::string direction : {"ASC", "DESC"}) {
      filter.sort_type = filter.sort_type == -1 ? 1 : filter.sort_type + 1;
      const bool known = filter.sort_type <= 14;
      (void)Found(filter);
      EXPECT_TRUE(Sent().ends_with(" ORDER BY " + column + " " + (known ? direction : "DESC") + " limit 11 offset 0;"))
          << filter.sort_type;
    }
  }
  constexpr std::int32_t kMax = 2147483647;
  filter.sort_type = 7;
  const std::tuple<int, int, std::string> pages[] = {{1, 2, "1 2 + 2 of 3"},
                                                     {2, 2, "3 1 of 3"},
                                                     {1, 3, "1 2 3 3 of 3"},
                                                     {1, kMax, "1 2 3 3 of 3"},
                                                     {kMax, kMax, "0 of 3"},
                                                     {0, 5, "2"},
                                                     {5, 0, "2"}};
  for (const auto& [index, size, found] : pages) {
    EXPECT_EQ(Found(filter, {0, index, size}), found);
    EXPECT_EQ(Sent().empty(), found == "2");
  }
}

TEST_F(StoreTest, AHistoryIsWrittenInOneTransaction) {
  operation_record record{7, "", 0, "u'", "dev'", "ip'", -1, 2, {}};
  record.change_items = {{"f'", 2, 7, "old'", 8, "new'", "guid"}, {"unused", -1, 1, "object'", 2, "unused", ""}};
  operation_record bare;
  bare.user_name = "other";
  const std::string next = "SELECT NEXTVAL('evidence.operation_log_id_seq')\n";
  const std::string insert =
      "\nINSERT INTO evidence.operation_log (ID, evidence_id, user_name, user_ip, operation_type, file_name, "
      "occur_local_time, occur_time_offset, camera_name, dev_name, dev_ip, mod_type , before_mod, after_mod, "
      "client_type) VALUES (";
  Sends(next + next + next + "BEGIN" + insert +
            "1, 7, 'u''', 'ip''', 2, 'f''', 'LOCAL', '330', 'u''', 'dev''', 'ip''', 2, '7:old''', '8:new''', 3);" +
            insert + "2, 7, 'u''', 'ip''', 2, 'object''', 'LOCAL', '330', 'u''', 'dev''', 'ip''', -1, '', '', 3);" +
            insert + "3, -1, 'other', '', 0, '', 'LOCAL', '330', 'other', '', '', -1, '', '', 3);\nCOMMIT",
        &Store::WriteEvidenceLog, std::vector{record, bare}, 3);
}

TEST_F(StoreTest, AHistoryIsFoldedByTypeTimeAndUser) {
  Postgres().Query(
      "INSERT INTO evidence.operation_log (id, evidence_id, occur_local_time, occur_time_offset, client_type, "
      "operation_type, user_name, mod_type, before_mod, after_mod, file_name, user_ip, camera_name, dev_name, dev_ip) "
      "SELECT row_number() OVER (), 7, '2026-01-01', 60, 4, type, name, mod, before, '9:z', 'file', 'ip', 'camera', "
      "'dev', 'devip' FROM (VALUES (2, 'u', 2, '7:a:b'), (2, 'u', 6, ''), (2, 'u', 5, 'x'), (2, 'u', 2, '7'), "
      "(2, 'u', 2, '7::b:c:d'), (2, 'u', 2, '99999999999:a'), (2, 'v', 2, 'x:a'), (3, 'u', 2, '1'), (5, 'u', 2, '7:a')"
      ") AS rows (type, name, mod, before)");
  std::map<std::string, operation_record> records;
  Sends("SELECT * FROM evidence.operation_log WHERE evidence_id = 7 ", &Store::GetEvidenceLog, records, IdList(), 7);
  std::ostringstream text;
  for (const auto& [key, record] : records) {
    text << key << ' ' << record.evidence_id << record.client_type << record.is_device;
    for (const auto& item : record.change_items) {
      text << "; " << item.mod_type << ' ' << item.file_name << ' ' << item.before_id << ':' << item.before_mod << ' '
           << item.after_id << ':' << item.after_mod;
    }
    text << '\n';
  }
  EXPECT_EQ(
      text.str(),
      "22026-01-01T00:00:00+01:00uip 740; 2 file 7:a:b 9:z; 6 file -1: 9:z; 5  -1:file -1:; 2 file 7: 9:z; 2 file "
      "7::b:c 9:z; 2 file 2147483647:a 9:z\n"
      "22026-01-01T00:00:00+01:00vip 740; 2 file 0:a 9:z\n"
      "32026-01-01T00:00:00+01:00uip 740; 2 file 1: 9:z\n"
      "52026-01-01T00:00:00+01:00cameradevdevip 741; -1  -1:file -1:\n");
}

TEST_F(StoreTest, SettingsKeepTheirPasswordEnciphered) {
  const auto settings = Share(_tag_FTPSettings_{false, 2, "a'", 21, "u'", "secret", "p'", 3, "pool'"});
  FTPSettingsPtr read;
  const std::string update =
      "UPDATE evidence.ftp_setting SET enable = 0, type = 2, address = 'a''', port = 21, username = 'u''', password "
      "= 'wmtGLicqYW09kymlbAkA/w==', path = 'p''', storage_type = 3, pool_name = 'pool''' , update_time = 'UTC' WHERE "
      "ID = 0 AND deleted = 0";
  Sends(update, &Store::UpdateFTPSettings, settings);
  Sends("SELECT * FROM evidence.ftp_setting WHERE ID = 0 AND deleted = 0", &Store::GetFTPSettings, read);
  EXPECT_EQ(read->password, "secret");
  Postgres().Query("UPDATE evidence.ftp_setting SET enable = 1, password = 'AAAA'");
  EXPECT_FALSE(store_.GetFTPSettings(read));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 253)) << "the password cannot be opened";
  EXPECT_EQ(read->pool_name + read->password, "pool'");
  EXPECT_EQ(read->storage_type, 1) << "of enabled settings, whatever the column says";
  const platform::ScopedBackend<platform::ISystemBackend> no_key(nullptr);
  SendsNothing(252, &Store::UpdateFTPSettings, settings);
}

}  // namespace
}  // namespace evidence_test
