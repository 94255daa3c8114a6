#include "impl/Evidence/EvidenceSession/EvidenceQueryText.h"

#include <algorithm>
#include <array>

#include "impl/Evidence/EvidenceSession/Statement.h"

namespace Evidence {
namespace {

using Statement::Format;

constexpr char kPageStart[] = "SELECT * FROM evidence.evidence WHERE ";
constexpr char kCountStart[] = "SELECT COUNT(id)  FROM evidence.evidence WHERE ";
constexpr char kCountEnd[] = "deleted = 0";

/// By sort_type, from 1.
constexpr std::array kSortOrders{
    "deleted = 0 ORDER BY name ASC ",
    "deleted = 0 ORDER BY name DESC ",
    "deleted = 0 ORDER BY evidence_create_user_name ASC ",
    "deleted = 0 ORDER BY evidence_create_user_name DESC ",
    "deleted = 0 ORDER BY local_create_time ASC ",
    "deleted = 0 ORDER BY local_create_time DESC ",
    "deleted = 0 ORDER BY ID ASC ",
    "deleted = 0 ORDER BY ID DESC ",
    "deleted = 0 ORDER BY evidence_begin_time ASC ",
    "deleted = 0 ORDER BY evidence_begin_time DESC ",
    "deleted = 0 ORDER BY evidence_end_time ASC ",
    "deleted = 0 ORDER BY evidence_end_time DESC ",
    "deleted = 0 ORDER BY cad_id ASC ",
    "deleted = 0 ORDER BY cad_id DESC ",
};
static_assert(kSortOrders.size() == 14);
constexpr char kDefaultOrder[] = "deleted = 0 ORDER BY local_create_time DESC ";

const char* SortOrder(std::int32_t sort_type) {
  const bool known = sort_type >= 1 && sort_type <= static_cast<std::int32_t>(kSortOrders.size());
  return known ? kSortOrders[static_cast<std::size_t>(sort_type) - 1] : kDefaultOrder;
}

/// Values of keyword_type.
enum : std::int32_t { kEveryColumn = -1, kName = 0, kNameAndLabel = 1 };

std::string KeywordPart(const _tag_EvidenceFilterInfo_& filter) {
  if (filter.keyword.empty()) return {};
  const std::string escaped = Statement::EscapeLikeText(filter.keyword);
  const char* const keyword = escaped.c_str();
  switch (filter.keyword_type) {
    case kName:
      return Format("(name ilike '%%%s%%')  AND ", keyword);
    case kNameAndLabel:
      return Format("(name ilike '%%%s%%' OR label ilike '%%%s%%' )  AND ", keyword, keyword);
    case kEveryColumn:
      return Format(
          "(name ilike '%%%s%%' OR evidence_desc ilike '%%%s%%'  OR guid ilike '%%%s%%' OR  label ilike '%%%s%%'   OR  "
          "releated_camera_ids ilike '%%%s%%'   )  AND ",
          keyword, keyword, keyword, keyword, keyword);
    default:
      return {};
  }
}

/// Empty unless both ends are given.
std::string RangePart(const char* column, const std::string& start, const std::string& end) {
  if (start.empty() || end.empty()) return {};
  return Format("%s <= '%s' AND %s >= '%s'  AND ", column, end.c_str(), column, start.c_str());
}

std::string Condition(const _tag_EvidenceFilterInfo_& f) {
  std::string text;
  if (f.evidence_type_id != -1) text += Format("evidence_type_id = %d AND ", f.evidence_type_id);
  if (f.scene_id != -1) text += Format("scene_id = %d  AND ", f.scene_id);
  if (f.outcome_id != -1) text += Format("outcome_id = %d  AND ", f.outcome_id);
  if (f.status != -1) text += Format("evidence_status = %d  AND ", f.status);
  if (!f.guid.empty()) text += Format("guid ilike '%%%s%%'  AND ", Statement::EscapeLikeText(f.guid).c_str());
  text += KeywordPart(f);
  text += RangePart(f.time_type == 1 ? "local_create_time" : "create_time", f.create_start_time, f.create_end_time);
  text += RangePart("evidence_begin_time", f.evidence_begin_start_time, f.evidence_begin_end_time);
  text += RangePart("evidence_end_time", f.evidence_end_start_time, f.evidence_end_end_time);
  if (f.add_mode != -1) text += Format("add_mode = %d AND ", f.add_mode);
  return text;
}

}  // namespace

EvidenceQueryText BuildEvidenceQuery(const _tag_EvidenceFilterInfo_& filter, const page_info& page) {
  const std::string condition = Condition(filter);
  const long long limit = std::int64_t{page.PageSize} + 1;
  const long long offset = (std::int64_t{page.PageIndex} - 1) * page.PageSize;
  return {kCountStart + condition + kCountEnd,
          kPageStart + condition + SortOrder(filter.sort_type) + Format("limit %lld offset %lld;", limit, offset)};
}

bool HoldsUnsafeTime(const _tag_EvidenceFilterInfo_& f) {
  const std::array times{&f.create_start_time,       &f.create_end_time,         &f.evidence_begin_start_time,
                         &f.evidence_begin_end_time, &f.evidence_end_start_time, &f.evidence_end_end_time};
  return std::ranges::any_of(times, [](const std::string* time) {
    return time->find_first_of(std::string_view("'\\\0", 3)) != std::string::npos;
  });
}

}  // namespace Evidence
