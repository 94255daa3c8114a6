// Bodies of the scene and outcome messages: one set of files, the words of the other dictionary put in.

#include <regex>

#include "unit/plugin/MessageTest.h"

namespace {

using Evidence::CEvidencePduJson;
using Evidence::ErrorPtr;
using Evidence::page_info;
using messages::Fields;
using Texts = std::vector<std::string>;

struct Scenes {
  using Record = Evidence::tag_EvidenceScene_;
  static constexpr auto kId = &Record::scene_id;
  static constexpr auto kDecodeGet = &CEvidencePduJson::DecodeEvidenceSceneGetReq;
  static constexpr auto kEncodeGet = &CEvidencePduJson::EncodeEvidenceSceneGetRsp;
  static constexpr auto kDecodePut = &CEvidencePduJson::DecodeEvidenceScenePutReq;
  static constexpr auto kEncodePut = &CEvidencePduJson::EncodeEvidenceScenePutRsp;
  static constexpr auto kEncodeIdGet = &CEvidencePduJson::EncodeEvidenceSceneIDGetRsp;
  static constexpr auto kDecodeIdPut = &CEvidencePduJson::DecodeEvidenceSceneIDPutReq;
  static std::string Worded(const std::string& text) { return text; }
};

struct Outcomes {
  using Record = Evidence::tag_EvidenceOutcome_;
  static constexpr auto kId = &Record::outcome_id;
  static constexpr auto kDecodeGet = &CEvidencePduJson::DecodeEvidenceOutcomeGetReq;
  static constexpr auto kEncodeGet = &CEvidencePduJson::EncodeEvidenceOutcomeGetRsp;
  static constexpr auto kDecodePut = &CEvidencePduJson::DecodeEvidenceOutcomePutReq;
  static constexpr auto kEncodePut = &CEvidencePduJson::EncodeEvidenceOutcomePutRsp;
  static constexpr auto kEncodeIdGet = &CEvidencePduJson::EncodeEvidenceOutcomeIDGetRsp;
  static constexpr auto kDecodeIdPut = &CEvidencePduJson::DecodeEvidenceOutcomeIDPutReq;
  static std::string Worded(const std::string& text) {
    return std::regex_replace(text, std::regex("Scen(ce|e)"), "Outcome");
  }
};

template <class Dictionary>
class SceneMessagesTest : public messages::MessageTest {
 protected:
  using Record = typename Dictionary::Record;
  using RecordPtr = std::shared_ptr<Record>;

  static RecordPtr Entry(std::int32_t id, const std::string& name) {
    return std::make_shared<Record>(Record{id, name});
  }
  static std::string Read(const Record& record) { return Fields(record.*Dictionary::kId, record.type_name); }
  static std::string Request(const std::string& name) { return Dictionary::Worded(messages::Request(name)); }
  static std::string Answer(const std::string& name) { return Dictionary::Worded(messages::Answer(name)); }
  static ErrorPtr Refused(std::int32_t id, const std::string& name, int main_code, int sub_code) {
    return std::make_shared<Evidence::_tag_Error_>(Evidence::_tag_Error_{id, name, main_code, sub_code});
  }
};
using Dictionaries = ::testing::Types<Scenes, Outcomes>;
TYPED_TEST_SUITE(SceneMessagesTest, Dictionaries);

TYPED_TEST(SceneMessagesTest, RequestsAreRead) {
  page_info page;
  std::int32_t version = 0;
  ASSERT_TRUE((this->pdu_.*TypeParam::kDecodeGet)(page, nullptr, version, this->Request("scene_get")));
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize, version), "2 10 7");
  ASSERT_TRUE((this->pdu_.*TypeParam::kDecodeGet)(page, nullptr, version, messages::Request("evidence_get")));
  EXPECT_EQ(Fields(page.PageIndex, page.PageSize, version), "-1 -1 0");

  std::list<typename TestFixture::RecordPtr> records;
  ASSERT_TRUE((this->pdu_.*TypeParam::kDecodePut)(records, this->Request("scene_put")));
  Texts read;
  for (const auto& record : records)
    read.push_back(this->Read(*record));
  EXPECT_EQ(read, (Texts{"3 a/\xC3\xA9", "-1 b", "-1 "}));

  typename TestFixture::RecordPtr record;
  ASSERT_TRUE((this->pdu_.*TypeParam::kDecodeIdPut)(record, this->Request("scene_id_put")));
  EXPECT_EQ(this->Read(*record), "6 street");
}

TYPED_TEST(SceneMessagesTest, AnswersAreWritten) {
  EXPECT_TRUE((this->pdu_.*TypeParam::kEncodeGet)(
      this->response_, {}, {-1, 1, -1}, {this->Entry(0, "home"), this->Entry(7, ""), this->Entry(-1, "bank")}, {1, 2}));
  EXPECT_EQ(this->response_, this->Answer("scene_get"));
  EXPECT_TRUE((this->pdu_.*TypeParam::kEncodePut)(
      this->response_, {0, 15, {}},
      {this->Refused(0, "zero", 0, 9808), this->Refused(-1, "new", 3, 0), this->Refused(7, "seven", 0, 0)}));
  EXPECT_EQ(this->response_, this->Answer("scene_put"));
  EXPECT_TRUE((this->pdu_.*TypeParam::kEncodeIdGet)(this->response_, {}, this->Entry(6, "street")));
  EXPECT_EQ(this->response_, this->Answer("scene_id_get"));
}

}  // namespace
