// Every decoder of a request body under any bytes. A refusal always tells why, and what was read can be encoded as
// JSON.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Backend.h"
#include "KelpUtils/RapidJsonProto.h"
#include "OrvBase/Error.h"
#include "support/AuthenticationStub.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/pdu/PduLink.h"
#include "usrservice/pdu/PduLog.h"

namespace {

using namespace Evidence;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Orv::Base::Error::SetLastError;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "broken: " << what << '\n';
  std::abort();
}

void ExpectJson(const std::string& text) {
  kelp::CRapidJsonProto proto;
  Expect(proto.set_str(text), "an answer is JSON");
}

/// Knows one session, whose texts are enciphered with nothing.
class OneSession final : public evidence_test::AuthenticationStub {
 public:
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string&) override {
    return session_;
  }
  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string&) override {
    plain = cipher;
    return true;
  }

 private:
  const std::shared_ptr<TarnPlatform::Authentication::CUserSession> session_ =
      std::make_shared<TarnPlatform::Authentication::CUserSession>(7, "alice", "10.0.0.7", 1);
};

class Messages {
 public:
  Messages() { platform::SetLogThreshold(7); }

  void Decode(const std::string& body) {
    Evidences(body);
    Dictionaries(body);
    Files(body);
    History(body);
  }

 private:
  /// Runs one decoder; whether it took the body.
  template <class Decoder>
  static bool Took(Decoder decode) {
    SetLastError({0, 0});
    const bool took = decode();
    Expect(took || GetLastError() != ErrorCode(), "a refusal has a pair");
    return took;
  }

  void Evidences(const std::string& body) {
    const ResponseStatus status;
    std::string text;
    EvidencePtr evidence;
    if (Took([&] { return pdu_.DecodeEvidencePostReq(evidence, "session", body); }) &&
        pdu_.EncodeEvidencePostRsp(text, status, evidence)) {
      ExpectJson(text);
    }
    Took([&] { return pdu_.DecodeEvidenceIDPutReq(evidence, body); });
    std::list<EvidencePtr> evidences;
    Took([&] { return pdu_.DecodeEvidencePutReq(evidences, body); });
    page_info page;
    EvidenceFilterPtr filter;
    std::string field;
    IdList ids;
    Took([&] { return pdu_.DecodeEvidenceGetReq(page, filter, field, ids, body); });
    Took([&] { return pdu_.DecodeEvidenceIDGetReq(field, body); });
    std::list<UserPtr> users;
    Took([&] { return pdu_.DecodeEvidenceDeleteReq(ids, users, body); });
    Took([&] { return pdu_.DecodeEvidenceIDDeleteReq(users, body); });
  }

  void Dictionaries(const std::string& body) {
    page_info page;
    std::int32_t version = 0;
    std::string text;
    Took([&] { return pdu_.DecodeEvidenceTypeGetReq(page, nullptr, version, body); });
    std::list<EvidenceTypePtr> types;
    if (Took([&] { return pdu_.DecodeEvidenceTypePutReq(types, body); }) &&
        pdu_.EncodeEvidenceTypeGetRsp(text, {}, page, types, {})) {
      ExpectJson(text);
    }
    EvidenceTypePtr type;
    Took([&] { return pdu_.DecodeEvidenceTypeIDPutReq(type, body); });
    Took([&] { return pdu_.DecodeEvidenceSceneGetReq(page, nullptr, version, body); });
    std::list<EvidenceScenePtr> scenes;
    Took([&] { return pdu_.DecodeEvidenceScenePutReq(scenes, body); });
    EvidenceScenePtr scene;
    Took([&] { return pdu_.DecodeEvidenceSceneIDPutReq(scene, body); });
    Took([&] { return pdu_.DecodeEvidenceOutcomeGetReq(page, nullptr, version, body); });
    std::list<EvidenceOutcomePtr> outcomes;
    Took([&] { return pdu_.DecodeEvidenceOutcomePutReq(outcomes, body); });
    EvidenceOutcomePtr outcome;
    Took([&] { return pdu_.DecodeEvidenceOutcomeIDPutReq(outcome, body); });
    Took([&] { return pdu_.DecodeEvidenceCustomGetReq(version, body); });
    std::list<EvidenceCustomPtr> customs;
    if (Took([&] { return pdu_.DecodeEvidenceCustomPutReq(customs, body); }) &&
        pdu_.EncodeEvidenceCustomGetRsp(text, {}, customs, {})) {
      ExpectJson(text);
    }
    FTPSettingsPtr settings;
    Took([&] { return pdu_.DecodeFTPSettingsPutReq(settings, "session", body); });
    Took([&] { return pdu_.DecodeEvidenceSettingsPutReq(settings, "session", body); });
    std::shared_ptr<_tag_EvidenceAttributeFilterInfo_> attribute_filter;
    std::string reserved;
    Took([&] { return pdu_.DecodeAPIEvidenceTypePostReq(page, attribute_filter, reserved, body); });
    EvidenceFilesMap map;
    Took([&] { return pdu_.DecodeAPIEvidencePUTReq(map, reserved, body); });
  }

  void Files(const std::string& body) {
    std::list<EvidenceFilePtr> files;
    std::string text;
    if (Took([&] { return pdu_.DecodeEvidenceIDFilesPostReq(files, body); }) &&
        pdu_.EncodeEvidenceIDFilesGetRsp(text, {}, files)) {
      ExpectJson(text);
    }
    EvidenceFilterPtr filter;
    Took([&] { return pdu_.DecodeUnrelatedFilesGetReq(filter, body); });
    IdList ids;
    Took([&] { return pdu_.DecodeEvidenceFilesDeleteReq(ids, body); });
    std::map<std::int32_t, std::string> digests;
    Took([&] { return pdu_.DecodeModifyEvidenceFilesDigestPutReq(digests, body); });
    std::shared_ptr<pdu::SReqFileBatchLinkEvidences> links;
    static_cast<void>(pdu::Decode(links, body));
  }

  void History(const std::string& body) {
    std::vector<operation_record> records;
    Took([&] { return pdu_.DecodeWriteEvidenceLogPostReq(records, "session", 5, body); });
    std::shared_ptr<pdu::SReqOperationLogPost> post;
    static_cast<void>(pdu::Decode(post, body));
    std::shared_ptr<pdu::SReqOperationLogGet> get;
    static_cast<void>(pdu::Decode(get, body));
  }

  CEvidencePduJson pdu_{std::weak_ptr<CEvidenceUserInterface>()};
  platform::ScopedBackend<platform::IAuthenticationBackend> authentication_{std::make_shared<OneSession>()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Messages messages;
  messages.Decode(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
