// Evidences, files, values, history and settings through the store on a real PostgreSQL: what is written reads back
// whole, each part of a query finds what it should, and failures leave the connection usable.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace {

using namespace Evidence;
using evidence_test::LogRecorder;
using evidence_test::Postgres;
using evidence_test::Rows;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class FixedKey final : public platform::ISystemBackend {
 public:
  std::string SystemGuid() override { return {}; }
  bool ServerStandards(int&) override { return false; }
  std::string ExecutableDirectory() override { return "/"; }
  std::string AESKey() override { return "0123456789abcdef"; }
};

class EvidenceStatementsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query(
        "DELETE FROM evidence.evidence; DELETE FROM evidence.evidence_file; DELETE FROM evidence.operation_log;"
        "DELETE FROM evidence.evidence_custom_info");
    ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 2, 1, true));
  }
  void TearDown() override { kelp::IDBManager::Instance()->UnInitialize("casefile.s"); }

  EvidencePtr Insert(
      const std::string& guid, const std::function<void(_tag_Evidence_&)>& set = [](auto&) {}) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = store_.QueryEvidenceSeqID();
    evidence->guid = guid;
    set(*evidence);
    EXPECT_TRUE(store_.InsertEvidence(evidence)) << guid;
    return evidence;
  }

  /// The guids that a filter finds, in order.
  std::string Found(const std::function<void(_tag_EvidenceFilterInfo_&)>& set, page_info page = {0, 1, 100}) {
    const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
    filter->sort_type = 7;
    set(*filter);
    std::list<EvidencePtr> evidences;
    bool has_more = false;
    EXPECT_TRUE(store_.QueryEvidences(evidences, page, has_more, filter));
    std::string guids;
    for (const auto& evidence : evidences)
      guids += evidence->guid + " ";
    return guids;
  }

  std::shared_ptr<LogRecorder> log_ = std::make_shared<LogRecorder>();
  platform::ScopedBackend<platform::ILogSink> log_slot_{log_};
  platform::ScopedBackend<platform::ISystemBackend> system_{std::make_shared<FixedKey>()};
  platform::ScopedBackend<kelp::IDBManager> db_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  CEvidenceMgrDBByPG store_;
};

TEST_F(EvidenceStatementsTest, HostileTextsReadBackWhole) {
  const std::vector<std::string> texts{"it's",
                                       R"(back\slash \' \n)",
                                       "100%_ %s%n$1 :name ?",
                                       "line\nbreak\r\ttab",
                                       "');DROP TABLE evidence.evidence;--",
                                       "\xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x94\x8E",
                                       std::string(20000, 'x') + "'"};
  for (const auto& text : texts) {
    const auto evidence = Insert(text.substr(0, 60), [&text](auto& e) {
      for (auto* field : {&e.name, &e.evidence_desc, &e.label, &e.upload_begin_time, &e.upload_end_time,
                          &e.record_begin_time, &e.record_end_time, &e.releated_camera_ids, &e.evidence_begin_time,
                          &e.evidence_end_time, &e.create_user.name}) {
        *field = text;
      }
      e.cad_id = text.substr(0, 2000);
    });
    for (const bool updated : {false, true}) {
      if (updated) {
        EXPECT_TRUE(store_.UpdateEvidence(evidence));
      }
      EvidencePtr read;
      ASSERT_TRUE(store_.GetEvidenceByGuid(read, text.substr(0, 60)));
      EXPECT_EQ(read->id, evidence->id);
      for (const auto& field :
           {read->name, read->evidence_desc, read->label, read->upload_begin_time, read->upload_end_time,
            read->record_begin_time, read->record_end_time, read->releated_camera_ids, read->evidence_begin_time,
            read->evidence_end_time, read->create_user.name}) {
        EXPECT_EQ(field, text);
      }
      EXPECT_EQ(read->upload_status, -1);
      EXPECT_EQ(read->succeed_camera_ids, "");
    }
  }
  std::int32_t count = 0;
  EXPECT_TRUE(store_.GetEvidencesCount(count));
  EXPECT_EQ(count, static_cast<std::int32_t>(texts.size()));
}

TEST_F(EvidenceStatementsTest, ANulIsRefusedAndNothingWritten) {
  auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->id = 1;
  evidence->guid = "nul";
  evidence->label = std::string("a\0b", 3);
  EXPECT_FALSE(store_.InsertEvidence(evidence));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_EQ(Postgres().Value("SELECT count(*) FROM evidence.evidence"), "0");
}

TEST_F(EvidenceStatementsTest, EachPartFindsItsRowsOnly) {
  Insert("plain");
  Insert("type", [](auto& e) { e.evidence_type.type_id = 3; });
  Insert("scene", [](auto& e) { e.scene.scene_id = 3; });
  Insert("outcome", [](auto& e) { e.outcome.outcome_id = 3; });
  Insert("status", [](auto& e) { e.evidence_status = 0; });
  Insert("mode", [](auto& e) { e.add_mode = 2; });
  Insert("named", [](auto& e) { e.name = "Ki_ng % 'x' \\"; });
  Insert("labelled", [](auto& e) { e.label = "a|ki_NG|b"; });
  Insert("described", [](auto& e) { e.evidence_desc = "old KI_NG"; });
  Insert("cameras", [](auto& e) { e.releated_camera_ids = "ki_ng"; });
  Insert("timed", [](auto& e) {
    e.evidence_begin_time = "2026-01-05T00:00:00";
    e.evidence_end_time = "2026-01-06T00:00:00";
  });
  const auto deleted = Insert("deleted", [](auto& e) { e.name = "ki_ng"; });
  EXPECT_TRUE(store_.DeleteEvidences({deleted->id}));

  EXPECT_EQ(Found([](auto& f) { f.evidence_type_id = 3; }), "type ");
  EXPECT_EQ(Found([](auto& f) { f.scene_id = 3; }), "scene ");
  EXPECT_EQ(Found([](auto& f) { f.outcome_id = 3; }), "outcome ");
  EXPECT_EQ(Found([](auto& f) { f.status = 0; }), "status ");
  EXPECT_EQ(Found([](auto& f) { f.add_mode = 2; }), "mode ");
  EXPECT_EQ(Found([](auto& f) { f.guid = "ABELL"; }), "labelled ");
  const auto keyword = [this](const std::string& text, std::int32_t type) {
    return Found([&](auto& f) {
      f.keyword = text;
      f.keyword_type = type;
    });
  };
  EXPECT_EQ(keyword("ki_ng", 0), "named ");
  EXPECT_EQ(keyword("ki_ng", 1), "named labelled ");
  EXPECT_EQ(keyword("ki_ng", -1), "named labelled described cameras ");
  EXPECT_EQ(keyword("kixng", -1), "") << "an underscore means itself";
  EXPECT_EQ(keyword("% 'x' \\", 0), "named ");
  EXPECT_NE(keyword("nothing", 2), "") << "an unknown kind of keyword does not filter";
  EXPECT_EQ(Found([](auto& f) {
              f.evidence_begin_start_time = "2026-01-04";
              f.evidence_begin_end_time = "2026-01-06";
            }),
            "timed ");
  EXPECT_EQ(Found([](auto& f) {
              f.evidence_end_start_time = "2026-01-06T00:00:00";
              f.evidence_end_end_time = "2026-01-06T00:00:00";
            }),
            "timed ");
  Postgres().Query(
      "UPDATE evidence.evidence SET create_time = '2020-01-01', local_create_time = '2021-01-01' WHERE guid "
      "= 'plain'");
  for (const auto& [time_type, year] : {std::pair{0, "2020"}, std::pair{1, "2021"}}) {
    EXPECT_EQ(Found([time_type = time_type, year = std::string(year)](auto& f) {
                f.create_start_time = year + "-01-01 00:00:00";
                f.create_end_time = year + "-12-31 00:00:00";
                f.time_type = time_type;
              }),
              "plain ");
  }
}

TEST_F(EvidenceStatementsTest, SortsAndPages) {
  for (const char* guid : {"b", "a", "c"}) {
    Insert(guid, [guid](auto& e) {
      e.name = guid;
      e.create_user.name = guid;
      e.evidence_begin_time = guid;
      e.evidence_end_time = guid;
      e.cad_id = guid;
    });
  }
  Postgres().Query(
      "UPDATE evidence.evidence SET local_create_time = CASE guid WHEN 'a' THEN timestamp '2026-01-01' WHEN "
      "'b' THEN '2026-01-02' ELSE '2026-01-03' END");
  const std::vector<std::string> expected{"a b c ", "c b a ", "a b c ", "c b a ", "a b c ",
                                          "c b a ", "b a c ", "c a b ", "a b c ", "c b a ",
                                          "a b c ", "c b a ", "a b c ", "c b a ", "c b a "};
  for (std::int32_t sort = 1; sort <= 15; ++sort) {
    EXPECT_EQ(Found([sort](auto& f) { f.sort_type = sort; }), expected[static_cast<std::size_t>(sort) - 1]) << sort;
  }
  EXPECT_EQ(Found([](auto&) {}, {0, 2, 2}), "c ");
  EXPECT_EQ(Found([](auto&) {}, {0, 2147483647, 2147483647}), "");
  EXPECT_EQ(Found([](auto&) {}, {0, 1, 2147483647}), "b a c ");
}

TEST_F(EvidenceStatementsTest, FilesValuesAndHistory) {
  const auto file = std::make_shared<_tag_EvidenceFile_>();
  file->id = 5;
  file->file_name = R"(it's 100% \)";
  for (const std::int32_t owner : {7, 8, -1}) {
    file->evidence_id = owner;
    EXPECT_TRUE(store_.InsertEvidenceFiles({file})) << "one file may belong to several evidences";
  }
  std::list<EvidenceFilePtr> files;
  EXPECT_TRUE(store_.GetEvidenceFileByFileID(files, {5}));
  EXPECT_EQ(files.size(), 3U);
  EXPECT_TRUE(store_.UpdateEvidenceFiles(IdVector{5}, 7));
  std::int32_t count = 0;
  EXPECT_TRUE(store_.GetEvidenceFilesCount(count, 7));
  EXPECT_EQ(count, 0);
  files.clear();
  EXPECT_TRUE(store_.QueryEvidenceFiles(files, 8, file->file_name, ""));
  EXPECT_EQ(files.size(), 1U);
  const auto filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  filter->keyword = "100%";
  filter->page_index = 1;
  filter->page_size = 10;
  filter->file_type = 8;
  filter->assemble_types = "1,2";
  filter->create_start_time = "2000-01-01T00:00:00Z";
  filter->create_end_time = "2100-01-01T00:00:00Z";
  files.clear();
  EXPECT_TRUE(store_.QueryUnRelatedEvidenceFiles(files, filter, count));
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(files.front()->file_name, file->file_name);
  EXPECT_EQ(files.front()->begin_time.size(), 25U) << files.front()->begin_time;
  std::map<std::int32_t, std::int32_t> counts;
  EXPECT_TRUE(store_.QueryUnRelatedEvidenceFilesNum(counts));
  EXPECT_EQ(counts.at(1), 1);
  EXPECT_EQ(counts.at(8), 0);

  auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->id = 7;
  evidence->evidence_customs.resize(1);
  evidence->evidence_customs[0].custom_id = 2;
  evidence->evidence_customs[0].custom_options = {{8, R"(a \ %)"}, {9, "b"}};
  EXPECT_TRUE(store_.InsertEvidenceCustomInfo(evidence));
  EXPECT_TRUE(store_.UpdateEvidenceCustomInfo(evidence));
  std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> values;
  EXPECT_TRUE(store_.GetEvidenceCustomInfo(values, {7}));
  ASSERT_EQ(values.at(7).size(), 2U) << "the first writing was replaced";
  EXPECT_EQ(values.at(7).front().custom_options.front().option_name, R"(a \ %)");
  EXPECT_EQ(Postgres().Value("SELECT count(DISTINCT id) FROM evidence.evidence_custom_info WHERE deleted = 0"), "1");

  operation_record record;
  record.evidence_id = 7;
  record.user_name = "O'Brien";
  record.operation_type = 2;
  record.change_items = {{"name", 2, 1, "it's", 2, "b:c", ""}, {"", -1, -1, "object", -1, "", ""}};
  EXPECT_TRUE(store_.WriteEvidenceLog({record}, 1));
  std::map<std::string, operation_record> records;
  IdList reserved;
  EXPECT_TRUE(store_.GetEvidenceLog(records, reserved, 7));
  ASSERT_EQ(records.size(), 1U);
  const auto& read = records.begin()->second;
  EXPECT_EQ(read.user_name, "O'Brien");
  ASSERT_EQ(read.change_items.size(), 2U);
  EXPECT_EQ(read.change_items[0].before_mod + read.change_items[0].after_mod, "it'sb:c");
  EXPECT_EQ(read.change_items[1].before_mod, "object");
}

TEST_F(EvidenceStatementsTest, LongTextsOfTheOtherTablesReadBackWhole) {
  std::string text = R"('"\ %_ ;--)"
                     "\n";
  while (text.size() < 20000)
    text += text;
  const auto file = std::make_shared<_tag_EvidenceFile_>();
  file->id = 5;
  file->file_name = file->file_path = file->guid = file->digest = text;
  EXPECT_TRUE(store_.InsertEvidenceFiles({file}));
  EXPECT_TRUE(store_.UpdateEvidenceFiles(std::list<EvidenceFilePtr>{file}));
  operation_record record;
  record.evidence_id = 7;
  record.user_name = record.dev_name = record.user_ip = text;
  record.change_items = {{text, 2, 1, text, 2, text, ""}};
  EXPECT_TRUE(store_.WriteEvidenceLog({record}, 1));
  const auto settings = std::make_shared<_tag_FTPSettings_>();
  settings->address = settings->username = settings->path = settings->pool_name = settings->password = text;
  EXPECT_TRUE(store_.UpdateFTPSettings(settings));
  FTPSettingsPtr read;
  EXPECT_TRUE(store_.GetFTPSettings(read));
  EXPECT_EQ(read->password, text);
  for (const auto& row : {Postgres().Query("SELECT file_name, file_path, guid, digest FROM evidence.evidence_file"),
                          Postgres().Query("SELECT user_name, user_ip, camera_name, dev_name, dev_ip, file_name, "
                                           "substr(before_mod, 3), substr(after_mod, 3) FROM evidence.operation_log"),
                          Postgres().Query("SELECT address, username, path, pool_name FROM evidence.ftp_setting")}) {
    ASSERT_EQ(row.size(), 1U);
    for (const auto& column : row.front())
      EXPECT_TRUE(column == text);
  }
}

TEST_F(EvidenceStatementsTest, SettingsKeepTheirPasswordEnciphered) {
  auto settings = std::make_shared<_tag_FTPSettings_>();
  settings->address = "ftp.example";
  settings->password = "secret";
  settings->path = R"(\\share\it's)";
  EXPECT_TRUE(store_.UpdateFTPSettings(settings));
  EXPECT_EQ(Postgres().Query("SELECT password, enable FROM evidence.ftp_setting"),
            (Rows{{"wmtGLicqYW09kymlbAkA/w==", "1"}}));
  FTPSettingsPtr read;
  ASSERT_TRUE(store_.GetFTPSettings(read));
  EXPECT_EQ(read->password, "secret");
  EXPECT_EQ(read->path, settings->path);
}

TEST_F(EvidenceStatementsTest, FailuresLeaveTheConnectionUsable) {
  Insert("before");
  const auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->id = store_.QueryEvidenceSeqID();
  evidence->guid = "before";
  EXPECT_FALSE(store_.InsertEvidence(evidence)) << "one live evidence for each guid";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(log_->Has(5, "]Insert evidence failed, sql[INSERT INTO evidence.evidence (ID, guid"));

  Postgres().Query("REVOKE SELECT ON evidence.evidence FROM evidence_app");
  std::int32_t count = 7;
  EXPECT_FALSE(store_.GetEvidencesCount(count));
  EXPECT_EQ(count, 0);
  Postgres().Query("GRANT SELECT ON evidence.evidence TO evidence_app");
  EXPECT_TRUE(store_.GetEvidencesCount(count));
  EXPECT_EQ(count, 1);

  Postgres().Query("ALTER ROLE evidence_app SET statement_timeout = '50ms'");
  kelp::IDBManager::Instance()->UnInitialize("casefile.s");
  ASSERT_TRUE(kelp::IDBManager::Instance()->Initialize("casefile.s", 1, 1, true));
  {
    const evidence_test::Session blocker(Postgres().OwnerConnection());
    blocker.Query("BEGIN; LOCK TABLE evidence.evidence");
    EXPECT_FALSE(store_.GetEvidencesCount(count)) << "cancelled by the server";
    EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  }
  EXPECT_TRUE(store_.GetEvidencesCount(count));
  Postgres().Query("ALTER ROLE evidence_app RESET statement_timeout");

  Postgres().Stop();
  EXPECT_FALSE(store_.GetEvidencesCount(count));
  Postgres().Start();
  EXPECT_TRUE(store_.GetEvidencesCount(count));
  EXPECT_EQ(count, 1);
}

}  // namespace
