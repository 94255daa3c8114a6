#pragma once

#include <list>
#include <set>
#include <string>
#include <vector>

#include "impl/Evidence/Batch.h"

/// What a request changes in the custom attributes. Pure functions.
namespace Evidence {

/// Entries without an id are added, others changed; cached ones that are not among the changed are deleted.
[[nodiscard]] Batch::FullSetChanges<tag_EvidenceCustom_> SplitCustomChanges(const std::list<EvidenceCustomPtr>& wanted,
                                                                            const std::list<EvidenceCustomPtr>& cached);

/// Whether `incoming` changes nothing in `cached`. The options of free text are ignored, and an empty name of a
/// built-in attribute means "unchanged".
[[nodiscard]] bool IsSameCustom(const tag_EvidenceCustom_& incoming, const tag_EvidenceCustom_& cached);

/// Drops the entries that equal a cached one.
void DropUnchangedCustoms(std::list<EvidenceCustomPtr>& customs, const std::list<EvidenceCustomPtr>& cached);

[[nodiscard]] bool IsCustomNameInList(const std::set<std::string>& accepted_names, const std::string& name);

struct OptionChanges {
  std::vector<tag_EvidenceOption_> to_update;
  std::vector<tag_EvidenceOption_> to_delete;
  /// Left empty; to be filled when the new options of `kept` have their ids.
  std::vector<tag_EvidenceOption_> to_insert;
  /// The wanted options in their order, new ones with the id -1; those with an unknown id are dropped.
  std::vector<tag_EvidenceOption_> kept;
};

[[nodiscard]] OptionChanges SplitOptionChanges(const std::vector<tag_EvidenceOption_>& current,
                                               const std::vector<tag_EvidenceOption_>& wanted);

}  // namespace Evidence
