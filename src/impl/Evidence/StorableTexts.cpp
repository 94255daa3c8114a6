#include "impl/Evidence/StorableTexts.h"

#include <algorithm>
#include <string_view>

namespace Evidence {
namespace {

template <class Record>
using TextField = std::string Record::*;

constexpr TextField<_tag_Evidence_> kEvidenceTexts[] = {
    &_tag_Evidence_::guid,
    &_tag_Evidence_::name,
    &_tag_Evidence_::evidence_desc,
    &_tag_Evidence_::evidence_begin_time,
    &_tag_Evidence_::evidence_end_time,
    &_tag_Evidence_::label,
    &_tag_Evidence_::releated_camera_ids,
    &_tag_Evidence_::upload_begin_time,
    &_tag_Evidence_::upload_end_time,
    &_tag_Evidence_::record_begin_time,
    &_tag_Evidence_::record_end_time,
    &_tag_Evidence_::succeed_camera_ids,
    &_tag_Evidence_::cad_id,
};

constexpr TextField<_tag_EvidenceFile_> kFileTexts[] = {
    &_tag_EvidenceFile_::file_name,
    &_tag_EvidenceFile_::file_path,
    &_tag_EvidenceFile_::guid,
    &_tag_EvidenceFile_::digest,
};

constexpr TextField<_tag_EvidenceFilterInfo_> kFilterTexts[] = {
    &_tag_EvidenceFilterInfo_::guid,
    &_tag_EvidenceFilterInfo_::keyword,
};

constexpr TextField<operation_record> kRecordTexts[] = {
    &operation_record::user_name,
    &operation_record::dev_name,
    &operation_record::user_ip,
};

constexpr TextField<change_item> kChangeTexts[] = {
    &change_item::file_name,
    &change_item::before_mod,
    &change_item::after_mod,
};

bool IsStorable(std::string_view text) { return text.find('\0') == std::string_view::npos; }

template <class Record, std::size_t kCount>
bool AreStorable(const Record& record, const TextField<Record> (&fields)[kCount]) {
  return std::ranges::all_of(fields, [&record](const auto field) { return IsStorable(record.*field); });
}

}  // namespace

bool HasStorableTexts(const _tag_Evidence_& evidence) {
  return AreStorable(evidence, kEvidenceTexts) &&
         std::ranges::all_of(evidence.evidence_customs, [](const auto& value) { return HasStorableTexts(value); });
}

bool HasStorableTexts(const tag_EvidenceCustom_& custom) {
  return std::ranges::all_of(custom.custom_options, IsStorable, &tag_EvidenceOption_::option_name);
}

bool HasStorableTexts(const _tag_EvidenceFile_& file) { return AreStorable(file, kFileTexts); }

bool HasStorableTexts(const _tag_EvidenceFilterInfo_& filter) { return AreStorable(filter, kFilterTexts); }

bool HasStorableTexts(const operation_record& record) {
  return AreStorable(record, kRecordTexts) &&
         std::ranges::all_of(record.change_items, [](const auto& item) { return AreStorable(item, kChangeTexts); });
}

}  // namespace Evidence
