#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

class CEvidenceUserInterface;

/// Failures of a batch link by evidence id.
struct LinkFailure {
  std::int32_t file_id = -1;
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
};
using LinkFailures = std::map<std::int32_t, std::vector<LinkFailure>>;

/// Appends the request's files, their `delete_flag` 0, and its evidence ids, duplicates included. (0, 10002) for a body
/// that cannot be parsed.
[[nodiscard]] bool FileBatchLinkDecode(std::list<EvidenceFilePtr>& files, IdList& evidence_ids,
                                       const std::string& body);

/// The answer to a batch link that failed in part: (0, 9999) and the refused files of each evidence, whose name is
/// looked up and stays empty when that fails. Without failures `response` is unchanged. Always true.
bool FileBatchLinkEncode(std::string& response, const LinkFailures& failures,
                         const std::weak_ptr<CEvidenceUserInterface>& user_interface);

}  // namespace Evidence
