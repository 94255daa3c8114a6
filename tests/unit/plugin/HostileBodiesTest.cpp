// Bodies that no honest client sends, given to every decoder.

#include "support/Decoders.h"
#include "unit/plugin/ServiceTest.h"

namespace {

using namespace std::string_literals;

class HostileBodiesTest : public service_test::ServiceTest {
 protected:
  /// What the decoder made of the body: 0, or the code it left; -1 for none.
  static int Outcome(const evidence_test::Decoder& decoder, const std::string& body) {
    Orv::Base::Error::SetLastError({0, 0});
    if (decoder.decode(body)) return 0;
    const int code = Orv::Base::Error::GetLastError().SubCode();
    return code == 0 ? -1 : code;
  }

  const std::vector<evidence_test::Decoder> decoders_ = evidence_test::Decoders(pdu_);
};

TEST_F(HostileBodiesTest, AreRefusedWithoutHarm) {
  std::string nested_objects;
  for (int depth = 0; depth < 100000; ++depth)
    nested_objects += R"({"Evidence":)";
  for (const auto& body :
       {""s, "{"s, R"({"Evidence":{"Name":"cut)"s, R"({"Evidence":[{"ID":1},)"s, R"({"Evidence":1}{})"s,
        "{\"Evidence\":\0}"s, "{\"Evidence\":{\"Name\":\"\xFF\"}}"s, "{\"Evidence\":{\"Name\":\"\xED\xA0\x80\"}}"s,
        R"({"Evidence":{"Name":"\ud800"}})"s, R"({"Evidence":{"ID":)" + std::string(400, '9') + "}}",
        std::string(100000, '['), std::string(100000, '[') + std::string(100000, ']'), nested_objects}) {
    for (const auto& decoder : decoders_)
      EXPECT_EQ(Outcome(decoder, body), decoder.no_json) << decoder.name << " " << body.substr(0, 40);
  }
  EXPECT_TRUE(platform_.sink->Has(5, "CEvidencePduJson::DecodeEvidenceTypeGetReq]Data Parse failed, data invalid!["));
}

TEST_F(HostileBodiesTest, OtherShapesHoldNoKeys) {
  for (const auto& body :
       {"[]"s, "7"s, "null"s, R"("text")"s, "{}"s, R"({"Evidence":[[],[]],"EvidenceList":[],"EvidenceQueryReq":[7],
        "EvidenceDeleteReq":"x","FileList":null,"FileQueryReq":[],"SearchRequest":[],"File":[],"OperationLog":[],
        "Request":[[]],"EvidenceTypeList":[],"EvidenceType":1e308})"s}) {
    for (const auto& decoder : decoders_)
      EXPECT_EQ(Outcome(decoder, body), decoder.no_keys) << decoder.name << " " << body;
  }
}

TEST_F(HostileBodiesTest, LongAndOddTextsComeThroughWhole) {
  const std::string label(5 << 20, 'x');
  const std::string head = R"({"Evidence":{"Name":"a\u0000b","ID":1e300,"Label":")";
  Evidence::EvidencePtr evidence;
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(evidence, "s", head + label + "\"}}"));
  EXPECT_EQ(evidence->name, "a\0b"s) << "a text does not end at a NUL";
  EXPECT_EQ(evidence->id, -1);
  EXPECT_EQ(evidence->label, label);
  evidence->guid = "a\xFFz";
  std::string response;
  ASSERT_TRUE(pdu_.EncodeEvidencePostRsp(response, {}, evidence));
  EXPECT_NE(response.find("\"Guid\":\"a\xEF\xBF\xBDz\",\"Name\":\"a\\u0000b\""), std::string::npos);
}

}  // namespace
