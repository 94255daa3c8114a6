#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "KelpUtils/RapidJsonProto.h"
#include "impl/Evidence/EvidenceRecords.h"

/// The messages that ask the file manager to link files to an evidence or to unlink them. Pure functions.
namespace Evidence::LinkFileMessage {

/// "OperationType" of a request.
enum class Change : int { kUnlink = 0, kLink = 1 };

/// The text of a request; "" when it cannot be built.
[[nodiscard]] std::string EncodeRequest(const IdVector& file_ids, std::int32_t evidence_id, Change change);

struct Reply {
  /// Of the whole call; -1 where the reply has none.
  int main_code = -1;
  int sub_code = -1;
  /// Files that were refused one by one, each with its own codes. A reply that failed as a whole lists none.
  std::list<ErrorPtr> refused_files;
};

[[nodiscard]] Reply ReadReply(const kelp::CRapidJsonProto& proto);

}  // namespace Evidence::LinkFileMessage
