// Every decoder of a request body under any bytes. A refusal always has an error pair, and what was read can be encoded
// as JSON.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "Backend.h"
#include "KelpUtils/RapidJsonProto.h"
#include "support/AuthenticationStub.h"
#include "support/Decoders.h"
#include "usrservice/pdu/PduBatchLink.h"
#include "usrservice/pdu/PduLog.h"

namespace {

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "broken: " << what << '\n';
  std::abort();
}

/// Opens everything that is sealed.
class Opener final : public evidence_test::AuthenticationStub {
 public:
  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string&) override {
    plain = cipher;
    return true;
  }
};

void Decode(Evidence::CEvidencePduJson& pdu, const std::string& body) {
  Orv::Base::Error::SetLastError({0, 0});
  evidence_test::DecodeWithAll(pdu, body, [](bool taken) {
    Expect(taken || Orv::Base::Error::GetLastError().SubCode() != 0, "a refusal has a pair");
    Orv::Base::Error::SetLastError({0, 0});
  });
  std::shared_ptr<pdu::SReqFileBatchLinkEvidences> links;
  (void)pdu::Decode(links, body);
  std::shared_ptr<pdu::SReqOperationLogPost> entries;
  (void)pdu::Decode(entries, body);

  Evidence::EvidencePtr evidence;
  std::list<Evidence::EvidenceCustomPtr> customs;
  std::string answer;
  if (!pdu.DecodeEvidenceIDPutReq(evidence, body) || !pdu.DecodeEvidenceCustomPutReq(customs, body)) return;
  kelp::CRapidJsonProto proto;
  Expect(pdu.EncodeEvidencePostRsp(answer, {}, evidence) && proto.set_str(answer), "an evidence is answered as JSON");
  Expect(pdu.EncodeEvidenceCustomGetRsp(answer, {}, customs, {}) && proto.set_str(answer), "so are attributes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const platform::ScopedBackend<platform::IAuthenticationBackend> opener(std::make_shared<Opener>());
  static Evidence::CEvidencePduJson pdu{std::weak_ptr<Evidence::CEvidenceUserInterface>()};
  platform::SetLogThreshold(7);
  Decode(pdu, std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
