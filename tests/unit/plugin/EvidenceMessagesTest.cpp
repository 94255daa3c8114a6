// Bodies that write, query and delete evidences, key by key.

#include "unit/plugin/MessageTest.h"

namespace {

using Evidence::EvidenceFilterPtr;
using Evidence::EvidencePtr;
using Evidence::IdList;
using Evidence::page_info;
using Evidence::UserPtr;
using messages::Answer;
using messages::Fields;
using messages::Request;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;

class EvidenceMessagesTest : public messages::MessageTest {
 protected:
  /// What a request to create and one to change both carry.
  static std::string Common(const Evidence::_tag_Evidence_& e) {
    std::string text =
        Fields(e.id, e.guid, e.name, e.evidence_type.type_id, e.scene.scene_id, e.outcome.outcome_id, e.evidence_desc,
               e.evidence_status, e.label, e.evidence_begin_time, e.evidence_end_time, e.cad_id);
    for (const auto& custom : e.evidence_customs) {
      text += Fields(";", custom.custom_id, custom.custom_name);
      for (const auto& option : custom.custom_options)
        text += Fields(",", option.option_id, option.option_name);
    }
    return text;
  }
  static std::string CreationOnly(const Evidence::_tag_Evidence_& e) {
    return Fields(e.add_mode, e.releated_camera_ids, e.upload_mode, e.upload_begin_time, e.upload_end_time,
                  e.record_begin_time, e.record_end_time, e.create_user.id, e.create_user.name);
  }
  static Texts Names(const std::list<UserPtr>& users) {
    Texts names;
    for (const auto& user : users)
      names.push_back(Fields(user->name, user->password));
    return names;
  }
  static EvidencePtr Full() {
    auto e = std::make_shared<Evidence::_tag_Evidence_>();
    e->id = 11;
    e->guid = "G-1";
    e->name = "Lock \"and\" key \xC3\xA9";
    e->evidence_type = {6, "old name"};
    e->evidence_desc = "desc";
    e->evidence_status = 2;
    e->create_user = {8, "stored"};
    e->create_time = "2026-01-02T03:04:05+01:00";
    e->label = "a|b";
    e->evidence_begin_time = "eb";
    e->evidence_end_time = "ee";
    e->cad_id = "cad";
    e->evidence_customs.resize(2);
    e->evidence_customs[0].custom_id = 14;
    e->evidence_customs[0].custom_options = {{15, "red"}, {-1, "green"}};
    e->evidence_customs[1].custom_id = 16;
    return e;
  }
  static EvidencePtr Blank(std::int32_t id) {
    auto e = std::make_shared<Evidence::_tag_Evidence_>();
    e->id = id;
    return e;
  }
};

constexpr char kCommonFields[] =
    "11 G-1 Lock \"and\" key \xC3\xA9 6 12 13 desc 2 a|b eb ee cad; 14 Colour, 15 red; 16 , -1 ";

TEST_F(EvidenceMessagesTest, CreateAndChangeRequests) {
  EvidencePtr evidence;
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(evidence, "s", Request("evidence_post")));
  EXPECT_EQ(Common(*evidence), kCommonFields);
  EXPECT_EQ(CreationOnly(*evidence), "1 21,22 3 ub ue rb re 7 alice") << "the creator comes from the session";
  ASSERT_TRUE(pdu_.DecodeEvidenceIDPutReq(evidence, Request("evidence_post")));
  EXPECT_EQ(Common(*evidence), kCommonFields);
  EXPECT_EQ(CreationOnly(*evidence), "-1  -1     -1 ");
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(evidence, "s", "{}"));
  EXPECT_EQ(Common(*evidence), "-1   -1 -1 -1  -1    ") << "the status a new record starts with is lost";
  for (const char* unknown : {"", "t"}) {
    EXPECT_FALSE(pdu_.DecodeEvidencePostReq(evidence, unknown, "{}"));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  }
  EXPECT_TRUE(platform_.sink->Has(5, "CEvidencePduJson::DecodeEvidencePostReq]GetUserSession failed.["));
}

TEST_F(EvidenceMessagesTest, CreateAnswer) {
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, Full()));
  EXPECT_EQ(response_, Answer("evidence_post"));
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, Blank(-1)));
  EXPECT_EQ(response_, Answer("evidence_post_blank"));
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {0, 9805, {}}, nullptr));
  EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9805,"Data":{}}})");
  auto of_type_0 = Blank(1);
  of_type_0->evidence_type.type_id = 0;
  of_type_0->name = "a\xFFz";
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, of_type_0));
  EXPECT_NE(response_.find("\"Name\":\"a\xEF\xBF\xBDz\",\"EvidenceType\":{\"ID\":0},"), std::string::npos) << response_;
}

TEST_F(EvidenceMessagesTest, AnswersTellTheNamesThatHoldNow) {
  struct Case {
    std::int32_t type_id;
    std::int32_t creator_id;
    std::string creator_name;
    std::string type;
    std::string creator;
  };
  for (const Case& c : {Case{6, 7, "stored", "Burglary", "account"}, Case{9, 8, "stored", "Deleted type", "stored"},
                        Case{5, 8, "", "", "account"}, Case{5, 70, "stored", "", "stored"}, Case{5, 70, "", "", ""}}) {
    auto evidence = Blank(1);
    evidence->evidence_type = {c.type_id, "old name"};
    evidence->create_user = {c.creator_id, c.creator_name};
    EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, evidence));
    EXPECT_EQ(evidence->evidence_type.type_name, c.type) << c.type_id;
    EXPECT_EQ(evidence->create_user.name, c.creator) << c.creator_id;
  }
  EXPECT_TRUE(platform_.sink->Has(4, "]The evidence type not exists, evidence-type-id[9].["));
  EXPECT_TRUE(platform_.sink->Has(4, "]Get user failed, user-id[70], error-code[202].["));
  user_interface_.reset();
  EXPECT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, Full())) << "goes out with what is known";
  EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
  EXPECT_NE(response_.find("old name"), std::string::npos);
}

TEST_F(EvidenceMessagesTest, StatusBatch) {
  std::list<EvidencePtr> evidences;
  ASSERT_TRUE(pdu_.DecodeEvidencePutReq(evidences, Request("evidence_put")));
  Texts read;
  for (const auto& evidence : evidences)
    read.push_back(Fields(evidence->id, evidence->evidence_status, evidence->name));
  EXPECT_EQ(read, (Texts{"11 2 ", "-1 -1 ", "12 1 ", "-1 -1 "}));
  for (const char* body : {R"({"EvidenceList":{"Evidence":[]}})", "{}", "", "{"}) {
    Orv::Base::Error::SetLastError({0, 0});
    EXPECT_FALSE(pdu_.DecodeEvidencePutReq(evidences, body)) << body;
    EXPECT_EQ(GetLastError(), ErrorCode(0, 2)) << body;
  }
  EXPECT_TRUE(platform_.sink->Has(5, "]Xml Parse failed or EvidenceList does not exist, xml invalid!["));
  EXPECT_FALSE(platform_.sink->Has(5, "]Data Parse failed"));

  std::list<Evidence::EvidenceErrInfoPtr> results;
  for (const auto& result : {Evidence::_tag_EvidenceErrInfo_{11, "G-1", "one", 0}, {-1, "", "", 9804}})
    results.push_back(std::make_shared<Evidence::_tag_EvidenceErrInfo_>(result));
  EXPECT_TRUE(pdu_.EncodeEvidencePutRsp(response_, {3, 15, {}}, results));
  EXPECT_EQ(response_, Answer("evidence_put"));
  results.pop_back();
  EXPECT_TRUE(pdu_.EncodeEvidencePutRsp(response_, {3, 15, {}}, results));
  EXPECT_NE(response_.find(R"("ErrorModule":3,"ErrorCode":15,)"), std::string::npos) << "nothing was refused";
  EXPECT_TRUE(pdu_.EncodeEvidencePutRsp(response_, {0, 10, {}}, {}));
  EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":10,"Data":{"EvidenceErrorList":{}}}})");
}

TEST_F(EvidenceMessagesTest, QueryRequest) {
  page_info page;
  EvidenceFilterPtr filter;
  std::string field;
  IdList ids;
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, filter, field, ids, Request("evidence_get")));
  EXPECT_EQ(Fields(page.total, page.PageIndex, page.PageSize, field), "0 1 20 FileList,Other");
  EXPECT_EQ(ids, (IdList{5, 0, 7, -1, 2147483647}));
  ASSERT_TRUE(filter);
  const auto& f = *filter;
  EXPECT_EQ(Fields(f.guid, f.keyword, f.keyword_type, f.evidence_type_id, f.scene_id, f.outcome_id, f.create_start_time,
                   f.create_end_time, f.evidence_begin_start_time, f.evidence_begin_end_time, f.evidence_end_start_time,
                   f.evidence_end_end_time, f.time_type, f.status, f.sort_type, f.add_mode),
            "fg fk 2 3 4 5 cs ce bs be es ee 1 6 4 -1");

  filter = nullptr;
  ids.clear();
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, filter, field, ids, R"({"EvidenceQueryReq":{"SortType":4}})"));
  EXPECT_FALSE(filter);
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize, field, ids.size()), "-1 -1  0");
  ASSERT_TRUE(pdu_.DecodeEvidenceGetReq(page, filter, field, ids, R"({"EvidenceQueryReq":{"Filter":{}}})"));
  ASSERT_TRUE(filter);
  EXPECT_EQ(Fields(filter->keyword_type, filter->time_type, filter->status, filter->sort_type), "0 -1 -1 -1");
  ASSERT_TRUE(pdu_.DecodeEvidenceIDGetReq(field, Request("evidence_get")));
  EXPECT_EQ(field, "FileList,Other");
}

TEST_F(EvidenceMessagesTest, QueryAnswer) {
  const std::list<EvidencePtr> evidences{Full(), Blank(12)};
  EXPECT_TRUE(pdu_.EncodeEvidenceGetRsp(response_, {}, {41, 1, 20}, true, evidences, "Other,FileList"));
  EXPECT_EQ(response_, Answer("evidence_get"));
  EXPECT_TRUE(pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, evidences, "FileLists,filelist, FileList"));
  EXPECT_EQ(response_, Answer("evidence_get_plain"));
  EXPECT_EQ(store_->asked, (std::vector<Evidence::IdVector>{{11, 12}, {11, 12}})) << "one query for all files";
  store_->files_readable = false;
  EXPECT_TRUE(pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, evidences, "FileList"));
  EXPECT_EQ(response_, Answer("evidence_get_plain")) << "goes out without files";
  EXPECT_TRUE(platform_.sink->Has(5, "::EncodeEvidenceGetRsp]QueryEvidenceFiles failed.["));
  EXPECT_TRUE(pdu_.EncodeEvidenceGetRsp(response_, {0, 9820, {}}, {}, false, {}, "FileList"));
  EXPECT_EQ(response_, Answer("evidence_get_empty"));
}

TEST_F(EvidenceMessagesTest, SingleAnswer) {
  EXPECT_TRUE(pdu_.EncodeEvidenceIDGetRsp(response_, {}, Full(), "FileList"));
  EXPECT_EQ(response_, Answer("evidence_id_get"));
  EXPECT_TRUE(pdu_.EncodeEvidenceIDGetRsp(response_, {}, Full(), "File"));
  EXPECT_EQ(response_, Answer("evidence_id_get_plain"));
  store_->files_readable = false;
  EXPECT_TRUE(pdu_.EncodeEvidenceIDGetRsp(response_, {}, Full(), "FileList"));
  EXPECT_EQ(response_, Answer("evidence_id_get_plain"));
  EXPECT_TRUE(platform_.sink->Has(5, "::EncodeEvidenceIDGetRsp]Query evidence files failed!["));
  EXPECT_TRUE(pdu_.EncodeEvidenceIDGetRsp(response_, {0, 9804, {}}, nullptr, "FileList"));
  EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":9804,"Data":{}}})");
  user_interface_.reset();
  for (const bool single : {true, false}) {
    Orv::Base::Error::SetLastError({0, 0});
    EXPECT_FALSE(single ? pdu_.EncodeEvidenceIDGetRsp(response_, {}, nullptr, "")
                        : pdu_.EncodeEvidenceGetRsp(response_, {}, {}, false, {}, ""));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 1));
  }
}

TEST_F(EvidenceMessagesTest, Deletion) {
  IdList ids;
  std::list<UserPtr> users;
  ASSERT_TRUE(pdu_.DecodeEvidenceDeleteReq(ids, users, Request("evidence_delete")));
  EXPECT_EQ(ids, (IdList{3, 2, 3}));
  EXPECT_EQ(Names(users), (Texts{"alice p1", " p2"}));
  users.clear();
  ASSERT_TRUE(pdu_.DecodeEvidenceIDDeleteReq(users, Request("evidence_delete")));
  EXPECT_EQ(Names(users), (Texts{"alice p1", " p2"}));
  EXPECT_TRUE(pdu_.EncodeEvidenceDeleteRsp(response_, 4, 2, "alice", {0, 201, {}}));
  EXPECT_EQ(response_, Answer("evidence_delete"));
  EXPECT_TRUE(pdu_.EncodeEvidenceIDDeleteRsp(response_, -1, 1, "alice", {}));
  EXPECT_EQ(response_, Answer("evidence_delete_done"));
}

TEST_F(EvidenceMessagesTest, GuidAndLabelAnswers) {
  Orv::Base::Error::SetLastError({0, 15});
  EXPECT_TRUE(pdu_.EncodeEvidenceGUIDGetRsp(response_, "0A-1B"));
  EXPECT_EQ(response_, Answer("evidence_guid_get"));
  EXPECT_TRUE(pdu_.EncodeEvidenceLabelGetRsp(response_, {}, "a|b"));
  EXPECT_EQ(response_, Answer("evidence_label_get"));
}

}  // namespace
