#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDULink.h"
#include "usrservice/pdu/PduLog.h"

namespace evidence_test {

/// A decoder of a request body, called for the session "s".
struct Decoder {
  const char* name;
  std::function<bool(const std::string&)> decode;
  /// Its code for a body that is no JSON; 0 where the caller sets it.
  int no_json = 2;
  /// Its code for JSON that holds none of its keys; 0 when that is no failure.
  int no_keys = 0;
};

/// Calls `operation` with the body, which is its last text, and with new objects for its other arguments.
template <class... Args>
std::function<bool(const std::string&)> CallOf(Evidence::CEvidencePduJson& pdu,
                                               bool (Evidence::CEvidencePduJson::*operation)(Args...)) {
  return [&pdu, operation](const std::string& body) {
    std::tuple<std::remove_cvref_t<Args>...> arguments;
    const auto name_session = [](auto& argument) {
      if constexpr (std::is_same_v<decltype(argument), std::string&>) argument = "s";
    };
    std::apply([&](auto&... argument) { (name_session(argument), ...); }, arguments);
    std::get<sizeof...(Args) - 1>(arguments) = body;
    return std::apply([&](auto&... argument) { return (pdu.*operation)(argument...); }, arguments);
  };
}

/// Every decoder there is.
inline std::vector<Decoder> Decoders(Evidence::CEvidencePduJson& pdu) {
  using Pdu = Evidence::CEvidencePduJson;
  return {{"type get", CallOf(pdu, &Pdu::DecodeEvidenceTypeGetReq)},
          {"type put", CallOf(pdu, &Pdu::DecodeEvidenceTypePutReq)},
          {"type id put", CallOf(pdu, &Pdu::DecodeEvidenceTypeIDPutReq)},
          {"post", CallOf(pdu, &Pdu::DecodeEvidencePostReq)},
          {"id put", CallOf(pdu, &Pdu::DecodeEvidenceIDPutReq)},
          {"put", CallOf(pdu, &Pdu::DecodeEvidencePutReq), 2, 2},
          {"get", CallOf(pdu, &Pdu::DecodeEvidenceGetReq)},
          {"id get", CallOf(pdu, &Pdu::DecodeEvidenceIDGetReq)},
          {"delete", CallOf(pdu, &Pdu::DecodeEvidenceDeleteReq)},
          {"id delete", CallOf(pdu, &Pdu::DecodeEvidenceIDDeleteReq)},
          {"files", CallOf(pdu, &Pdu::DecodeEvidenceIDFilesPostReq)},
          {"unrelated files", CallOf(pdu, &Pdu::DecodeUnrelatedFilesGetReq), 2, 2},
          {"upload cancel", CallOf(pdu, &Pdu::DecodeUploadCancelReq)},
          {"upload status", CallOf(pdu, &Pdu::DecodeUploadStatusGetReq)},
          {"files delete", CallOf(pdu, &Pdu::DecodeEvidenceFilesDeleteReq)},
          {"digests", CallOf(pdu, &Pdu::DecodeModifyEvidenceFilesDigestPutReq)},
          {"scene get", CallOf(pdu, &Pdu::DecodeEvidenceSceneGetReq)},
          {"scene put", CallOf(pdu, &Pdu::DecodeEvidenceScenePutReq)},
          {"scene id put", CallOf(pdu, &Pdu::DecodeEvidenceSceneIDPutReq)},
          {"outcome get", CallOf(pdu, &Pdu::DecodeEvidenceOutcomeGetReq)},
          {"outcome put", CallOf(pdu, &Pdu::DecodeEvidenceOutcomePutReq)},
          {"outcome id put", CallOf(pdu, &Pdu::DecodeEvidenceOutcomeIDPutReq)},
          {"custom get", CallOf(pdu, &Pdu::DecodeEvidenceCustomGetReq)},
          {"custom put", CallOf(pdu, &Pdu::DecodeEvidenceCustomPutReq)},
          {"older settings", CallOf(pdu, &Pdu::DecodeFTPSettingsPutReq), 2, 2},
          {"newer settings", CallOf(pdu, &Pdu::DecodeEvidenceSettingsPutReq)},
          {"api evidences", CallOf(pdu, &Pdu::DecodeAPIEvidencePUTReq)},
          {"api types", CallOf(pdu, &Pdu::DecodeAPIEvidenceTypePostReq)},
          {"older log", CallOf(pdu, &Pdu::DecodeWriteEvidenceLogPostReq)},
          {"log post", [](const auto& body) { return pdu::COperationLogPostSvrPDU().DecodeReq(body); }, -1},
          {"log get", [](const auto& body) { return pdu::COperationLogGetSvrPDU().DecodeReq(body); }, -1},
          {"batch links",
           [](const auto& body) {
             std::list<Evidence::EvidenceFilePtr> files;
             Evidence::IdList ids;
             return Evidence::FileBatchLinkDecode(files, ids, body);
           },
           10002}};
}

}  // namespace evidence_test
