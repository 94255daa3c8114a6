#pragma once

#include <chrono>

#include "Common/Operation.h"
#include "impl/Evidence/EvidenceRecords.h"
#include "platform/Crowd.h"
#include "platform/Turns.h"

namespace Evidence {

/// Changes of one evidence take turns by its id: each reads rows, checks them and writes several, and none may see or
/// undo the half of another. A caller around the manager may hold a turn over several calls. Reads take none. Taken
/// before any lock of the manager's.
class EvidenceTurn {
 public:
  explicit EvidenceTurn(const IdList& evidence_ids, std::chrono::milliseconds patience = platform::Turn::kPatience)
      : turn_(platform::TurnKind::kEvidence, {evidence_ids.begin(), evidence_ids.end()}, patience) {}

  /// False with (0, 15) and a line of `operation` when other changes of these evidences took too long.
  [[nodiscard]] bool IsGranted(Operation operation = Operation::current()) const;

 private:
  const platform::Turn turn_;
};

/// The operations that write files, their call to the file manager included, take turns: two batches must not both pass
/// the limit of files. Taken after the evidence's turn.
class EvidenceFilesTurn {
 public:
  /// False with (0, 15) and a line of `operation` when other such operations took too long.
  [[nodiscard]] bool IsGranted(Operation operation = Operation::current()) const;

 private:
  const platform::Turn turn_{platform::TurnKind::kEvidenceFiles, {0}};
};

/// A place for an operation that calls the file manager, which may be long in answering. A request takes it before it
/// writes anything, and what it calls shares it.
class FileManagerPlace {
 public:
  /// False with (0, 15) and a line of `operation` when as many as may are inside the file manager or wait.
  [[nodiscard]] bool IsGranted(Operation operation = Operation::current()) const;

 private:
  const platform::CrowdPlace place_;
};

}  // namespace Evidence
