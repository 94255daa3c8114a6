#include "usrservice/UsrServiceEvidencePDUBatchLink.h"

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceUserInterface.h"
#include "usrservice/pdu/PduBatchLink.h"

namespace Evidence {
namespace {

std::string NameOf(std::int32_t evidence_id, const std::weak_ptr<CEvidenceUserInterface>& weak_user_interface) {
  const auto user_interface = weak_user_interface.lock();
  EvidencePtr evidence;
  const bool found = user_interface && user_interface->GetEvidenceByID(evidence, evidence_id) && evidence;
  return found ? evidence->name : std::string();
}

}  // namespace

bool FileBatchLinkDecode(std::list<EvidenceFilePtr>& files, IdList& evidence_ids, const std::string& body) {
  std::shared_ptr<pdu::SReqFileBatchLinkEvidences> request;
  if (!pdu::Decode(request, body) || !request) {
    EVIDENCE_LOG(kLogFailure, "[%s]FileBatchLinkEvidences failed, request:[%s].\n[%s(%d)]", body.c_str());
    return Fail(kBadBatchLink);
  }
  for (auto& entry : request->FileList) {
    auto file = std::make_shared<_tag_EvidenceFile_>();
    file->id = entry.FileID;
    file->file_name = std::move(entry.FileName);
    files.push_back(std::move(file));
  }
  for (const auto& entry : request->EvidenceList)
    evidence_ids.push_back(entry.EvidenceID);
  return true;
}

bool FileBatchLinkEncode(std::string& response, const LinkFailures& failures,
                         const std::weak_ptr<CEvidenceUserInterface>& user_interface) {
  if (failures.empty()) return true;
  const auto answer = std::make_shared<pdu::SRspFileBatchLinkEvidences>();
  answer->main_code = 0;
  answer->sub_code = kSomeFilesFailed;
  for (const auto& [evidence_id, errors] : failures) {
    pdu::SLinkEvidenceError evidence;
    evidence.EvidenceID = evidence_id;
    evidence.EvidenceName = NameOf(evidence_id, user_interface);
    for (const auto& error : errors)
      evidence.ErrorList.push_back({error.file_id, error.sub_code, error.main_code});
    answer->EvidenceErrorList.push_back(std::move(evidence));
  }
  // A text that cannot be built leaves the answer unchanged; the links themselves remain.
  (void)pdu::Encode(response, answer);
  return true;
}

}  // namespace Evidence
