#include "ListRoute.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "Barrier.h"
#include "EvidencePlugin.h"
#include "OrvBase/StringUtil.h"
#include "Record.h"
#include "rest/Times.h"

namespace desk {
namespace {

using platform::HttpFields;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::Json;

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kMostChars = 1000;
constexpr std::size_t kLongestTime = 64;

/// A number between two others, and what it is when it is not there.
struct NumberParameter {
  const char* name;
  const char* wire;
  bool is_filter;
  std::int32_t least;
  std::int32_t most;
  std::int32_t fallback;
};
constexpr NumberParameter kNumberParameters[] = {
    {"page", "PageIndex", false, 1, kLargest, 1},
    {"limit", "PageSize", false, 1, 1000, 100},
    {"sort_type", "SortType", false, 1, 14, -1},
    {"keyword_type", "KeywordType", true, -1, 1, 0},
    {"evidence_type_id", "EvidenceTypeID", true, -1, kLargest, -1},
    {"scene_id", "SceneID", true, -1, kLargest, -1},
    {"outcome_id", "OutcomeID", true, -1, kLargest, -1},
    {"status", "Status", true, -1, 1, -1},
};

struct TextParameter {
  const char* name;
  const char* wire;
};
constexpr TextParameter kTextParameters[] = {{"keyword", "Keyword"}, {"guid", "Guid"}};

/// Each has two parameters: its start and its end.
struct RangeParameter {
  const char* start;
  const char* end;
  const char* wire;
};
constexpr char kCreationTime[] = "CreationTime";
constexpr RangeParameter kRangeParameters[] = {
    {"creation_time_start", "creation_time_end", kCreationTime},
    {"evidence_begin_time_start", "evidence_begin_time_end", "EvidenceBeginTime"},
    {"evidence_end_time_start", "evidence_end_time_end", "EvidenceEndTime"},
};

constexpr char kField[] = "field";
constexpr char kTimeType[] = "time_type";

/// The parameters of one query, each taken once; what is left at the end is unknown.
class Parameters {
 public:
  explicit Parameters(const HttpFields& fields) {
    for (const auto& [name, value] : fields) {
      if (!values_.emplace(name, value).second) fault_ = "A parameter is there twice.";
    }
  }

  /// None when it is not there.
  std::optional<std::string> Take(const char* name) {
    const auto node = values_.extract(name);
    if (node.empty()) return std::nullopt;
    return node.mapped();
  }

  /// `fallback` when it is not there, and when it is no such number, which is then the fault.
  std::int32_t TakeNumber(const char* name, std::int32_t least, std::int32_t most, std::int32_t fallback) {
    const auto text = Take(name);
    if (!text) return fallback;
    std::int32_t number = 0;
    const auto* const end = text->data() + text->size();
    const auto [stop, fault] = std::from_chars(text->data(), end, number);
    if (fault == std::errc() && stop == end && number >= least && number <= most) return number;
    Fail(std::string(name) + " must be a number from " + std::to_string(least) + " to " + std::to_string(most) + ".");
    return fallback;
  }

  void Fail(std::string fault) {
    if (fault_.empty()) fault_ = std::move(fault);
  }

  [[nodiscard]] std::string Fault() const {
    if (!fault_.empty() || values_.empty()) return fault_;
    const auto& name = values_.begin()->first;
    return name.size() > kMostChars ? "There is no such parameter." : "There is no parameter " + name + ".";
  }

 private:
  std::map<std::string, std::string, std::less<>> values_;
  std::string fault_;
};

/// A time as the plugin compares it: that of the creation in UTC or, with time_type 1, on the wall; the others as
/// texts.
std::string TimeText(Parameters& parameters, const std::string& name, const std::string& text, bool is_creation,
                     bool is_local) {
  if (!is_creation) {
    const bool is_safe = text.size() <= kLongestTime && text.find_first_of("'\\") == std::string::npos;
    if (!is_safe || text.empty()) parameters.Fail(name + " must be the begin of a time.");
    return text;
  }
  if (is_local) {
    if (!rest::IsWallClock(text)) parameters.Fail(name + " must be a time without zone, such as 2026-11-22T21:40:00.");
    return text;
  }
  auto utc = rest::IsTime(text) ? rest::ToUtc(text) : std::string();
  if (utc.empty()) parameters.Fail(name + " must be a time with its zone, such as 2026-11-22T21:40:00Z.");
  return utc;
}

void TakeRanges(Json::Object& filter, Parameters& parameters) {
  const bool is_local = parameters.TakeNumber(kTimeType, 0, 1, 0) == 1;
  filter.emplace_back("TimeType", is_local ? 1 : 0);
  for (const auto& [start_name, end_name, wire] : kRangeParameters) {
    const auto start = parameters.Take(start_name);
    const auto end = parameters.Take(end_name);
    if (!start && !end) continue;
    if (!start || !end) {
      parameters.Fail(std::string(start_name) + " and " + end_name + " need each other.");
      return;
    }
    const bool is_creation = wire == kCreationTime;
    filter.emplace_back(wire,
                        Json::Object{{"StartTime", TimeText(parameters, start_name, *start, is_creation, is_local)},
                                     {"EndTime", TimeText(parameters, end_name, *end, is_creation, is_local)}});
  }
}

void TakeTexts(Json::Object& filter, Parameters& parameters) {
  using namespace Orv::Base::StringUtil;
  for (const auto& [name, wire] : kTextParameters) {
    const auto text = parameters.Take(name);
    if (!text) continue;
    if (str_len(*text, kCodePageUtf8) > kMostChars) {
      parameters.Fail(std::string(name) + " must have at most " + std::to_string(kMostChars) + " characters.");
    }
    filter.emplace_back(wire, *text);
  }
}

/// An evidence of the plugin's list in the names of a record.
Json DescribeItem(const Json& evidence, const Attributes& attributes,
                  const std::map<std::int32_t, std::string>& types) {
  using namespace EvidencePlugin;
  static const Json kNothing;
  const auto part = [&](const char* name) -> const Json& {
    const auto* const found = evidence.Find(name);
    return found == nullptr ? kNothing : *found;
  };
  const auto type_id = NumberIn(part("EvidenceType"), "ID");
  const auto type = types.find(type_id);
  std::vector<Value> values;
  for (const auto& custom : ListIn(evidence, "EvidenceCustomList", "EvidenceCustom")) {
    const auto option_id = NumberIn(custom, "CustomOptionID");
    // The text of a known option is its name.
    const auto known = attributes.find(NumberIn(custom, "ID"));
    const bool is_named = known != attributes.end() && known->second.options.contains(option_id);
    values.push_back({NumberIn(custom, "ID"), option_id, is_named ? std::string() : TextIn(custom, "CustomText")});
  }
  Json::Object item{
      {"id", NumberIn(evidence, "ID")},
      {"guid", TextIn(evidence, "Guid")},
      {"name", TextIn(evidence, "Name")},
      {"description", TextIn(evidence, "Desc")},
      {"status", NumberIn(evidence, "Status")},
      {"type", DescribeEntry(type_id, type == types.end() ? TextIn(part("EvidenceType"), "Name") : type->second)},
      {kAttributes, DescribeValues(values, attributes)},
      {"label", TextIn(evidence, "Label")},
      {"begin_time", DescribeTime(TextIn(evidence, "EvidenceBeginTime"))},
      {"end_time", DescribeTime(TextIn(evidence, "EvidenceEndTime"))},
      {"cad_id", TextIn(evidence, "CADID")},
      {"creator", DescribeEntry(NumberIn(part("Creator"), "ID"), TextIn(part("Creator"), "Name"))},
      {"create_time", DescribeTime(TextIn(evidence, "CreateTime"))},
  };
  if (const auto* const files = part("File").Elements()) {
    Json::List ids;
    for (const auto& file : *files)
      ids.emplace_back(NumberIn(file, "ID"));
    item.emplace_back("file_ids", std::move(ids));
  }
  return item;
}

HttpResponse List(const HttpRequest& request) {
  std::string fault;
  auto query = ReadQuery(fault, request.query);
  if (!fault.empty()) return BadRequest(std::move(fault));
  const auto page = EvidencePlugin::NumberIn(query, "PageIndex");
  const auto limit = EvidencePlugin::NumberIn(query, "PageSize");
  const auto found = EvidencePlugin::Search(request.session, std::move(query));
  // The parameters are within the rules: bad input is want of memory.
  if (found.is_empty || found.pair == ErrorPair{0, kBadInput}) return Unavailable();
  if (!found.Succeeded()) return ProblemOfPair(found.pair);
  EvidencePlugin::Answer answer;
  const auto attributes = EvidencePlugin::ReadAttributes(answer, request.session);
  if (!attributes) return ProblemOfPair(answer.pair);
  const auto types = EvidencePlugin::ReadTypes(answer, request.session);
  if (!types) return ProblemOfPair(answer.pair);
  Json::List items;
  for (const auto& evidence : EvidencePlugin::ListIn(found.data, "EvidenceList", "Evidence"))
    items.push_back(DescribeItem(evidence, *attributes, *types));
  Json::Object list{{"items", std::move(items)},
                    {"total", EvidencePlugin::NumberIn(found.data, "TotalNum")},
                    {"page", page},
                    {"limit", limit}};
  if (EvidencePlugin::NumberIn(found.data, "Completeness") == 0 && page != kLargest)
    list.emplace_back("next", page + 1);
  return HttpResponse::Json(200, Json(std::move(list)).Text());
}

}  // namespace

Json ReadQuery(std::string& fault, const HttpFields& sent) {
  Parameters parameters(sent);
  Json::Object query;
  Json::Object filter;
  for (const auto& [name, wire, is_filter, least, most, fallback] : kNumberParameters) {
    (is_filter ? filter : query).emplace_back(wire, parameters.TakeNumber(name, least, most, fallback));
  }
  TakeTexts(filter, parameters);
  TakeRanges(filter, parameters);
  if (const auto field = parameters.Take(kField)) {
    if (*field != "FileList") parameters.Fail("field must be FileList.");
    query.emplace_back("Field", *field);
  }
  query.emplace_back("Filter", std::move(filter));
  fault = parameters.Fault();
  return query;
}

bool RegisterListRoute(platform::IHttpRoutes& routes) {
  platform::HttpRoute route;
  route.method = "GET";
  route.path = "/platform/v1/evidence";
  route.run = GuardRoute(List);
  return routes.Register(std::move(route));
}

}  // namespace desk
