// Bodies that no honest client sends, given to every decoder.

#include <functional>
#include <tuple>
#include <type_traits>

#include "unit/plugin/MessageTest.h"
#include "usrservice/UsrServiceEvidencePDULink.h"
#include "usrservice/pdu/PduLog.h"

namespace {

using namespace std::string_literals;
using Evidence::CEvidencePduJson;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;

struct Decoder {
  const char* name;
  std::function<bool(const std::string&)> decode;
  /// Its code for a body that is no JSON; 0 where the caller sets it.
  int no_json = 2;
  /// Its code for JSON that holds none of its keys; 0 when that is no failure.
  int no_keys = 0;
};

/// Calls `operation` with the body and with new objects for its other arguments.
template <class... Args>
std::function<bool(const std::string&)> Call(CEvidencePduJson& pdu, bool (CEvidencePduJson::*operation)(Args...)) {
  return [&pdu, operation](const std::string& body) {
    std::tuple<std::remove_cvref_t<Args>...> arguments;
    std::get<sizeof...(Args) - 1>(arguments) = body;
    return std::apply([&](auto&... argument) { return (pdu.*operation)(argument...); }, arguments);
  };
}

class HostileBodiesTest : public messages::MessageTest {
 protected:
  /// What the decoder made of the body: 0, or the code it left.
  static int Outcome(const Decoder& decoder, const std::string& body) {
    Orv::Base::Error::SetLastError({0, 0});
    if (decoder.decode(body)) return 0;
    return GetLastError().SubCode() == 0 ? -1 : GetLastError().SubCode();
  }

  Evidence::EvidencePtr evidence_;
  std::vector<Decoder> decoders_{
      {"type get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceTypeGetReq)},
      {"type put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceTypePutReq)},
      {"type id put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceTypeIDPutReq)},
      {"post", [this](const std::string& body) { return pdu_.DecodeEvidencePostReq(evidence_, "s", body); }},
      {"id put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceIDPutReq)},
      {"put", Call(pdu_, &CEvidencePduJson::DecodeEvidencePutReq), 2, 2},
      {"get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceGetReq)},
      {"id get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceIDGetReq)},
      {"delete", Call(pdu_, &CEvidencePduJson::DecodeEvidenceDeleteReq)},
      {"id delete", Call(pdu_, &CEvidencePduJson::DecodeEvidenceIDDeleteReq)},
      {"files", Call(pdu_, &CEvidencePduJson::DecodeEvidenceIDFilesPostReq)},
      {"unrelated files", Call(pdu_, &CEvidencePduJson::DecodeUnrelatedFilesGetReq), 2, 2},
      {"upload cancel", Call(pdu_, &CEvidencePduJson::DecodeUploadCancelReq)},
      {"upload status", Call(pdu_, &CEvidencePduJson::DecodeUploadStatusGetReq)},
      {"files delete", Call(pdu_, &CEvidencePduJson::DecodeEvidenceFilesDeleteReq)},
      {"digests", Call(pdu_, &CEvidencePduJson::DecodeModifyEvidenceFilesDigestPutReq)},
      {"scene get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceSceneGetReq)},
      {"scene put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceScenePutReq)},
      {"scene id put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceSceneIDPutReq)},
      {"outcome get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceOutcomeGetReq)},
      {"outcome put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceOutcomePutReq)},
      {"outcome id put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceOutcomeIDPutReq)},
      {"custom get", Call(pdu_, &CEvidencePduJson::DecodeEvidenceCustomGetReq)},
      {"custom put", Call(pdu_, &CEvidencePduJson::DecodeEvidenceCustomPutReq)},
      {"older settings", Call(pdu_, &CEvidencePduJson::DecodeFTPSettingsPutReq), 2, 2},
      {"newer settings", Call(pdu_, &CEvidencePduJson::DecodeEvidenceSettingsPutReq)},
      {"api evidences", Call(pdu_, &CEvidencePduJson::DecodeAPIEvidencePUTReq)},
      {"api types", Call(pdu_, &CEvidencePduJson::DecodeAPIEvidenceTypePostReq)},
      {"older log",
       [this](const std::string& body) {
         std::vector<Evidence::operation_record> records;
         return pdu_.DecodeWriteEvidenceLogPostReq(records, "s", 1, body);
       }},
      {"log post", [](const std::string& body) { return pdu::COperationLogPostSvrPDU().DecodeReq(body); }, -1},
      {"log get", [](const std::string& body) { return pdu::COperationLogGetSvrPDU().DecodeReq(body); }, -1},
      {"batch links",
       [](const std::string& body) {
         std::list<Evidence::EvidenceFilePtr> files;
         Evidence::IdList ids;
         return Evidence::FileBatchLinkDecode(files, ids, body);
       },
       10002},
  };
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
  ASSERT_TRUE(pdu_.DecodeEvidencePostReq(evidence_, "s",
                                         R"({"Evidence":{"Name":"a\u0000b","ID":1e300,"Label":")" + label + "\"}}"));
  EXPECT_EQ(evidence_->name, "a\0b"s) << "a text does not end at a NUL";
  EXPECT_EQ(evidence_->id, -1);
  EXPECT_EQ(evidence_->label, label);
  ASSERT_TRUE(pdu_.EncodeEvidencePostRsp(response_, {}, evidence_));
  EXPECT_NE(response_.find(R"("Name":"a\u0000b")"), std::string::npos);
}

}  // namespace
