#include <algorithm>
#include <utility>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/Batch.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "impl/Evidence/Limits.h"
#include "impl/Evidence/StorableTexts.h"

namespace Evidence {
namespace {

IdVector FileIdsOf(const std::list<EvidenceFilePtr>& files) {
  IdVector ids;
  for (const auto& file : files)
    if (file) ids.push_back(file->id);
  return ids;
}

IdList EvidenceIdsOf(const std::list<EvidenceFilePtr>& files) {
  IdList ids;
  for (const auto& file : files)
    if (file) ids.push_back(file->evidence_id);
  return ids;
}

/// Their names go into the history.
bool AreStorable(const std::list<EvidenceFilePtr>& files) {
  return std::ranges::all_of(files, [](const auto& file) { return !file || HasStorableTexts(*file); });
}

}  // namespace

bool CEvidenceManager::InsertEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files) {
  if (!EntryTest()) return false;
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const EvidenceTurn turn(EvidenceIdsOf(files));
  if (!turn.IsGranted()) return false;
  const EvidenceFilesTurn files_turn;
  if (!files_turn.IsGranted()) return false;
  FileBatch batch;
  bool ok = CheckFileBatch(files);
  if (ok) {
    for (const auto& file : files) {
      batch.evidence_id = file->evidence_id;
      ok = ClassifyFile(batch, file);
      if (!ok) failures.push_back(Batch::RefusedEntry(file->id, std::string()));
    }
  }
  AssignFileKeys(failures, batch.to_insert);
  if (!batch.to_insert.empty()) {
    if (!LinkBatch(failures, FileIdsOf(batch.to_insert), batch.evidence_id, kLinkFiles)) {
      EVIDENCE_LOG(kLogFailure, "[%s]Insert evidences files failed.[%s(%d)]");
      return false;
    }
    ok = store_->InsertEvidenceFiles(batch.to_insert);
    if (!ok) EVIDENCE_LOG(kLogFailure, "[%s]Insert evidences files failed.[%s(%d)]");
  }
  if (!batch.to_delete.empty()) {
    const IdVector ids(batch.to_delete.begin(), batch.to_delete.end());
    if (!LinkBatch(failures, ids, batch.evidence_id, kUnlinkFiles)) {
      EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences files failed.[%s(%d)]");
      return false;
    }
    ok = store_->DeleteEvidenceFiles(batch.to_delete);
    if (!ok) EVIDENCE_LOG(kLogFailure, "[%s]Update evidences files failed.[%s(%d)]");
  }
  if (!failures.empty()) return Fail(kSomeFilesFailed);
  return ok;
}

bool CEvidenceManager::CheckFileBatch(const std::list<EvidenceFilePtr>& files, Operation operation) {
  if (files.empty()) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  // The evidence of the first file is checked for all, and a file to be unlinked counts as well.
  const std::int32_t evidence_id = files.front()->evidence_id;
  EvidencePtr evidence;
  if (!GetEvidenceByID(evidence, evidence_id)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence_id);
    return false;
  }
  std::int32_t count = 0;
  if (!GetEvidenceFilesCount(count, evidence_id)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Get Evidence file count failed, evidence-id[%d].[%s(%d)]",
                    evidence_id);
    return false;
  }
  if (std::cmp_greater(count + std::ssize(files), Limits::kFilesOfEvidence)) {
    EVIDENCE_LOG_OF(operation, kLogFailure,
                    "[%s]The number of evidence associated files exceeds the limit, evidence-id[%d].[%s(%d)]",
                    evidence_id);
    return Fail(kTooManyFiles);
  }
  return true;
}

bool CEvidenceManager::ClassifyFile(FileBatch& batch, const EvidenceFilePtr& file, Operation operation) {
  if (file->evidence_id == -1) return false;
  // The file manager must not receive a file that the table will refuse.
  if (!HasStorableTexts(*file)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  std::list<EvidenceFilePtr> existing;
  if (!QueryEvidenceFiles(existing, file->evidence_id, file->file_name, file->guid)) return false;
  for (const auto& entry : existing) {
    if (entry->id != file->id) continue;
    if (file->delete_flag == kUnlinkFlag) {
      batch.to_delete.push_back(file->id);
      break;
    }
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]evidences files repeated.[%s(%d)]");
    Orv::Base::Error::SetLastError({0, kBadInput});  // a notice: the file is not refused
  }
  if (existing.empty() || file->delete_flag != kUnlinkFlag) batch.to_insert.push_back(file);
  return true;
}

void CEvidenceManager::AssignFileKeys(std::list<ErrorPtr>& failures, std::list<EvidenceFilePtr>& files) {
  files.remove_if([&](const EvidenceFilePtr& file) {
    if (file->id == -1) file->id = store_->QueryEvidenceFileSeqID();
    if (file->id != -1) return false;
    failures.push_back(Batch::RefusedEntry(file->id, file->file_name));
    return true;
  });
}

bool CEvidenceManager::LinkBatch(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                                 std::int32_t operation) {
  std::list<ErrorPtr> refused;
  const bool linked = APILinkFile(refused, file_ids, evidence_id, operation);
  failures.splice(failures.end(), refused);
  return linked;
}

bool CEvidenceManager::UpdateEvidenceFiles(std::list<ErrorPtr>& failures, const std::list<EvidenceFilePtr>& files,
                                           std::int32_t evidence_id) {
  if (!EntryTest()) return false;
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const EvidenceTurn turn({evidence_id});
  if (!turn.IsGranted()) return false;
  const EvidenceFilesTurn files_turn;
  if (!files_turn.IsGranted()) return false;
  if (files.empty() || !AreStorable(files)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Input param error.[%s(%d)]");
    return Fail(kBadInput);
  }
  const IdVector ids = FileIdsOf(files);
  if (!APILinkFile(failures, ids, evidence_id, kUnlinkFiles)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences files failed.[%s(%d)]");
    return false;
  }
  if (store_->UpdateEvidenceFiles(ids, evidence_id)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Update evidences files failed.[%s(%d)]");
  return Fail(kStatementFailed);
}

bool CEvidenceManager::QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id,
                                          const std::string& file_name, const std::string& guid) {
  if (!EntryTest()) return false;
  EvidencePtr evidence;
  if (!GetEvidenceByID(evidence, evidence_id)) {
    EVIDENCE_LOG(kLogFailure, "[%s]The evidence not exists, evidence-id[%d].[%s(%d)]", evidence_id);
    return false;
  }
  if (store_->QueryEvidenceFiles(files, evidence_id, file_name, guid)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Query evidence files failed.[%s(%d)]");
  return false;
}

bool CEvidenceManager::QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files,
                                          const IdVector& evidence_ids) {
  if (!EntryTest()) return false;
  if (evidence_ids.empty() || store_->QueryEvidenceFiles(files, evidence_ids)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Query evidence files failed.[%s(%d)]");
  return false;
}

bool CEvidenceManager::GetEvidenceFilesCount(std::int32_t& count, std::int32_t evidence_id) {
  if (!EntryTest()) return false;
  if (store_->GetEvidenceFilesCount(count, evidence_id)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Get evidence files count failed.[%s(%d)]");
  return false;
}

bool CEvidenceManager::GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& file_ids) {
  if (!EntryTest()) return false;
  if (store_->GetEvidenceFileByFileID(files, file_ids)) return true;
  EVIDENCE_LOG(kLogFailure, "[%s]Failed to get evidence file from the fileID.[%s(%d)]");
  return false;
}

}  // namespace Evidence
