#include "impl/Evidence/Limits.h"

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"

namespace Evidence::Limits {

bool Allows(const Limit& limit, std::size_t number, Operation operation) {
  if (number <= limit.most) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Input param error, %s: %zu, at most %zu.[%s(%d)]", limit.of, number,
                  limit.most);
  return Fail(kBadInput);
}

}  // namespace Evidence::Limits
