#include <algorithm>

#include "Common/CommonFun/TarnCommonFun.h"
#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/TextList.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "impl/Evidence/Limits.h"
#include "platform/Call.h"
#include "usrservice/FileChange.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDUBatchLink.h"

namespace Evidence {
namespace {

using IdSet = std::set<std::int32_t>;

std::size_t NameBytes(const std::list<EvidenceFilePtr>& files) {
  std::size_t bytes = 0;
  for (const auto& file : files)
    bytes += file->file_name.size();
  return bytes;
}

/// The failures of one evidence: of the files that were refused, or, when there is none, of all with the last error.
void AddFailures(std::vector<LinkFailure>& failures, const std::list<ErrorPtr>& refused,
                 const std::list<EvidenceFilePtr>& files) {
  for (const auto& error : refused)
    failures.push_back({error->id, error->main_code, error->sub_code});
  if (!refused.empty()) return;
  const auto error = Orv::Base::Error::GetLastError();
  for (const auto& file : files)
    failures.push_back({file->id, error.MainCode(), error.SubCode()});
}

/// Whether there is memory for an answer in which each of `pairs` has failed; else the request is refused as busy. A
/// small body may name very many pairs.
bool HasRoomForFailures(std::size_t pairs) {
  // As measured: four nodes of the tree that becomes the answer, its text, and the record.
  constexpr std::size_t kBytesOfFailure = 600;
  auto* const call = platform::Call::Current();
  return call == nullptr || call->TakeMemoryToWrite(pairs * kBytesOfFailure);
}

}  // namespace

/// Files and evidences of one request.
struct CUsrServiceEvidence::BatchLink {
  std::list<EvidenceFilePtr> files;
  IdSet evidence_ids;

  /// False with (0, 10002) for a body that cannot be parsed, lacks required entries, or exceeds a limit.
  [[nodiscard]] bool Read(const std::string& body, bool needs_evidences, Operation operation = Operation::current()) {
    IdList ids;
    if (!FileBatchLinkDecode(files, ids, body)) return false;
    evidence_ids.insert(ids.begin(), ids.end());
    if (!files.empty() && (!evidence_ids.empty() || !needs_evidences) && AreWithinLimits(operation)) return true;
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]FileBatchLinkEvidences failed, request:[%s].\n[%s(%d)]", body.c_str());
    return Fail(kBadBatchLink);
  }

  [[nodiscard]] std::size_t Pairs() const { return files.size() * evidence_ids.size(); }

  [[nodiscard]] bool AreWithinLimits(Operation operation = Operation::current()) const {
    using namespace Limits;
    return Allows(kLinkedFiles, files.size(), operation) && Allows(kChangedEvidences, evidence_ids.size(), operation) &&
           Allows(kLinkPairs, Pairs(), operation) &&
           Allows(kLinkedNameBytes, NameBytes(files) * evidence_ids.size(), operation);
  }
};

bool CUsrServiceEvidence::FileBatchLinkEvidencesPOST(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const std::string& session = request.session_id;
  if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionChangeEvidence)) return false;
  BatchLink batch;
  LinkFailures failures;
  if (!batch.Read(request.request_body, true)) return AnswerBatchLink(response, false, failures);
  if (!HasRoomForFailures(batch.Pairs())) return false;
  const bool done = (FilesBatchLinkEvidence(failures, batch.files, batch.evidence_ids, session) || !failures.empty());
  return AnswerBatchLink(response, done, failures);
}

bool CUsrServiceEvidence::FileBatchLinkEvidencesPUT(kelp::SHttpResponse& response, const kelp::SHttpRequest& request) {
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const std::string& session = request.session_id;
  if (!CTarnCommonFun::CheckOperatePermission(session, kPermissionChangeEvidence)) return false;
  BatchLink batch;
  LinkFailures failures;
  if (!batch.Read(request.request_body, false)) return AnswerBatchLink(response, false, failures);
  if (!HasRoomForFailures(batch.Pairs())) return false;
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const bool done = batch.evidence_ids.empty() ? RemoveAllLinks(failures, batch, session, *user_interface)
                                               : MakeLinksEqual(failures, batch, session, *user_interface);
  return AnswerBatchLink(response, done, failures);
}

bool CUsrServiceEvidence::MakeLinksEqual(LinkFailures& failures, const BatchLink& batch, const std::string& session,
                                         const CEvidenceUserInterface& user_interface, Operation operation) {
  bool done = true;
  for (const auto& file : batch.files) {
    std::list<EvidenceFilePtr> links;
    if (!user_interface.GetEvidenceFileByFileID(links, IdVector{file->id})) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]GetEvidenceFileByFileID failed.[%s(%d)]");
      return false;
    }
    IdSet to_add = batch.evidence_ids;
    IdSet to_drop;
    for (const auto& link : links) {
      if (link->evidence_id == -1) continue;  // a file without an evidence is not a link
      to_add.erase(link->evidence_id);
      if (!batch.evidence_ids.contains(link->evidence_id)) to_drop.insert(link->evidence_id);
    }
    EVIDENCE_LOG_OF(operation, kLogProgress,
                    "[%s]file [%d-%s] need delete evidence id is: %s, need add evidence id is: %s.[%s(%d)]", file->id,
                    file->file_name.c_str(), CommaList(to_drop).c_str(), CommaList(to_add).c_str());
    if (!to_drop.empty()) {
      file->delete_flag = kUnlinkFlag;
      done = FilesBatchUnLinkEvidence(failures, {file}, to_drop, session);
    }
    if (!to_add.empty()) {
      file->delete_flag = kLinkFlag;
      done = FilesBatchLinkEvidence(failures, {file}, to_add, session);
    }
  }
  return done;
}

bool CUsrServiceEvidence::RemoveAllLinks(LinkFailures& failures, const BatchLink& batch, const std::string& session,
                                         const CEvidenceUserInterface& user_interface, Operation operation) {
  IdVector file_ids;
  for (const auto& file : batch.files)
    file_ids.push_back(file->id);
  std::list<EvidenceFilePtr> links;
  if (!user_interface.GetEvidenceFileByFileID(links, file_ids)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]GetEvidenceFileByFileID failed.[%s(%d)]");
    return false;
  }
  if (!HasRoomForFailures(links.size())) return false;
  for (const auto& link : links) {
    if (link->evidence_id == -1) continue;
    link->delete_flag = kUnlinkFlag;
    (void)FilesBatchUnLinkEvidence(failures, {link}, {link->evidence_id}, session);
  }
  return true;
}

bool CUsrServiceEvidence::AnswerBatchLink(kelp::SHttpResponse& response, bool done, const LinkFailures& failures) {
  if (done && !failures.empty()) return FileBatchLinkEncode(response.response_body, failures, user_interface_);
  if (done) Orv::Base::Error::SetLastError({});
  EncodeBaseErrorRsp(response);
  return done;
}

bool CUsrServiceEvidence::FilesBatchLinkEvidence(LinkFailures& failures, const std::list<EvidenceFilePtr>& files,
                                                 const IdSet& evidence_ids, const std::string& session) {
  return ChangeFiles(kFilesLinked, failures, files, evidence_ids, session,
                     [&](const CEvidenceUserInterface& user_interface, std::list<ErrorPtr>& refused, std::int32_t) {
                       return user_interface.InsertEvidenceFiles(refused, files);
                     });
}

bool CUsrServiceEvidence::FilesBatchUnLinkEvidence(LinkFailures& failures, const std::list<EvidenceFilePtr>& files,
                                                   const IdSet& evidence_ids, const std::string& session) {
  return ChangeFiles(kFilesUnlinked, failures, files, evidence_ids, session,
                     [&](const CEvidenceUserInterface& user_interface, std::list<ErrorPtr>& refused, std::int32_t id) {
                       return user_interface.UpdateEvidenceFiles(refused, files, id);
                     });
}

template <class Change>
bool CUsrServiceEvidence::ChangeFiles(const FileChange& change, LinkFailures& failures,
                                      const std::list<EvidenceFilePtr>& files, const IdSet& evidence_ids,
                                      const std::string& session, const Change& change_files, Operation operation) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  for (const std::int32_t evidence_id : evidence_ids) {
    for (const auto& file : files)
      file->evidence_id = evidence_id;
    std::list<ErrorPtr> refused;
    if (change_files(*user_interface, refused, evidence_id)) {
      EvidencePtr evidence;
      (void)user_interface->GetEvidenceByID(evidence, evidence_id);
      if (evidence) WriteLog(session, kLogEvidenceChanged, evidence_id, evidence->name, {}, std::string());
      if (!LogFileChange(change, evidence_id, evidence, files, session, operation)) return false;
    } else {
      // The files of a request may be changed one by one: each keeps its failure.
      AddFailures(failures[evidence_id], refused, files);
    }
  }
  return true;
}

}  // namespace Evidence
