#include "impl/Evidence/EvidenceChanges.h"

#include <map>
#include <set>
#include <string_view>

#include "impl/Evidence/Limits.h"

namespace Evidence::Changes {
namespace {

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

/// The attribute values of an evidence, found in little time however many a client sent.
class StandingValues {
 public:
  using Values = std::vector<const tag_EvidenceCustom_*>;

  explicit StandingValues(const std::vector<tag_EvidenceCustom_>& values) {
    for (const auto& value : values) {
      by_id_[value.custom_id].push_back(&value);
      names_.insert(value.custom_name);
    }
  }

  /// Whether a value stands for the attribute of `sought`. Values are kept without their attribute's name, so one that
  /// is sought without a name finds whatever stands.
  [[nodiscard]] bool Hold(const tag_EvidenceCustom_& sought) const {
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

bool AddCustoms(std::vector<change_item>& changes, const _tag_Evidence_& before, const _tag_Evidence_& after,
                const OptionName& option_name) {
  const std::size_t others = changes.size();
  std::size_t bytes = 0;
  const auto add = [&](const std::string& old_text, const std::string& new_text) {
    bytes += sizeof(change_item) + old_text.size() + new_text.size();
    if (bytes > Limits::kChangeBytes) return false;
    AddText(changes, kCustomChanged, old_text, new_text);
    return true;
  };
  const StandingValues standing(before.evidence_customs);
  for (const auto& value : after.evidence_customs) {
    if (value.custom_options.empty()) continue;
    const bool is_new = !standing.Hold(value);
    const auto& replaced = standing.Of(value.custom_id);
    if (!is_new && replaced.empty()) continue;
    const auto& chosen = value.custom_options.front();
    const std::string text =
        chosen.option_name.empty() ? option_name(chosen.option_id, value.custom_id) : chosen.option_name;
    bool fits = !is_new || add(std::string(), text);
    for (auto old = replaced.begin(); fits && old != replaced.end(); ++old)
      fits = (*old)->custom_options.empty() || add((*old)->custom_options.front().option_name, text);
    if (!fits) {
      changes.resize(others);
      return false;
    }
  }
  return true;
}

}  // namespace Evidence::Changes
