#include "usrservice/UsrServiceEvidencePDU.h"

#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {

std::shared_ptr<CEvidenceUserInterface> CEvidencePduJson::LockUserInterface() const {
  auto user_interface = user_interface_.lock();
  if (!user_interface) Orv::Base::Error::SetLastError({0, kObjectMissing});
  return user_interface;
}

bool CEvidencePduJson::EncodeRspBase(std::string& response, const ResponseStatus& status) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]Insufficient system resources.[%s(%d)]");
    return false;
  }
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::EncodeBaseErrorRsp(std::string& response) {
  const auto error = Orv::Base::Error::GetLastError();
  if (EncodeRspBase(response, {error.MainCode(), error.SubCode(), {}})) return true;
  EVIDENCE_LOG(kLogAnomaly, "[%s]EncodeRspBase failed.[%s(%d)]");
  return false;
}

}  // namespace Evidence
