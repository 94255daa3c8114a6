// Reads and changes of the cached custom attributes.

#include <algorithm>

#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "KelpUtils/StringFunctions.h"
#include "impl/Evidence/BuiltInEntries.h"
#include "impl/Evidence/EvidenceManager.h"

namespace Evidence {
namespace {

void FilterEvidenceCustomsByName(std::list<EvidenceCustomPtr>& customs, const std::string& part) {
  customs.remove_if([&part](const auto& custom) { return !kelp::StringFind(custom->custom_name, part); });
}

}  // namespace

std::list<EvidenceCustomPtr> CEvidenceManager::CopyCachedEvidenceCustoms() {
  std::list<EvidenceCustomPtr> customs;
  const std::lock_guard lock(cache_lock_);
  for (const auto& [id, custom] : custom_cache_)
    customs.push_back(custom);
  return customs;
}

bool CEvidenceManager::GetEvidenceCustoms(std::list<EvidenceCustomPtr>& customs,
                                          const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& filter) {
  if (not_running_) return Fail(kNotRunning);
  customs = CopyCachedEvidenceCustoms();
  if (filter && !filter->name.empty()) FilterEvidenceCustomsByName(customs, filter->name);
  return true;
}

bool CEvidenceManager::GetEvidenceCustomById(EvidenceCustomPtr& custom, std::int32_t custom_id) {
  if (not_running_) return Fail(kNotRunning);
  const std::lock_guard lock(cache_lock_);
  const auto found = custom_cache_.find(custom_id);
  if (found == custom_cache_.end()) return Fail(kCustomNotFound);
  custom = found->second;
  return true;
}

bool CEvidenceManager::GetEvidenceCustomByName(EvidenceCustomPtr& custom, const std::string& name) {
  {
    const std::lock_guard lock(cache_lock_);
    const auto found =
        std::ranges::find_if(custom_cache_, [&name](const auto& cached) { return cached.second->custom_name == name; });
    if (found != custom_cache_.end()) {
      custom = found->second;
      return true;
    }
  }
  EVIDENCE_LOG(kLogAnomaly, "[%s]No evidence custom found by name[%s].[%s(%d)]", name.c_str());
  return Fail(kCustomNotFound);
}

bool CEvidenceManager::GetCustomOptionList(std::vector<tag_EvidenceOption_>& options,
                                           const tag_EvidenceCustom_& custom) {
  const std::lock_guard lock(cache_lock_);
  const auto found = custom_cache_.find(custom.custom_id);
  if (found == custom_cache_.end()) return false;
  options = found->second->custom_options;
  return true;
}

bool CEvidenceManager::GetCustomOptionById(tag_EvidenceOption_& option, std::int32_t option_id,
                                           std::int32_t custom_id) {
  EvidenceCustomPtr custom;
  if (!GetEvidenceCustomById(custom, custom_id)) return false;
  const auto found = std::ranges::find(custom->custom_options, option_id, &tag_EvidenceOption_::option_id);
  if (found != custom->custom_options.end()) option = *found;
  return true;
}

std::string CEvidenceManager::DisplayName(const tag_EvidenceCustom_& custom) {
  return IsUnnamedBuiltIn(custom.custom_id, custom.custom_name) ? GetDataByKey(kCustomNames, custom.custom_id)
                                                                : custom.custom_name;
}

void CEvidenceManager::CacheInsertEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) {
  const std::lock_guard lock(cache_lock_);
  for (const auto& custom : customs)
    custom_cache_[custom->custom_id] = std::make_shared<tag_EvidenceCustom_>(*custom);
}

void CEvidenceManager::CacheUpdateEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) {
  std::list<EvidenceCustomPtr> published;
  for (const auto& custom : customs) {
    published.push_back(std::make_shared<tag_EvidenceCustom_>(*custom));
    published.back()->custom_name = DisplayName(*custom);
  }
  const std::lock_guard lock(cache_lock_);
  for (auto& custom : published) {
    const auto found = custom_cache_.find(custom->custom_id);
    if (found != custom_cache_.end()) found->second = std::move(custom);
  }
}

void CEvidenceManager::CacheRemoveEvidenceCustoms(const std::list<EvidenceCustomPtr>& customs) {
  const std::lock_guard lock(cache_lock_);
  for (const auto& custom : customs)
    custom_cache_.erase(custom->custom_id);
}

}  // namespace Evidence
