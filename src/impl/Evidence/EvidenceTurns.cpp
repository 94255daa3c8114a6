#include "impl/Evidence/EvidenceTurns.h"

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"

namespace Evidence {

namespace {

bool IsTurnGranted(const platform::Turn& turn, Operation operation) {
  if (turn) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure,
                  "[%s]Other changes of the evidence or of files have not ended in %lld s, or too many requests "
                  "wait.[%s(%d)]",
                  static_cast<long long>(platform::Turn::kPatience.count()));
  return Fail(kStatementFailed);
}

}  // namespace

bool EvidenceTurn::IsGranted(Operation operation) const { return IsTurnGranted(turn_, operation); }

bool EvidenceFilesTurn::IsGranted(Operation operation) const { return IsTurnGranted(turn_, operation); }

bool FileManagerPlace::IsGranted(Operation operation) const {
  if (place_) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Too many requests wait, or are inside the file manager.[%s(%d)]");
  return Fail(kStatementFailed);
}

}  // namespace Evidence
