// Bodies that no honest client sends, given to every decoder.

#include "support/Decoders.h"
#include "unit/plugin/ServiceTest.h"
#include "usrservice/pdu/PduLog.h"

namespace {

using namespace std::string_literals;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

class HostileBodiesTest : public service_test::ServiceTest {
 protected:
  /// Each decoder takes the body, or refuses it with (0, 2).
  void DecodeWithAll(const std::string& body, bool is_json) {
    int nth = 0;
    evidence_test::DecodeWithAll(pdu_, body, [&](bool taken, bool takes_no_keys) {
      const auto pair = GetLastError();
      Orv::Base::Error::SetLastError({0, 0});
      EXPECT_EQ(taken, is_json && takes_no_keys) << nth << " " << body.substr(0, 40);
      EXPECT_EQ(pair, taken ? ErrorCode(0, 0) : ErrorCode(0, 2)) << nth << " " << body.substr(0, 40);
      ++nth;
    });
    EXPECT_EQ(pdu::COperationLogPostSvrPDU().DecodeReq(body), is_json) << body.substr(0, 40);
    std::list<Evidence::EvidenceFilePtr> files;
    Evidence::IdList ids;
    EXPECT_EQ(Evidence::FileBatchLinkDecode(files, ids, body), is_json) << body.substr(0, 40);
    Orv::Base::Error::SetLastError({0, 0});
  }
};

TEST_F(HostileBodiesTest, AreRefusedWithoutHarm) {
  std::string nested_objects;
  for (int depth = 0; depth < 100000; ++depth)
    nested_objects += R"({"Evidence":)";
  for (const auto& body :
       {""s, "{"s, R"({"Evidence":{"Name":"cut)"s, R"({"Evidence":[{"ID":1},)"s, R"({"Evidence":1}{})"s,
        "{\"Evidence\":\0}"s, "{\"Evidence\":{\"Name\":\"\xFF\"}}"s, "{\"Evidence\":{\"Name\":\"\xED\xA0\x80\"}}"s,
        R"({"Evidence":{"Name":"\ud800"}})"s, R"({"Evidence":{"ID":)" + std::string(400, '9') + "}}",
        std::string(100000, '['), std::string(100000, '[') + std::string(100000, ']'), nested_objects})
    DecodeWithAll(body, false);
  EXPECT_TRUE(platform_.sink->Has(5, "CEvidencePduJson::DecodeEvidenceTypeGetReq]Data Parse failed, data invalid!["));
  for (const auto& body :
       {"[]"s, "7"s, "null"s, R"("text")"s, "{}"s, R"({"Evidence":[[],[]],"EvidenceList":[],"EvidenceQueryReq":[7],
        "EvidenceDeleteReq":"x","FileList":null,"FileQueryReq":[],"SearchRequest":[],"File":[],"OperationLog":[],
        "Request":[[]],"EvidenceTypeList":[],"EvidenceType":1e308})"s})
    DecodeWithAll(body, true);
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
