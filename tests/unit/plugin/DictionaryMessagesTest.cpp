// Bodies about types, scenes and outcomes, which differ in their words only, about custom attributes and the settings:
// what a request says is what an answer tells.

#include "unit/plugin/ServiceTest.h"

namespace {

using Evidence::FTPSettingsPtr;
using Orv::Base::Error::GetLastError;
using Pdu = Evidence::CEvidencePduJson;
using service_test::Answer;
using service_test::Fields;
using service_test::Refused;
using service_test::Request;

class DictionaryMessagesTest : public service_test::ServiceTest {
 protected:
  template <class Record>
  void Check(const std::string& word, const Record&, auto decode_get, auto encode_get, auto decode_put, auto encode_put,
             auto decode_one, auto encode_one) {
    SCOPED_TRACE(word);
    Evidence::page_info page;
    std::int32_t version = 0;
    ASSERT_TRUE((pdu_.*decode_get)(page, nullptr, version, Request("scene_get", word)));
    EXPECT_EQ(Fields(page.PageIndex, page.PageSize, version), "2 10 7");
    ASSERT_TRUE((pdu_.*decode_get)(page, nullptr, version, "{}"));
    EXPECT_EQ(Fields(page.PageIndex, page.PageSize, version), "-1 -1 0");

    std::list<std::shared_ptr<Record>> records;
    ASSERT_TRUE((pdu_.*decode_put)(records, Request("scene_put", word)));
    ExpectAnswer("scene_get", (pdu_.*encode_get)(response_, {}, {-1, 1, -1}, records, {1, 2}), word);
    ExpectAnswer("scene_put",
                 (pdu_.*encode_put)(response_, {0, 15, {}},
                                    {Refused(0, "zero", 0, 9808), Refused(-1, "new", 3, 0), Refused(7, "seven", 0, 0)}),
                 word);
    std::shared_ptr<Record> record;
    ASSERT_TRUE((pdu_.*decode_one)(record, Request("scene_id_put", word)));
    ExpectAnswer("scene_id_get", (pdu_.*encode_one)(response_, {}, record), word);
    // The name of entry 0 is left out.
    ExpectAnswer("scene_id_get_zero", (pdu_.*encode_one)(response_, {}, records.front()), word);
  }

  /// Settings read and written back by the messages of one generation; the code of a refusal.
  std::string Echo(bool older, const std::string& body, const std::string& session = "s") {
    FTPSettingsPtr settings;
    const auto decode = older ? &Pdu::DecodeFTPSettingsPutReq : &Pdu::DecodeEvidenceSettingsPutReq;
    const auto encode = older ? &Pdu::EncodeFTPSettingsGetRsp : &Pdu::EncodeEvidenceSettingsGetRsp;
    if (!(pdu_.*decode)(settings, session, body)) return std::to_string(GetLastError().SubCode());
    EXPECT_TRUE((pdu_.*encode)(response_, session, {}, settings));
    return response_;
  }
};

TEST_F(DictionaryMessagesTest, EntriesAreAnsweredAsTheyWereSent) {
  Check("EvidenceType", Evidence::_tag_EvidenceType_(), &Pdu::DecodeEvidenceTypeGetReq, &Pdu::EncodeEvidenceTypeGetRsp,
        &Pdu::DecodeEvidenceTypePutReq, &Pdu::EncodeEvidenceTypePutRsp, &Pdu::DecodeEvidenceTypeIDPutReq,
        &Pdu::EncodeEvidenceTypeIDGetRsp);
  Check("Scene", Evidence::tag_EvidenceScene_(), &Pdu::DecodeEvidenceSceneGetReq, &Pdu::EncodeEvidenceSceneGetRsp,
        &Pdu::DecodeEvidenceScenePutReq, &Pdu::EncodeEvidenceScenePutRsp, &Pdu::DecodeEvidenceSceneIDPutReq,
        &Pdu::EncodeEvidenceSceneIDGetRsp);
  Check("Outcome", Evidence::tag_EvidenceOutcome_(), &Pdu::DecodeEvidenceOutcomeGetReq,
        &Pdu::EncodeEvidenceOutcomeGetRsp, &Pdu::DecodeEvidenceOutcomePutReq, &Pdu::EncodeEvidenceOutcomePutRsp,
        &Pdu::DecodeEvidenceOutcomeIDPutReq, &Pdu::EncodeEvidenceOutcomeIDGetRsp);
}

TEST_F(DictionaryMessagesTest, TypesOfOtherPlugins) {
  Evidence::page_info page;
  std::shared_ptr<Evidence::_tag_EvidenceAttributeFilterInfo_> filter;
  std::string reserved;
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, "{}"));
  EXPECT_EQ(filter, nullptr) << "without ids all types are asked for";
  ASSERT_TRUE(pdu_.DecodeAPIEvidenceTypePostReq(page, filter, reserved, Request("api_type_post")));
  ASSERT_NE(filter, nullptr);
  EXPECT_EQ(filter->ids, (Evidence::IdVector{6, 1, -1}));
  std::list<Evidence::EvidenceTypePtr> types;
  ASSERT_TRUE(pdu_.DecodeEvidenceTypePutReq(types, R"({"EvidenceTypeList":{"EvidenceType":{"ID":6,"Name":"A"}}})"));
  types.push_back(nullptr);
  ExpectAnswer("api_type_post", pdu_.EncodeAPIEvidenceTypePostRsp(response_, page, {0, -1, {}}, types));
}

TEST_F(DictionaryMessagesTest, CustomAttributes) {
  std::list<Evidence::EvidenceCustomPtr> customs;
  ASSERT_TRUE(pdu_.DecodeEvidenceCustomPutReq(customs, Request("custom_put")));
  EXPECT_EQ(Fields(customs.front()->modify_type, customs.back()->modify_type), "2 -1");
  ExpectAnswer("custom_get", pdu_.EncodeEvidenceCustomGetRsp(response_, {}, customs, {0, 2}));
  response_ = "as it was";
  EXPECT_TRUE(pdu_.EncodeEvidenceCustomGetRsp(response_, {0, 15, {}}, {}, {1}));
  EXPECT_EQ(response_, "as it was") << "no attributes, no body";
  for (const auto& [value, expected] :
       {std::pair{"7", 7}, {R"(" -3 x")", -3}, {R"("x")", 0}, {"1.5", 0}, {R"("99999999999")", 2147483647}}) {
    std::int32_t version = -5;
    EXPECT_TRUE(pdu_.DecodeEvidenceCustomGetReq(
        version, std::string(R"({"CustomQueryReq":{"ClientResourceVersion":)") + value + "}}"));
    EXPECT_EQ(version, expected) << value;
  }
}

TEST_F(DictionaryMessagesTest, SettingsAreAnsweredAsTheyWereSent) {
  EXPECT_EQ(Echo(true, Request("ftp_settings_put")), Answer("ftp_settings_get"));
  EXPECT_EQ(Echo(false, Request("evidence_settings_put")), Answer("evidence_settings_get"));
  EXPECT_EQ(Echo(true, Request("ftp_settings_put"), "stranger"), "253");
  EXPECT_EQ(Echo(false, Request("evidence_settings_put"), "stranger"), "253");
  EXPECT_EQ(Echo(false, "{}"), Answer("evidence_settings_none"));
  for (const auto& [body, code] : {
           std::pair{R"({"FTPSettings":{}})", "2"},
           {R"({"FTPSettings":{"Enable":"2"}})", "2"},
           {R"({"FTPSettings":{"Enable":1,"StorageInfo":{"Type":1}}})", "2"},
           {R"({"FTPSettings":{"Enable":"0","FTPType":"9","StorageInfo":{"Type":1}}})", R"({"ResponseStatus":)"},
           {R"({"FTPSettings":{"Enable":1,"FTPType":"9","StorageInfo":{"Type":0}}})", R"({"ResponseStatus":)"},
       }) {
    EXPECT_TRUE(Echo(true, body).starts_with(code)) << body;
  }
  EXPECT_EQ(Echo(false, R"({"EvidenceSettings":{"Type":1,"FTPInfo":{"FTPType":"01","Password":"sealed"}}})"), "2");
  EXPECT_EQ(Echo(false, R"({"EvidenceSettings":{"Type":1,"FTPInfo":{"FTPType":1,"Password":""}}})"), "2");
  EXPECT_TRUE(platform_.sink->Has(5, "]DecodeFTPSettingsGetReq failed, Password is empty!["));

  const auto secret = service_test::New(Evidence::_tag_FTPSettings_{true, 0, "", 0, "", "secret", "", 1, ""});
  for (const auto encode : {&Pdu::EncodeFTPSettingsGetRsp, &Pdu::EncodeEvidenceSettingsGetRsp}) {
    EXPECT_TRUE((pdu_.*encode)(response_, "stranger", {}, secret));
    EXPECT_NE(response_.find(R"("ErrorCode":252,)"), std::string::npos);
    EXPECT_NE(response_.find(R"("Password":"")"), std::string::npos) << "what cannot be sealed is not sent";
    EXPECT_TRUE((pdu_.*encode)(response_, "s", {0, 15, {}}, nullptr));
    EXPECT_EQ(response_, R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":15}})");
  }
}

}  // namespace
