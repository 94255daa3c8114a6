#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"
#include "usrservice/pdu/PduApi.h"

namespace Evidence {
namespace {

/// The decoded request of a `Pdu`; null on failure.
template <class Pdu>
[[nodiscard]] auto DecodeApi(const std::string& body, Operation operation = Operation::current()) {
  std::remove_cvref_t<decltype(std::declval<Pdu>().Request())> request;
  const auto pdu = NewRecord<Pdu>();
  if (!pdu) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Not enough storage[%s(%d)]");
    Orv::Base::Error::SetLastError({0, kObjectMissing});
    return request;
  }
  const bool decoded = pdu->DecodeReq(body);
  if (decoded) request = pdu->Request();
  if (!decoded) Orv::Base::Error::SetLastError({0, kBadInput});
  if (!request)
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Data Parse failed, data invalid, data[%s].[%s(%d)]", body.c_str());
  return request;
}

/// Fills a new answer of `Pdu` with `fill` and encodes it.
template <class Pdu, class Response, class Fill>
[[nodiscard]] bool EncodeApi(std::string& text, const ResponseStatus& status, const Fill& fill,
                             Operation operation = Operation::current()) {
  const auto pdu = NewRecord<Pdu>();
  const auto response = NewRecord<Response>();
  if (!pdu || !response) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Not enough storage[%s(%d)]");
    return Fail(kObjectMissing);
  }
  response->main_code = status.main_code;
  response->sub_code = status.sub_code;
  fill(*response);
  if (!pdu->EncodeRsp(response)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]EncodeRsp failed.[%s(%d)]");
    return Fail(kObjectMissing);
  }
  text = pdu->Text();
  return true;
}

EvidencePtr EvidenceOf(const pdu::SAPIEvidence& item) {
  auto evidence = std::make_shared<_tag_Evidence_>();
  evidence->guid = item.Guid;
  evidence->name = item.Name;
  evidence->evidence_desc = item.Desc;
  evidence->evidence_status = item.Status;
  evidence->label = item.Label;
  evidence->evidence_begin_time = item.EvidenceBeginTime;
  evidence->evidence_end_time = item.EvidenceEndTime;
  evidence->evidence_type.type_id = item.EvidenceTypeID;
  evidence->scene.scene_id = item.SceneID;
  evidence->outcome.outcome_id = item.OutcomeID;
  return evidence;
}

EvidenceFilePtr FileOf(const pdu::SAPIEvidenceFile& item) {
  auto file = std::make_shared<_tag_EvidenceFile_>();
  file->begin_time = item.BeginTime;
  file->end_time = item.EndTime;
  file->file_name = item.Name;
  file->file_path = item.Path;
  file->file_type = item.Type;
  file->guid = item.Guid;
  file->digest = item.Digest;
  return file;
}

}  // namespace

bool CEvidencePduJson::DecodeAPIEvidencePUTReq(EvidenceFilesMap& evidences, std::string& /*reserved*/,
                                               const std::string& body) {
  const auto request = DecodeApi<pdu::CAPIEvidencePutSvrPDU>(body);
  if (!request) return false;
  for (const auto& item : request->Evidence) {
    auto& [evidence, files] = evidences.emplace_back(EvidenceOf(item), std::list<EvidenceFilePtr>());
    for (const auto& file : item.File)
      files.push_back(FileOf(file));
  }
  return true;
}

bool CEvidencePduJson::EncodeAPIEvidencePutRsp(std::string& response, const ResponseStatus& status,
                                               const EvidenceFilesMap& evidences) {
  return EncodeApi<pdu::CAPIEvidencePutSvrPDU, pdu::SRspAPIEvidencePut>(
      response, status, [&evidences](pdu::SRspAPIEvidencePut& answer) {
        for (const auto& [evidence, files] : evidences) {
          if (!evidence) {
            EVIDENCE_LOG(kLogFailure, "[%s]Evidence obj is empty.[%s(%d)]");
            continue;
          }
          auto& result = answer.Evidence.emplace_back();
          result.ID = evidence->id;
          result.Name = evidence->name;
          for (const auto& file : files)
            if (file) result.File.push_back({file->id, file->file_name});
        }
      });
}

bool CEvidencePduJson::DecodeAPIEvidenceTypePostReq(page_info& page,
                                                    std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter,
                                                    std::string& /*reserved*/, const std::string& body) {
  const auto request = DecodeApi<pdu::CAPIEvidenceTypePostSvrPDU>(body);
  if (!request) return false;
  page.PageIndex = request->PageIndex;
  page.PageSize = request->PageSize;
  if (!request->EvidenceTypeIDs.empty()) {
    filter = std::make_shared<_tag_EvidenceAttributeFilterInfo_>();
    filter->ids = request->EvidenceTypeIDs;
  }
  return true;
}

bool CEvidencePduJson::EncodeAPIEvidenceTypePostRsp(std::string& response, const page_info& page,
                                                    const ResponseStatus& status,
                                                    const std::list<EvidenceTypePtr>& types) {
  return EncodeApi<pdu::CAPIEvidenceTypePostSvrPDU, pdu::SRspAPIEvidenceTypePost>(
      response, status, [&page, &types](pdu::SRspAPIEvidenceTypePost& answer) {
        answer.TotalNum = page.total;
        answer.PageIndex = page.PageIndex;
        answer.PageSize = page.PageSize;
        for (const auto& type : types) {
          if (!type) {
            EVIDENCE_LOG(kLogFailure, "[%s]Evidence type obj is empty.[%s(%d)]");
            continue;
          }
          answer.EvidenceType.push_back({type->type_id, type->type_name});
        }
      });
}

}  // namespace Evidence
