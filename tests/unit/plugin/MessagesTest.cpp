// Bodies, key by key: what a request says is what an answer returns. And bodies that no honest client sends.

#include "support/Decoders.h"
#include "unit/plugin/ServiceTest.h"
#include "usrservice/pdu/PduLog.h"

namespace {

using namespace std::string_literals;
using Evidence::EvidencePtr;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Pdu = Evidence::CEvidencePduJson;
using scripted::Words;
using service_test::Answer;
using service_test::New;
using service_test::Refused;
using service_test::Request;

class MessagesTest : public service_test::ServiceTest {
 protected:
  /// What no answer returns.
  static std::string Unanswered(const Evidence::_tag_Evidence_& e) {
    return Words(e.scene.scene_id, e.outcome.outcome_id, e.add_mode, e.releated_camera_ids, e.upload_mode,
                 e.upload_begin_time, e.upload_end_time, e.record_begin_time, e.record_end_time, e.create_user.id,
                 e.create_user.name);
  }

  /// The messages of types, scenes and outcomes differ in their words only.
  template <class Record>
  void CheckDictionary(const std::string& word, const Record&, auto decode_get, auto encode_get, auto decode_put,
                       auto encode_put, auto decode_one, auto encode_one) {
    SCOPED_TRACE(word);
    Evidence::page_info page;
    std::int32_t version = 0;
    ASSERT_TRUE((pdu_.*decode_get)(page, nullptr, version, Request("scene_get", word)));
    EXPECT_EQ(Words(page.PageIndex, page.PageSize, version), "2 10 7");
    std::list<std::shared_ptr<Record>> records;
    ASSERT_TRUE((pdu_.*decode_put)(records, Request("scene_put", word)));
    ExpectAnswer("scene_get", (pdu_.*encode_get)(response_, {}, {-1, 1, -1}, records, {1, 2}), word);
    const std::list errors{Refused(0, "zero", 0, 9808), Refused(-1, "new", 3, 0), Refused(7, "seven", 0, 0)};
    ExpectAnswer("scene_put", (pdu_.*encode_put)(response_, {0, 15, {}}, errors), word);
    std::shared_ptr<Record> record;
    ASSERT_TRUE((pdu_.*decode_one)(record, Request("scene_id_put", word)));
    ExpectAnswer("scene_id_get", (pdu_.*encode_one)(response_, {}, record), word);
    // The name of entry 0 is left out.
    ExpectAnswer("scene_id_get_zero", (pdu_.*encode_one)(response_, {}, records.front()), word);
  }

  /// Settings read and written back by the messages of one generation; the code of a refusal.
  std::string Echo(bool older, const std::string& body, const std::string& session = "s") {
    Evidence::FTPSettingsPtr settings;
    const auto decode = older ? &Pdu::DecodeFTPSettingsPutReq : &Pdu::DecodeEvidenceSettingsPutReq;
    const auto encode = older ? &Pdu::EncodeFTPSettingsGetRsp : &Pdu::EncodeEvidenceSettingsGetRsp;
    if (!(pdu_.*decode)(settings, session, body)) return std::to_string(GetLastError().SubCode());
    EXPECT_TRUE((pdu_.*encode)(response_, session, {}, settings));
    return response_;
  }

  /// Each decoder refuses the body with (0, 2), and 26 take any JSON.
  void DecodeWithAll(const std::string& body, bool is_json) {
    SCOPED_TRACE(body.substr(0, 40));
    int taken_by = 0;
    evidence_test::DecodeWithAll(pdu_, body, [&taken_by](bool taken) {
      taken_by += taken ? 1 : 0;
      EXPECT_EQ(GetLastError(), taken ? ErrorCode(0, 0) : ErrorCode(0, 2));
      Orv::Base::Error::SetLastError({0, 0});
    });
    EXPECT_EQ(taken_by, is_json ? 26 : 0);
    EXPECT_EQ(pdu::COperationLogPostSvrPDU().DecodeReq(body), is_json);
    std::list<Evidence::EvidenceFilePtr> files;
    Evidence::IdList ids;
    EXPECT_EQ(Evidence::FileBatchLinkDecode(files, ids, body), is_json);
    Orv::Base::Error::SetLastError({0, 0});
  }
};

TEST_F(MessagesTest, EvidencesAreAnsweredAsTheyWereSent) {
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
  AddFile(31, 11);
  AddFile(32, 11);
  platform_.calls.clear();
  ExpectAnswer("evidence_get",
               pdu_.EncodeEvidenceGetRsp(response_, {}, {41, 1, 20}, true, {created, blank}, "Other,FileList"));
  std::erase_if(platform_.calls, [](const auto& call) { return !call.starts_with("read files"); });
  EXPECT_EQ(platform_.calls, scripted::Calls{"read files of 11,-1"}) << "one query for all files";
  ExpectAnswer("evidence_id_get", pdu_.EncodeEvidenceIDGetRsp(response_, {}, changed, "FileList"));
  // Files that are not asked for or cannot be read are left out.
  for (const auto& [refused, field] : {std::pair("none", "FileLists,filelist, FileList"), {"read files", "FileList"}}) {
    tables_.failing = {refused};
    ExpectAnswer("evidence_get_plain", pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, {created, blank}, field));
    ExpectAnswer("evidence_id_get_plain", pdu_.EncodeEvidenceIDGetRsp(response_, {}, changed, field));
  }
  ExpectAnswer("evidence_get_empty", pdu_.EncodeEvidenceGetRsp(response_, {0, 9820, {}}, {}, false, {}, "FileList"));
  ExpectAnswer("evidence_guid_get", pdu_.EncodeEvidenceGUIDGetRsp(response_, "0A-1B"));
}

TEST_F(MessagesTest, AnswersHaveTheCurrentNames) {
  const auto reported = [this](std::int32_t type_id, std::int32_t creator_id, const std::string& creator_name) {
    Evidence::_tag_Evidence_ evidence;
    evidence.evidence_type = {type_id, "old name"};
    evidence.create_user = {creator_id, creator_name};
    EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, New(evidence)));
    const std::regex names(R"re(.*"EvidenceType":\{"ID":(.*)\},"Desc".*"Creator":\{"ID":(.*)\},"Create.*)re");
    return std::regex_replace(response_, names, "$1 by $2");
  };
  EXPECT_EQ(reported(6, 7, "stored"), R"(6,"Name":"Burglary" by 7,"Name":"account")");
  EXPECT_EQ(reported(9, 8, "stored"), R"(9,"Name":"Deleted type" by 8,"Name":"stored")");
  EXPECT_EQ(reported(0, 8, ""), R"(0 by 8,"Name":"account")");
  EXPECT_EQ(reported(5, 70, "stored"), R"(5,"Name":"" by 70,"Name":"stored")");
  user_interface_.reset();
  EXPECT_EQ(reported(6, 7, "stored"), R"(6,"Name":"old name" by 7,"Name":"stored")") << "with what is known";
  EXPECT_FALSE(pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, {}, ""));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
}

TEST_F(MessagesTest, QueryRequests) {
  Evidence::page_info page;
  Evidence::EvidenceFilterPtr f;
  std::string field;
  Evidence::IdList ids;
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, R"({"EvidenceQueryReq":{"SortType":4}})"));
  EXPECT_EQ(f, nullptr);
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, R"({"EvidenceQueryReq":{"Filter":{}}})"));
  EXPECT_EQ(Words(page.PageIndex, page.PageSize, f->keyword_type, f->time_type, f->status, f->sort_type),
            "-1 -1 0 -1 -1 -1");
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, f, field, ids, Request("evidence_get")));
  EXPECT_EQ(ids, (Evidence::IdList{5, 0, 7, -1, 2147483647}));
  EXPECT_EQ(Words(page.total, page.PageIndex, page.PageSize, field, f->guid, f->keyword, f->keyword_type,
                  f->evidence_type_id, f->scene_id, f->outcome_id, f->create_start_time, f->create_end_time,
                  f->evidence_begin_start_time, f->evidence_begin_end_time, f->evidence_end_start_time,
                  f->evidence_end_end_time, f->time_type, f->status, f->sort_type, f->add_mode),
            "0 1 20 FileList,Other fg fk 2 3 4 5 cs ce bs be es ee 1 6 4 -1");
  field.clear();
  ASSERT_TRUE(pdu_.DecodeEvidenceIDGetReq(field, Request("evidence_get")));
  EXPECT_EQ(field, "FileList,Other");

  EXPECT_FALSE(pdu_.DecodeUnrelatedFilesGetReq(f, R"({"FileQueryReq":{"PageIndex":1}})"));
  ASSERT_TRUE(pdu_.DecodeUnrelatedFilesGetReq(f, Request("unrelated_files_get")));
  EXPECT_EQ(Words(f->page_index, f->page_size, f->keyword, f->create_start_time, f->create_end_time, f->time_type,
                  f->file_type, f->assemble_types),
            "2 10 k b e 1 8 1,2");
}

TEST_F(MessagesTest, OtherPluginsAreAnsweredAsTheySent) {
  Evidence::EvidenceFilesMap evidences;
  std::string reserved;
  ASSERT_TRUE(pdu_.DecodeAPIEvidencePUTReq(evidences, reserved, Request("api_evidence_put")));
  EXPECT_EQ(Unanswered(*evidences[0].first), "2 3 -1  -1     -1 ");
  std::list<EvidencePtr> in_order;
  for (const auto& [evidence, files] : evidences)
    in_order.push_back(evidence);
  ExpectAnswer("api_evidence_get", pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, in_order, ""));
  EXPECT_EQ(evidences[2].second.size(), 1U) << "a single file may come without its list";

  auto& files = evidences[0].second;
  files.front()->id = 31;
  files.back()->id = 40;
  ExpectAnswer("unrelated_files_get",
               pdu_.EncodeUnrelatedFilesGetRsp(response_, {}, files, {7, -1, 10}, {{2, 4}, {1, 3}}, 9));

  Evidence::page_info page;
  std::shared_ptr<Evidence::_tag_EvidenceAttributeFilterInfo_> filter;
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, "{}"));
  EXPECT_EQ(filter, nullptr) << "without ids all types are asked for";
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, Request("api_type_post")));
  EXPECT_EQ(filter->ids, (Evidence::IdVector{6, 1, -1}));
  const std::list<Evidence::EvidenceTypePtr> types{New(Evidence::_tag_EvidenceType_{6, "A"}), nullptr};
  ExpectAnswer("api_type_post", pdu_.EncodeAPIEvidenceTypePostRsp(response_, page, {0, -1, {}}, types));
}

TEST_F(MessagesTest, MessagesOfNoRoute) {
  std::map<std::string, std::int32_t> chunks;
  ASSERT_TRUE(pdu_.DecodeUploadStatusGetReq(chunks, Request("upload")));
  EXPECT_EQ(chunks, (std::map<std::string, std::int32_t>{{"g2", 7}, {"g1", -1}, {"", 9}})) << "the last chunk counts";
  std::map<std::int32_t, std::string> digests;
  ASSERT_TRUE(pdu_.DecodeModifyEvidenceFilesDigestPutReq(digests, Request("files_digest_put")));
  EXPECT_EQ(digests, (std::map<std::int32_t, std::string>{{5, "first"}, {-1, "no id"}}));
  const std::list<Evidence::ErrorPtr> errors{Refused(31, "a", 0, 0), Refused(-1, "b", 3, 0)};
  ExpectAnswer("evidence_files_post", pdu_.EncodeEvidenceIDFilesPostRsp(response_, {0, 15, {}}, errors));
  ExpectAnswer("files_delete", pdu_.EncodeEvidenceFilesRsp(response_, {0, 15, {}}, errors));
  std::vector<Evidence::operation_record> records;
  EXPECT_FALSE(pdu_.DecodeWriteEvidenceLogPostReq(records, "", 11, "{}"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  ASSERT_TRUE(pdu_.DecodeWriteEvidenceLogPostReq(records, "s", 11,
                                                 R"({"OperationLog":{"OperationType":4,"FileName":"a.mp4"}})"));
  const auto& r = records.at(0);
  EXPECT_EQ(Words(r.evidence_id, r.user_name, r.user_ip, r.operation_type, r.change_items.at(0).before_mod),
            "11 alice 10.0.0.7 4 a.mp4");
  ExpectAnswer("evidence_label_get", pdu_.EncodeEvidenceLabelGetRsp(response_, {}, "a|b"));
}

TEST_F(MessagesTest, DictionariesAreAnsweredAsTheyWereSent) {
  CheckDictionary("EvidenceType", Evidence::_tag_EvidenceType_(), &Pdu::DecodeEvidenceTypeGetReq,
                  &Pdu::EncodeEvidenceTypeGetRsp, &Pdu::DecodeEvidenceTypePutReq, &Pdu::EncodeEvidenceTypePutRsp,
                  &Pdu::DecodeEvidenceTypeIDPutReq, &Pdu::EncodeEvidenceTypeIDGetRsp);
  CheckDictionary("Scene", Evidence::tag_EvidenceScene_(), &Pdu::DecodeEvidenceSceneGetReq,
                  &Pdu::EncodeEvidenceSceneGetRsp, &Pdu::DecodeEvidenceScenePutReq, &Pdu::EncodeEvidenceScenePutRsp,
                  &Pdu::DecodeEvidenceSceneIDPutReq, &Pdu::EncodeEvidenceSceneIDGetRsp);
  CheckDictionary("Outcome", Evidence::tag_EvidenceOutcome_(), &Pdu::DecodeEvidenceOutcomeGetReq,
                  &Pdu::EncodeEvidenceOutcomeGetRsp, &Pdu::DecodeEvidenceOutcomePutReq,
                  &Pdu::EncodeEvidenceOutcomePutRsp, &Pdu::DecodeEvidenceOutcomeIDPutReq,
                  &Pdu::EncodeEvidenceOutcomeIDGetRsp);

  std::list<Evidence::EvidenceCustomPtr> customs;
  ASSERT_TRUE(pdu_.DecodeEvidenceCustomPutReq(customs, Request("custom_put")));
  EXPECT_EQ(Words(customs.front()->modify_type, customs.back()->modify_type), "2 -1");
  ExpectAnswer("custom_get", pdu_.EncodeEvidenceCustomGetRsp(response_, {}, customs, {0, 2}));
  std::int32_t version = -5;
  EXPECT_TRUE(pdu_.DecodeEvidenceCustomGetReq(version, R"({"CustomQueryReq":{"ClientResourceVersion":" -3 x"}})"));
  EXPECT_EQ(version, -3);
}

TEST_F(MessagesTest, SettingsAreAnsweredAsTheyWereSent) {
  EXPECT_EQ(Echo(true, Request("ftp_settings_put")), Answer("ftp_settings_get"));
  EXPECT_EQ(Echo(false, Request("evidence_settings_put")), Answer("evidence_settings_get"));
  EXPECT_EQ(Echo(true, Request("ftp_settings_put"), "stranger"), "253");
  EXPECT_EQ(Echo(false, Request("evidence_settings_put"), "stranger"), "253");
  EXPECT_EQ(Echo(true, R"({"FTPSettings":{"Enable":"2"}})"), "2");
  EXPECT_EQ(Echo(true, R"({"FTPSettings":{"Enable":1,"StorageInfo":{"Type":1}}})"), "2");
  EXPECT_EQ(Echo(false, R"({"EvidenceSettings":{"Type":1,"FTPInfo":{"FTPType":1,"Password":""}}})"), "2");
  EXPECT_EQ(Echo(false, "{}"), Answer("evidence_settings_none"));

  const auto secret = New(Evidence::_tag_FTPSettings_{true, 0, "", 0, "", "secret", "", 1, ""});
  for (const auto encode : {&Pdu::EncodeFTPSettingsGetRsp, &Pdu::EncodeEvidenceSettingsGetRsp}) {
    EXPECT_TRUE((pdu_.*encode)(response_, "stranger", {}, secret));
    EXPECT_NE(response_.find(R"("ErrorCode":252,)"), std::string::npos);
    EXPECT_NE(response_.find(R"("Password":"")"), std::string::npos) << "what cannot be sealed is not sent";
  }
}

TEST_F(MessagesTest, HostileBodiesAreRefusedWithoutHarm) {
  std::string nested_objects;
  for (int depth = 0; depth < 100000; ++depth)
    nested_objects += R"({"Evidence":)";
  for (const auto& body :
       {""s, "{"s, R"({"Evidence":{"Name":"cut)"s, R"({"Evidence":[{"ID":1},)"s, R"({"Evidence":1}{})"s,
        "{\"Evidence\":\0}"s, "{\"Evidence\":{\"Name\":\"\xFF\"}}"s, "{\"Evidence\":{\"Name\":\"\xED\xA0\x80\"}}"s,
        R"({"Evidence":{"Name":"\ud800"}})"s, R"({"Evidence":{"ID":)" + std::string(400, '9') + "}}",
        std::string(100000, '[') + std::string(100000, ']'), nested_objects})
    DecodeWithAll(body, false);
  for (const auto& body :
       {"[]"s, "7"s, "null"s, R"("text")"s, "{}"s, R"({"Evidence":[[],[]],"EvidenceList":[],"EvidenceQueryReq":[7],
        "EvidenceDeleteReq":"x","FileList":null,"FileQueryReq":[],"SearchRequest":[],"File":[],"OperationLog":[],
        "Request":[[]],"EvidenceTypeList":[],"EvidenceType":1e308})"s})
    DecodeWithAll(body, true);
}

}  // namespace
