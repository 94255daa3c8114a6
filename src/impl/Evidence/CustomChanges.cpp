#include "impl/Evidence/CustomChanges.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "impl/Evidence/BuiltInEntries.h"

namespace Evidence {

Batch::FullSetChanges<tag_EvidenceCustom_> SplitCustomChanges(const std::list<EvidenceCustomPtr>& wanted,
                                                              const std::list<EvidenceCustomPtr>& cached) {
  return Batch::SplitFullSet<&tag_EvidenceCustom_::custom_id>(wanted, cached);
}

bool IsSameCustom(const tag_EvidenceCustom_& incoming, const tag_EvidenceCustom_& cached) {
  if (incoming.custom_id != cached.custom_id || incoming.custom_type != cached.custom_type) return false;
  if (incoming.custom_name != cached.custom_name && !IsUnnamedBuiltIn(incoming.custom_id, incoming.custom_name)) {
    return false;
  }
  if (incoming.custom_type == kCustomFreeText) return true;
  if (incoming.custom_options.size() != cached.custom_options.size()) return false;
  std::set<std::pair<std::int32_t, std::string_view>> cached_options;
  for (const auto& option : cached.custom_options)
    cached_options.emplace(option.option_id, option.option_name);
  return std::ranges::all_of(incoming.custom_options, [&cached_options](const tag_EvidenceOption_& option) {
    return cached_options.contains({option.option_id, option.option_name});
  });
}

void DropUnchangedCustoms(std::list<EvidenceCustomPtr>& customs, const std::list<EvidenceCustomPtr>& cached) {
  std::map<std::int32_t, EvidenceCustomPtr> cached_by_id;
  for (const auto& custom : cached)
    cached_by_id[custom->custom_id] = custom;
  customs.remove_if([&cached_by_id](const EvidenceCustomPtr& custom) {
    const auto found = cached_by_id.find(custom->custom_id);
    return found != cached_by_id.end() && IsSameCustom(*custom, *found->second);
  });
}

bool IsCustomNameInList(const std::set<std::string>& accepted_names, const std::string& name) {
  return accepted_names.contains(name);
}

OptionChanges SplitOptionChanges(const std::vector<tag_EvidenceOption_>& current,
                                 const std::vector<tag_EvidenceOption_>& wanted) {
  OptionChanges changes;
  std::set<std::int32_t> current_ids;
  for (const auto& option : current)
    current_ids.insert(option.option_id);
  // The index in `kept` of each current option that is wanted; a repeated one is kept once, with its last value.
  std::map<std::int32_t, std::size_t> place;
  for (const auto& option : wanted) {
    if (option.option_id == -1) {
      changes.kept.push_back(option);
    } else if (current_ids.contains(option.option_id)) {
      const auto [known, first] = place.try_emplace(option.option_id, changes.kept.size());
      if (first) changes.kept.emplace_back();
      changes.kept[known->second] = option;
    }
  }
  for (const auto& option : changes.kept) {
    if (option.option_id != -1) changes.to_update.push_back(option);
  }
  for (const auto& option : current) {
    if (!place.contains(option.option_id)) changes.to_delete.push_back(option);
  }
  return changes;
}

}  // namespace Evidence
