#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The records that travel between the layers, by shared pointer. Integers start at -1 where -1 means
/// "none" or "all".
namespace Evidence {

/// An entry of the evidence type dictionary. Immutable once it stands in the manager's cache.
struct _tag_EvidenceType_ {
  std::int32_t type_id = -1;
  std::string type_name;
};

/// A choice of a custom attribute.
struct tag_EvidenceOption_ {
  std::int32_t option_id = -1;
  std::string option_name;
};

/// `custom_type` of an attribute of free text, which has no options.
inline constexpr std::int32_t kCustomFreeText = 1;

/// A custom attribute. Immutable once it stands in the manager's cache.
struct tag_EvidenceCustom_ {
  std::int32_t custom_id = -1;
  std::string custom_name;
  std::vector<tag_EvidenceOption_> custom_options;
  std::int32_t custom_type = 0;
  /// What a change request asks for; in no column.
  std::int32_t modify_type = -1;
};

/// One refused entry of a batch.
struct _tag_Error_ {
  std::int32_t id = -1;
  std::string name;
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
};

/// Filter of a dictionary query; empty parts do not filter.
struct _tag_EvidenceAttributeFilterInfo_ {
  /// Part of the name.
  std::string name;
  std::vector<std::int32_t> ids;
};

/// Paging of a list. -1 in PageIndex or PageSize: not paged. PageIndex counts from 1.
struct page_info {
  std::int32_t total = 0;
  std::int32_t PageIndex = -1;
  std::int32_t PageSize = -1;
};

using EvidenceTypePtr = std::shared_ptr<_tag_EvidenceType_>;
using EvidenceCustomPtr = std::shared_ptr<tag_EvidenceCustom_>;
using ErrorPtr = std::shared_ptr<_tag_Error_>;

}  // namespace Evidence
