#include <algorithm>
#include <iterator>
#include <set>

#include "Common/ErrorCodes.h"
#include "Common/Every.h"
#include "Common/EvidenceLog.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/EvidenceTurns.h"
#include "impl/Evidence/Limits.h"

namespace Evidence {
namespace {

/// The number of file ids in the link calls of a deletion: each evidence names its own and, again, all that were named
/// before it.
class FileIdSum {
 public:
  void AddEvidence(std::size_t files) {
    files_ += files;
    named_ += files_;
    total_ += named_;
  }
  [[nodiscard]] std::size_t Total() const { return total_; }
  [[nodiscard]] bool Fits() const { return total_ <= Limits::kUnlinkedIds.most; }

 private:
  std::size_t files_ = 0;
  std::size_t named_ = 0;
  std::size_t total_ = 0;
};

/// Each id once, at its first position: no request can have one row written thousands of times.
IdList WithoutRepeats(const IdList& ids) {
  IdList once;
  std::set<std::int32_t> seen;
  std::ranges::copy_if(ids, std::back_inserter(once), [&seen](std::int32_t id) { return seen.insert(id).second; });
  return once;
}

}  // namespace

bool CEvidenceManager::DelEvidences(const IdList& asked_ids) {
  if (!EntryTest() || !Limits::Allows(Limits::kChangedEvidences, asked_ids.size())) return false;
  const FileManagerPlace place;
  if (!place.IsGranted()) return false;
  const IdList evidence_ids = WithoutRepeats(asked_ids);
  const EvidenceTurn turn(evidence_ids);
  if (!turn.IsGranted()) return false;
  if (!CheckFilesToUnlink(evidence_ids)) return false;
  if (!store_->DeleteEvidences(evidence_ids) || !store_->DeleteEvidenceCustomInfo(evidence_ids)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Delete evidences failed.[%s(%d)]");
    return false;
  }
  std::list<EvidenceFilePtr> files;
  IdVector file_ids;
  std::size_t done = 0;
  Every interval(progress_interval_);
  for (const std::int32_t evidence_id : evidence_ids) {
    if (!UnlinkAllFiles(evidence_id, files, file_ids)) return false;
    DeleteFromMap(evidence_id);
    ++done;
    if (interval.IsDue()) {
      EVIDENCE_LOG(kLogProgress, "[%s]Delete evidences: files unlinked of %zu of %zu evidences.[%s(%d)]", done,
                   evidence_ids.size());
    }
  }
  return true;
}

bool CEvidenceManager::CheckFilesToUnlink(const IdList& evidence_ids, Operation operation) {
  FileIdSum at_most;
  for (std::size_t i = 0; i < evidence_ids.size() && at_most.Fits(); ++i)
    at_most.AddEvidence(Limits::kFilesOfEvidence);
  if (at_most.Fits()) return true;  // so few evidences cannot exceed the limit
  FileIdSum sum;
  for (const std::int32_t evidence_id : evidence_ids) {
    std::int32_t count = 0;
    if (!store_->GetEvidenceFilesCount(count, evidence_id)) {
      EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Delete evidences failed.[%s(%d)]");
      return false;
    }
    sum.AddEvidence(static_cast<std::size_t>(std::max(count, 0)));
    if (!Limits::Allows(Limits::kUnlinkedIds, sum.Total(), operation)) return false;
  }
  return true;
}

bool CEvidenceManager::UnlinkAllFiles(std::int32_t evidence_id, std::list<EvidenceFilePtr>& files, IdVector& file_ids,
                                      Operation operation) {
  if (evidence_id < 0) return true;  // no evidence has such an id, and the files under -1 belong to none
  (void)store_->QueryEvidenceFiles(files, evidence_id, std::string(), std::string());
  for (const auto& file : files)
    file_ids.push_back(file->id);
  if (file_ids.empty()) return true;
  std::list<ErrorPtr> failures;
  if (!APILinkFile(failures, file_ids, evidence_id, kUnlinkFiles)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Delete evidences files failed.[%s(%d)]");
    // Refused files set no last error, and a stale one may be success.
    return failures.empty() ? false : Fail(kSomeFilesFailed);
  }
  (void)store_->DeleteEvidenceFilesByEvidenceId(evidence_id);
  return true;
}

}  // namespace Evidence
