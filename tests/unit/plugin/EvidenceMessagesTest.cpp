// Bodies about evidences and their files, key by key: what a request says is what an answer tells.

#include "unit/plugin/ServiceTest.h"

namespace {

using Evidence::EvidenceFilterPtr;
using Evidence::EvidencePtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using service_test::Fields;
using service_test::New;
using service_test::Refused;
using service_test::Request;
using Texts = std::vector<std::string>;

class EvidenceMessagesTest : public service_test::ServiceTest {
 protected:
  /// What no answer tells.
  static std::string Unanswered(const Evidence::_tag_Evidence_& e) {
    return Fields(e.scene.scene_id, e.outcome.outcome_id, e.add_mode, e.releated_camera_ids, e.upload_mode,
                  e.upload_begin_time, e.upload_end_time, e.record_begin_time, e.record_end_time, e.create_user.id,
                  e.create_user.name);
  }
};

TEST_F(EvidenceMessagesTest, EvidencesAreAnsweredAsTheyWereSent) {
  EvidencePtr blank;
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(blank, "s", "{}"));
  EXPECT_EQ(Unanswered(*blank), "-1 -1 -1  -1     7 alice");
  blank->create_user = {};
  EvidencePtr changed;
  ASSERT_TRUE(pdu_.DecodeEvidenceIDPutReq(changed, Request("evidence_post")));
  EXPECT_EQ(Unanswered(*changed), "12 13 -1  -1     -1 ");
  EvidencePtr created;
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(created, "s", Request("evidence_post")));
  EXPECT_EQ(Unanswered(*created), "12 13 1 21,22 3 ub ue rb re 7 alice") << "the creator comes from the session";
  created->create_user = {8, "stored"};
  created->create_time = "2026-01-02T03:04:05+01:00";
  created->evidence_customs[0].custom_options.push_back({-1, "green"});
  created->evidence_customs[1].custom_options.clear();

  ExpectAnswer("evidence_post", pdu_.EncodeEvidencePostRsp(response_, {}, created));
  ExpectAnswer("evidence_post_blank", pdu_.EncodeEvidencePostRsp(response_, {}, blank));
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {0, 9805, {}}, nullptr));
  EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9805,"Data":{}}})");
  store_->links = {{31, 11}, {32, 11}};
  ExpectAnswer("evidence_get",
               pdu_.EncodeEvidenceGetRsp(response_, {}, {41, 1, 20}, true, {created, blank}, "Other,FileList"));
  EXPECT_EQ(calls_, Texts{"files 11 -1"}) << "one query for all files";
  ExpectAnswer("evidence_id_get", pdu_.EncodeEvidenceIDGetRsp(response_, {}, changed, "FileList"));
  for (const char* const refused : {"", "files"}) {
    store_->refused = refused;
    const std::string field = *refused == '\0' ? "FileLists,filelist, FileList" : "FileList";
    ExpectAnswer("evidence_get_plain", pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, {created, blank}, field));
    ExpectAnswer("evidence_id_get_plain", pdu_.EncodeEvidenceIDGetRsp(response_, {}, changed, field));
  }
  ExpectAnswer("evidence_get_empty", pdu_.EncodeEvidenceGetRsp(response_, {0, 9820, {}}, {}, false, {}, "FileList"));
}

TEST_F(EvidenceMessagesTest, AnswersTellTheNamesThatHoldNow) {
  const auto told = [this](std::int32_t type_id, std::int32_t creator_id, const std::string& creator_name) {
    Evidence::_tag_Evidence_ evidence;
    evidence.evidence_type = {type_id, "old name"};
    evidence.create_user = {creator_id, creator_name};
    EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, New(evidence)));
    const auto begin = response_.find("\"EvidenceType\":");
    return response_.substr(begin, response_.find(",\"CreateTime") - begin);
  };
  const auto expected = [](const std::string& type, const std::string& creator) {
    return R"("EvidenceType":{"ID":)" + type + R"(},"Desc":"","Status":1,"Creator":{"ID":)" + creator + "\"}";
  };
  EXPECT_EQ(told(6, 7, "stored"), expected(R"(6,"Name":"Burglary")", R"(7,"Name":"account)"));
  EXPECT_EQ(told(9, 8, "stored"), expected(R"(9,"Name":"Deleted type")", R"(8,"Name":"stored)"));
  EXPECT_EQ(told(0, 8, ""), expected("0", R"(8,"Name":"account)"));
  EXPECT_EQ(told(5, 70, "stored"), expected(R"(5,"Name":"")", R"(70,"Name":"stored)"));
  user_interface_.reset();
  EXPECT_EQ(told(6, 7, "stored"), expected(R"(6,"Name":"old name")", R"(7,"Name":"stored)")) << "with what is known";
  EXPECT_FALSE(pdu_.EncodeEvidenceIDGetRsp(response_, {}, nullptr, ""));
  EXPECT_FALSE(pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, {}, ""));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
}

TEST_F(EvidenceMessagesTest, QueryRequests) {
  Evidence::page_info page;
  EvidenceFilterPtr f;
  std::string field;
  Evidence::IdList ids;
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, R"({"EvidenceQueryReq":{"SortType":4}})"));
  EXPECT_EQ(f, nullptr);
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize, field, ids.size()), "-1 -1  0");
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, R"({"EvidenceQueryReq":{"Filter":{}}})"));
  EXPECT_EQ(Fields(f->keyword_type, f->time_type, f->status, f->sort_type), "0 -1 -1 -1");
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, Request("evidence_get")));
  EXPECT_EQ(ids, (Evidence::IdList{5, 0, 7, -1, 2147483647}));
  EXPECT_EQ(Fields(page.total, page.PageIndex, page.PageSize, field, f->guid, f->keyword, f->keyword_type,
                   f->evidence_type_id, f->scene_id, f->outcome_id, f->create_start_time, f->create_end_time,
                   f->evidence_begin_start_time, f->evidence_begin_end_time, f->evidence_end_start_time,
                   f->evidence_end_end_time, f->time_type, f->status, f->sort_type, f->add_mode),
            "0 1 20 FileList,Other fg fk 2 3 4 5 cs ce bs be es ee 1 6 4 -1");
  field.clear();
  ASSERT_TRUE(pdu_.DecodeEvidenceIDGetReq(field, Request("evidence_get")));
  EXPECT_EQ(field, "FileList,Other");

  EXPECT_FALSE(pdu_.DecodeUnrelatedFilesGetReq(f, R"({"FileQueryReq":{"PageIndex":1}})"));
  EXPECT_FALSE(pdu_.DecodeUnrelatedFilesGetReq(f, R"({"FileQueryReq":{"PageSize":1}})"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 2));
  ASSERT_TRUE(pdu_.DecodeUnrelatedFilesGetReq(f, R"({"FileQueryReq":{"PageIndex":1,"PageSize":2}})"));
  EXPECT_EQ(Fields(f->time_type, f->file_type), "0 -1") << "without a filter the record stays as it starts";
  ASSERT_TRUE(pdu_.DecodeUnrelatedFilesGetReq(f, Request("unrelated_files_get")));
  EXPECT_EQ(Fields(f->page_index, f->page_size, f->keyword, f->create_start_time, f->create_end_time, f->time_type,
                   f->file_type, f->assemble_types),
            "2 10 k b e 1 8 1,2");
}

TEST_F(EvidenceMessagesTest, FilesOfOtherPluginsAreAnsweredAsTheyWereSent) {
  Evidence::EvidenceFilesMap evidences;
  std::string reserved;
  ASSERT_TRUE(pdu_.DecodeAPIEvidencePUTReq(evidences, reserved, Request("api_evidence_put")));
  EXPECT_EQ(Unanswered(*evidences[0].first), "2 3 -1  -1     -1 ");
  std::list<EvidencePtr> in_order;
  for (const auto& [evidence, files] : evidences)
    in_order.push_back(evidence);
  ExpectAnswer("api_evidence_get", pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, in_order, ""));
  EXPECT_EQ(evidences[2].second.size(), 1U) << "a single file may stand without its list";

  auto& files = evidences[0].second;
  files.front()->id = 31;
  files.back()->id = 40;
  ExpectAnswer("evidence_files_get", pdu_.EncodeEvidenceIDFilesGetRsp(response_, {}, files));
  ExpectAnswer("unrelated_files_get",
               pdu_.EncodeUnrelatedFilesGetRsp(response_, {}, files, {7, -1, 10}, {{2, 4}, {1, 3}}, 9));
  files.back() = nullptr;
  evidences[0].first->id = 5;
  evidences[2].first = nullptr;
  ExpectAnswer("api_evidence_put", pdu_.EncodeAPIEvidencePutRsp(response_, {3, -1, {}}, evidences));
}

TEST_F(EvidenceMessagesTest, FileBatches) {
  std::map<std::string, std::int32_t> chunks;
  ASSERT_TRUE(pdu_.DecodeUploadStatusGetReq(chunks, Request("upload")));
  EXPECT_EQ(chunks, (std::map<std::string, std::int32_t>{{"g2", 7}, {"g1", -1}, {"", 9}})) << "the last chunk counts";
  std::map<std::int32_t, std::string> digests;
  ASSERT_TRUE(pdu_.DecodeModifyEvidenceFilesDigestPutReq(digests, Request("files_digest_put")));
  EXPECT_EQ(digests, (std::map<std::int32_t, std::string>{{5, "first"}, {-1, "no id"}}));
  Evidence::IdList ids;
  ASSERT_TRUE(pdu_.DecodeEvidenceFilesDeleteReq(ids, R"({"File":{"IDs":"4,3,,4"}})"));
  EXPECT_EQ(ids, (Evidence::IdList{4, 3, 4}));

  const std::list<Evidence::ErrorPtr> errors{Refused(31, "a", 0, 0), Refused(-1, "b", 3, 0)};
  ExpectAnswer("evidence_files_post", pdu_.EncodeEvidenceIDFilesPostRsp(response_, {0, 15, {}}, errors));
  ExpectAnswer("files_delete", pdu_.EncodeEvidenceFilesRsp(response_, {0, 15, {}}, errors));
}

TEST_F(EvidenceMessagesTest, Histories) {
  std::vector<Evidence::operation_record> records;
  EXPECT_FALSE(pdu_.DecodeWriteEvidenceLogPostReq(records, "", 11, "{}"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  ASSERT_TRUE(pdu_.DecodeWriteEvidenceLogPostReq(records, "s", 11,
                                                 R"({"OperationLog":{"OperationType":4,"FileName":"a.mp4"}})"));
  ASSERT_EQ(records.size(), 1U);
  const auto& r = records[0];
  const auto& item = r.change_items.at(0);
  EXPECT_EQ(Fields(r.evidence_id, r.user_name, r.user_ip, r.operation_type, item.file_name, item.before_mod),
            "11 alice 10.0.0.7 4 a.mp4 a.mp4");
  ExpectAnswer("evidence_label_get", pdu_.EncodeEvidenceLabelGetRsp(response_, {}, "a|b"));
  ExpectAnswer("evidence_guid_get", pdu_.EncodeEvidenceGUIDGetRsp(response_, "0A-1B"));
}

}  // namespace
