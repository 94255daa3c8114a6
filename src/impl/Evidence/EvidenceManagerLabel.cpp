#include <limits>
#include <unordered_map>

#include "Common/EvidenceLog.h"
#include "Common/KeyedHash.h"
#include "Common/TextList.h"
#include "impl/Evidence/EvidenceManager.h"

namespace Evidence {
namespace {

constexpr std::size_t kDistinctLabels = 100'000;
constexpr char kLabelSeparator = '|';

}  // namespace

std::list<std::string> SplitLabels(const std::string& text) { return SplitText(text, kLabelSeparator); }

void DiffLabels(const std::list<std::string>& wanted, const std::list<std::string>& current,
                std::list<std::string>& added, std::list<std::string>& removed) {
  std::unordered_map<std::string_view, bool, KeyedHash> is_wanted(current.size());
  std::vector<const bool*> in_order;
  in_order.reserve(current.size());
  for (const auto& label : current)
    in_order.push_back(&is_wanted.try_emplace(label, false).first->second);
  for (const auto& label : wanted) {
    const auto found = is_wanted.find(label);
    if (found == is_wanted.end()) {
      added.push_back(label);
    } else {
      found->second = true;
    }
  }
  auto kept = in_order.begin();
  for (const auto& label : current) {
    if (!**kept++) removed.push_back(label);
  }
}

bool CEvidenceManager::IsLabelCountExceeded(std::int32_t evidence_id, const std::list<std::string>& labels) {
  if (labels.empty()) return false;
  const std::lock_guard lock(label_lock_);
  std::list<std::string> added;
  std::list<std::string> removed;
  const auto stored = evidence_labels_.find(evidence_id);
  if (stored == evidence_labels_.end()) {
    added = labels;
  } else {
    DiffLabels(labels, stored->second, added, removed);
  }
  const auto count_of = [this](const std::string& label) {
    const auto found = label_counts_.find(label);
    return found == label_counts_.end() ? 0 : found->second;
  };
  auto total = static_cast<std::int64_t>(label_counts_.size());
  for (const auto& label : added) {
    if (count_of(label) < 1) ++total;
  }
  for (const auto& label : removed) {
    if (count_of(label) < 2) --total;
  }
  return total > static_cast<std::int64_t>(kDistinctLabels);
}

void CEvidenceManager::AddLabelsToMap(std::int32_t evidence_id, const std::string& label_text) {
  UpdateLabelMap(evidence_id, SplitLabels(label_text));
}

void CEvidenceManager::UpdateLabelMap(std::int32_t evidence_id, const std::list<std::string>& labels) {
  const std::lock_guard lock(label_lock_);
  const auto stored = evidence_labels_.find(evidence_id);
  if (stored == evidence_labels_.end()) {
    ApplyLabelDelta(labels, {});
    if (!labels.empty()) evidence_labels_.emplace(evidence_id, labels);
    return;
  }
  std::list<std::string> added;
  std::list<std::string> removed;
  DiffLabels(labels, stored->second, added, removed);
  ApplyLabelDelta(added, removed);
  if (labels.empty()) {
    evidence_labels_.erase(stored);
  } else {
    stored->second = labels;
  }
}

void CEvidenceManager::DeleteFromMap(std::int32_t evidence_id) {
  EVIDENCE_LOG(kLogProgress, "[%s]DeleteFromMap id : %d.[%s(%d)]", evidence_id);
  const std::lock_guard lock(label_lock_);
  const auto stored = evidence_labels_.find(evidence_id);
  if (stored == evidence_labels_.end()) return;
  ApplyLabelDelta({}, stored->second);
  evidence_labels_.erase(stored);
}

void CEvidenceManager::ApplyLabelDelta(const std::list<std::string>& added, const std::list<std::string>& removed) {
  for (const auto& label : added) {
    auto& count = label_counts_[label];
    // A label that occurs twice in a list is counted twice but may be removed only once, so a count may grow without
    // bound.
    if (count < std::numeric_limits<std::int32_t>::max()) ++count;
  }
  for (const auto& label : removed) {
    const auto found = label_counts_.find(label);
    if (found == label_counts_.end()) continue;
    if (found->second < 2) {
      label_counts_.erase(found);
    } else {
      --found->second;
    }
  }
}

}  // namespace Evidence
