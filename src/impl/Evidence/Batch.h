#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "OrvBase/Error.h"
#include "OrvBase/StringUtil.h"
#include "impl/Evidence/EvidenceRecords.h"

/// The common parts of batches of changes.
namespace Evidence::Batch {

inline constexpr std::size_t kNameMaxChars = 64;

/// Whether a name is short enough and holds no illegal character; it may be empty.
[[nodiscard]] inline bool IsNameWithinRules(const std::string& name) {
  using namespace Orv::Base::StringUtil;
  return str_len(name, kCodePageUtf8) <= kNameMaxChars && !ContainsIllegalCharacters(name);
}

/// An entry of an error list with the thread's last error.
[[nodiscard]] inline ErrorPtr RefusedEntry(std::int32_t id, const std::string& name) {
  const auto error = Orv::Base::Error::GetLastError();
  return std::make_shared<_tag_Error_>(_tag_Error_{id, name, error.MainCode(), error.SubCode()});
}

/// The changes that turn the current dictionary into a requested one.
template <class Record>
struct FullSetChanges {
  std::list<std::shared_ptr<Record>> to_add;
  std::list<std::shared_ptr<Record>> to_change;
  std::list<std::shared_ptr<Record>> to_delete;
};

/// Entries without an id are added, others changed; current entries that are not among the changed are deleted.
template <auto kId, class Record>
[[nodiscard]] FullSetChanges<Record> SplitFullSet(const std::list<std::shared_ptr<Record>>& wanted,
                                                  const std::list<std::shared_ptr<Record>>& current) {
  FullSetChanges<Record> changes;
  std::set<std::int32_t> kept;
  for (const auto& entry : wanted) {
    if ((*entry).*kId == -1) {
      changes.to_add.push_back(entry);
    } else {
      changes.to_change.push_back(entry);
      kept.insert((*entry).*kId);
    }
  }
  for (const auto& entry : current) {
    if (!kept.contains((*entry).*kId)) changes.to_delete.push_back(entry);
  }
  return changes;
}

/// The accepted entries of a batch of changes. A repeated id replaces its earlier entry: the row ends the same, and no
/// request can have one row written thousands of times in one transaction.
template <auto kId, class Record>
class AcceptedChanges {
 public:
  void Add(const std::shared_ptr<Record>& entry) {
    const auto [known, first] = by_id_.try_emplace((*entry).*kId, nullptr);
    if (first) {
      known->second = &entries_.emplace_back(entry);
    } else {
      *known->second = entry;
    }
  }
  [[nodiscard]] std::list<std::shared_ptr<Record>>& Entries() { return entries_; }

 private:
  std::list<std::shared_ptr<Record>> entries_;
  std::unordered_map<std::int32_t, std::shared_ptr<Record>*> by_id_;
};

template <class Entries, class NameOf>
[[nodiscard]] std::vector<std::string> NamesOf(const Entries& entries, NameOf name_of) {
  std::vector<std::string> names;
  for (const auto& entry : entries)
    names.push_back(name_of(*entry));
  return names;
}

template <auto kId, class Record>
[[nodiscard]] IdList IdsOf(const std::list<std::shared_ptr<Record>>& entries) {
  IdList ids;
  for (const auto& entry : entries)
    ids.push_back((*entry).*kId);
  return ids;
}

}  // namespace Evidence::Batch
