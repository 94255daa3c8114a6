#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"

namespace Evidence {

/// The flow of a request: decode the text, run `work`, encode the record. `Pdu` is a message object with `bool
/// DecodeReq(text)`, `Request()` (a shared pointer, null when nothing was decoded), `bool EncodeRsp(record)` and
/// `Text()`. With an empty text `work` runs without a request. A failure is stored in the codes of the record; the
/// response text is always written.
template <class Pdu, class Response>
void ProcRequestSTDFlow(std::string& response_text, const std::string& request_text, Pdu& pdu,
                        const std::shared_ptr<Response>& response, const std::function<bool()>& work) {
  const bool decoded = request_text.empty() || (pdu.DecodeReq(request_text) && pdu.Request());
  if (!decoded) {
    EVIDENCE_LOG(kLogFailure, "[%s]Request param error. req-data:\n%s\n[%s(%d)]", request_text.c_str());
    response->sub_code = kBadInput;
  } else if (!work()) {
    const auto error = Orv::Base::Error::GetLastError();
    response->main_code = error.MainCode();
    response->sub_code = error.SubCode();
  }
  if (!pdu.EncodeRsp(response)) {
    EVIDENCE_LOG(kLogFatal, "[%s]Encode response failed!!!\n[%s(%d)]");
  }
  response_text = pdu.Text();
}

}  // namespace Evidence
