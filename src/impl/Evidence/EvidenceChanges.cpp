#include "impl/Evidence/EvidenceChanges.h"

#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace Evidence::Changes {
namespace {

/// How many items, and bytes of text, one edit may have while each value is compared with all current values of its
/// attribute: a hundred differing values of one attribute. Each item is a row of the history with a key of its own, so
/// that more would keep the database busy for minutes.
constexpr std::size_t kMostPairs = 10'000;
constexpr std::size_t kPairBytes = std::size_t{32} << 20;

struct TextField {
  ChangedField kind;
  std::string _tag_Evidence_::*text;
};

/// In the order in which their changes are listed.
constexpr TextField kTextFields[] = {
    {kLabelChanged, &_tag_Evidence_::label},
    {kDescChanged, &_tag_Evidence_::evidence_desc},
    {kNameChanged, &_tag_Evidence_::name},
    {kCadIdChanged, &_tag_Evidence_::cad_id},
    {kGuidChanged, &_tag_Evidence_::guid},
    {kBeginTimeChanged, &_tag_Evidence_::evidence_begin_time},
    {kEndTimeChanged, &_tag_Evidence_::evidence_end_time},
};

void AddText(std::vector<change_item>& changes, ChangedField kind, const std::string& before,
             const std::string& after) {
  if (before == after) return;
  change_item& item = changes.emplace_back();
  item.mod_type = kind;
  item.before_mod = before;
  item.after_mod = after;
}

change_item NumberChange(ChangedField kind, std::int32_t before, std::int32_t after) {
  change_item item;
  item.mod_type = kind;
  item.before_id = before;
  item.after_id = after;
  return item;
}

/// The attribute values of an evidence, indexed so that lookups stay fast however many a client sent.
class CurrentValues {
 public:
  using Values = std::vector<const tag_EvidenceCustom_*>;

  explicit CurrentValues(const std::vector<tag_EvidenceCustom_>& values) {
    for (const auto& value : values) {
      by_id_[value.custom_id].push_back(&value);
      names_.insert(value.custom_name);
    }
  }

  /// Whether the attribute of `sought` has a value. Values are stored without their attribute's name, so a `sought`
  /// without a name matches any value.
  [[nodiscard]] bool HasValueFor(const tag_EvidenceCustom_& sought) const {
    return by_id_.contains(sought.custom_id) || names_.contains(sought.custom_name);
  }

  [[nodiscard]] const Values& Of(std::int32_t custom_id) const {
    static const Values kNone;
    const auto found = by_id_.find(custom_id);
    return found == by_id_.end() ? kNone : found->second;
  }

 private:
  std::map<std::int32_t, Values> by_id_;
  std::set<std::string_view> names_;
};

/// A value of the new state with its text, and the values that it is compared with.
struct ChosenValue {
  std::string text;
  std::int32_t custom_id;
  /// Whether its attribute has no current value.
  bool is_new;
  const CurrentValues::Values* replaced;
};

/// The values of the new state that have an option and something to be compared with.
std::vector<ChosenValue> ChosenValues(const _tag_Evidence_& after, const CurrentValues& current,
                                      const OptionName& option_name) {
  std::vector<ChosenValue> chosen;
  for (const auto& value : after.evidence_customs) {
    if (value.custom_options.empty()) continue;
    const bool is_new = !current.HasValueFor(value);
    const auto& replaced = current.Of(value.custom_id);
    if (!is_new && replaced.empty()) continue;
    const auto& [option_id, name] = value.custom_options.front();
    chosen.push_back(
        {name.empty() ? option_name(option_id, value.custom_id) : name, value.custom_id, is_new, &replaced});
  }
  return chosen;
}

/// Calls `visit` with the text of each value that has an option.
template <class Visit>
void ForEachText(const CurrentValues::Values& values, const Visit& visit) {
  for (const auto* value : values)
    if (!value->custom_options.empty()) visit(value->custom_options.front().option_name);
}

/// Gives equal texts equal numbers, so that long ones are compared once.
class TextNumbers {
 public:
  std::size_t Of(std::string_view text) { return numbers_.try_emplace(text, numbers_.size()).first->second; }

 private:
  std::map<std::string_view, std::size_t> numbers_;
};

/// Compares each value with all current values of its attribute. False, with some items added, when these would be more
/// than kMostPairs or take more than kPairBytes.
bool AddEachPair(std::vector<change_item>& changes, const std::vector<ChosenValue>& chosen) {
  using NumberedText = std::pair<std::size_t, const std::string*>;
  TextNumbers numbers;
  std::map<std::int32_t, std::vector<NumberedText>> old_by_custom;
  std::size_t pairs = 0;
  std::size_t bytes = 0;
  const auto add = [&](const std::string& old_text, const std::string& new_text) {
    ++pairs;
    bytes += old_text.size() + new_text.size();
    if (pairs > kMostPairs || bytes > kPairBytes) return false;
    AddText(changes, kCustomChanged, old_text, new_text);
    return true;
  };
  for (const auto& value : chosen) {
    if (value.is_new && !add(std::string(), value.text)) return false;
    const auto [entry, first] = old_by_custom.try_emplace(value.custom_id);
    auto& old_texts = entry->second;
    if (first) {
      ForEachText(*value.replaced, [&](const std::string& text) { old_texts.emplace_back(numbers.Of(text), &text); });
    }
    const std::size_t number = numbers.Of(value.text);
    for (const auto& [old_number, old_text] : old_texts)
      if (old_number != number && !add(*old_text, value.text)) return false;
  }
  return true;
}

/// The texts removed and added, by attribute.
void AddDifference(std::vector<change_item>& changes, const std::vector<ChosenValue>& chosen) {
  struct Texts {
    std::multiset<std::string_view> old_texts;
    std::vector<std::string_view> added;
  };
  std::map<std::int32_t, Texts> by_custom;
  for (const auto& value : chosen) {
    const auto [entry, first] = by_custom.try_emplace(value.custom_id);
    auto& [old_texts, added] = entry->second;
    if (first) ForEachText(*value.replaced, [&old = old_texts](const std::string& text) { old.insert(text); });
    const auto kept = old_texts.find(value.text);
    if (kept != old_texts.end()) {
      old_texts.erase(kept);
    } else {
      added.push_back(value.text);
    }
  }
  for (const auto& [custom_id, texts] : by_custom) {
    for (const auto text : texts.old_texts)
      AddText(changes, kCustomChanged, std::string(text), std::string());
    for (const auto text : texts.added)
      AddText(changes, kCustomChanged, std::string(), std::string(text));
  }
}

}  // namespace

change_item StatusChange(std::int32_t before, std::int32_t after) {
  return NumberChange(kStatusChanged, before, after);
}

change_item TypeChange(std::int32_t before_id, const std::string& before_name, std::int32_t after_id,
                       const std::string& after_name) {
  auto item = NumberChange(kTypeChanged, before_id, after_id);
  item.before_mod = before_name;
  item.after_mod = after_name;
  return item;
}

void AddFields(std::vector<change_item>& changes, const _tag_Evidence_& before, const _tag_Evidence_& after) {
  for (const auto& field : kTextFields)
    AddText(changes, field.kind, before.*field.text, after.*field.text);
  if (before.evidence_status != after.evidence_status) {
    changes.push_back(StatusChange(before.evidence_status, after.evidence_status));
  }
}

void AddCustoms(std::vector<change_item>& changes, const _tag_Evidence_& before, const _tag_Evidence_& after,
                const OptionName& option_name) {
  const CurrentValues current(before.evidence_customs);
  const auto chosen = ChosenValues(after, current, option_name);
  const std::size_t others = changes.size();
  if (AddEachPair(changes, chosen)) return;
  changes.resize(others);
  AddDifference(changes, chosen);
}

}  // namespace Evidence::Changes
