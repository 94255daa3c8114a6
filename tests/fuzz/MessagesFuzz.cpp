// Every decoder of a request body under any bytes. A refusal always tells why, and what was read can be encoded as
// JSON.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Backend.h"
#include "KelpUtils/RapidJsonProto.h"
#include "support/AuthenticationStub.h"
#include "support/Decoders.h"

namespace {

using namespace Evidence;
using TarnPlatform::Authentication::CUserSession;

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
  std::shared_ptr<CUserSession> FindSession(const std::string&) override { return session_; }
  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string&) override {
    plain = cipher;
    return true;
  }

 private:
  const std::shared_ptr<CUserSession> session_ = std::make_shared<CUserSession>(7, "alice", "10.0.0.7", 1);
};

class Messages {
 public:
  Messages() { platform::SetLogThreshold(7); }

  void Decode(const std::string& body) {
    for (const auto& decoder : decoders_) {
      Orv::Base::Error::SetLastError({0, 0});
      // Those without a code of their own have a caller who sets it.
      Expect(decoder.decode(body) || decoder.no_json == -1 || Orv::Base::Error::GetLastError().SubCode() != 0,
             "a refusal has a pair");
    }
    std::string text;
    EvidencePtr evidence;
    if (pdu_.DecodeEvidencePostReq(evidence, "s", body) && pdu_.EncodeEvidencePostRsp(text, {}, evidence))
      ExpectJson(text);
    std::list<EvidenceTypePtr> types;
    if (pdu_.DecodeEvidenceTypePutReq(types, body) && pdu_.EncodeEvidenceTypeGetRsp(text, {}, {}, types, {}))
      ExpectJson(text);
    std::list<EvidenceCustomPtr> customs;
    if (pdu_.DecodeEvidenceCustomPutReq(customs, body) && pdu_.EncodeEvidenceCustomGetRsp(text, {}, customs, {}))
      ExpectJson(text);
    std::list<EvidenceFilePtr> files;
    if (pdu_.DecodeEvidenceIDFilesPostReq(files, body) && pdu_.EncodeEvidenceIDFilesGetRsp(text, {}, files))
      ExpectJson(text);
  }

 private:
  CEvidencePduJson pdu_{std::weak_ptr<CEvidenceUserInterface>()};
  const std::vector<evidence_test::Decoder> decoders_ = evidence_test::Decoders(pdu_);
  platform::ScopedBackend<platform::IAuthenticationBackend> authentication_{std::make_shared<OneSession>()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Messages messages;
  messages.Decode(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
