#pragma once

#include <string>
#include <tuple>
#include <type_traits>

#include "usrservice/UsrServiceEvidencePDU.h"

namespace evidence_test {

/// Calls a decoder with the body, which is its last text, the session "s" and new objects for its other arguments.
template <class... Args>
bool Decode(Evidence::CEvidencePduJson& pdu, bool (Evidence::CEvidencePduJson::*decoder)(Args...),
            const std::string& body) {
  std::tuple<std::remove_cvref_t<Args>...> arguments;
  const auto name_session = [](auto& argument) {
    if constexpr (std::is_same_v<decltype(argument), std::string&>) argument = "s";
  };
  std::apply([&](auto&... argument) { (name_session(argument), ...); }, arguments);
  std::get<sizeof...(Args) - 1>(arguments) = body;
  return std::apply([&](auto&... argument) { return (pdu.*decoder)(argument...); }, arguments);
}

/// Calls `visit` with the result of each decoder.
template <class Visit>
void DecodeWithAll(Evidence::CEvidencePduJson& pdu, const std::string& body, const Visit& visit) {
  using Pdu = Evidence::CEvidencePduJson;
  const auto decode = [&](auto... decoder) { (visit(Decode(pdu, decoder, body)), ...); };
  decode(&Pdu::DecodeEvidencePutReq, &Pdu::DecodeUnrelatedFilesGetReq, &Pdu::DecodeFTPSettingsPutReq,
         &Pdu::DecodeEvidenceTypeGetReq, &Pdu::DecodeEvidenceTypePutReq, &Pdu::DecodeEvidenceTypeIDPutReq,
         &Pdu::DecodeEvidencePostReq, &Pdu::DecodeEvidenceIDPutReq, &Pdu::DecodeEvidenceGetReq,
         &Pdu::DecodeEvidenceIDGetReq, &Pdu::DecodeEvidenceDeleteReq, &Pdu::DecodeEvidenceIDDeleteReq,
         &Pdu::DecodeEvidenceIDFilesPostReq, &Pdu::DecodeUploadCancelReq, &Pdu::DecodeUploadStatusGetReq,
         &Pdu::DecodeEvidenceFilesDeleteReq, &Pdu::DecodeModifyEvidenceFilesDigestPutReq,
         &Pdu::DecodeEvidenceSceneGetReq, &Pdu::DecodeEvidenceScenePutReq, &Pdu::DecodeEvidenceSceneIDPutReq,
         &Pdu::DecodeEvidenceOutcomeGetReq, &Pdu::DecodeEvidenceOutcomePutReq, &Pdu::DecodeEvidenceOutcomeIDPutReq,
         &Pdu::DecodeEvidenceCustomGetReq, &Pdu::DecodeEvidenceCustomPutReq, &Pdu::DecodeEvidenceSettingsPutReq,
         &Pdu::DecodeAPIEvidencePUTReq, &Pdu::DecodeAPIEvidenceTypePostReq, &Pdu::DecodeWriteEvidenceLogPostReq);
}

}  // namespace evidence_test
