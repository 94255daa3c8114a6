#include "metrics/RouteNames.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace host {
namespace {

enum Name : std::size_t {
  kListEvidences,
  kReadEvidence,
  kCreateEvidence,
  kChangeEvidence,
  kDeleteEvidence,
  kReadDictionary,
  kChangeDictionary,
  kLinkFiles,
  kReadHistory,
  kWriteHistory,
  kDeskList,
  kDeskRead,
  kDeskChange,
  kStatistics,
  kReadFile,
  kUploadFile,
  kAccounts,
  kLogin,
  kState,
  kOther,
};
constexpr std::array kNames = {
    "list_evidences",  "read_evidence",     "create_evidence", "change_evidence", "delete_evidence",
    "read_dictionary", "change_dictionary", "link_files",      "read_history",    "write_history",
    "desk_list",       "desk_read",         "desk_change",     "statistics",      "read_file",
    "upload_file",     "accounts",          "login",           "state",           "other",
};
static_assert(kNames.size() == kOther + 1);

struct Row {
  /// The path's last word.
  std::string_view word;
  /// A number follows it.
  bool is_numbered;
  /// "" for any.
  std::string_view method;
  Name name;
};
/// The first that fits counts.
constexpr Row kRows[] = {
    {"Evidence", true, "GET", kReadEvidence},
    {"Evidence", false, "GET", kListEvidences},
    {"Evidence", false, "POST", kCreateEvidence},
    {"Evidence", true, "DELETE", kDeleteEvidence},
    {"Evidence", false, "DELETE", kDeleteEvidence},
    {"Evidence", true, "PUT", kChangeEvidence},
    {"Evidence", false, "PUT", kChangeEvidence},
    {"Type", false, "GET", kReadDictionary},
    {"Type", true, "GET", kReadDictionary},
    {"Type", false, "", kChangeDictionary},
    {"Type", true, "", kChangeDictionary},
    {"Custom", false, "GET", kReadDictionary},
    {"Custom", false, "", kChangeDictionary},
    {"Files", false, "", kLinkFiles},
    {"BatchLinks", false, "", kLinkFiles},
    {"OperationLog", false, "GET", kReadHistory},
    {"OperationLog", false, "", kWriteHistory},
    {"evidence", false, "GET", kDeskList},
    {"evidence", true, "GET", kDeskRead},
    {"evidence", false, "", kDeskChange},
    {"evidence", true, "", kDeskChange},
    {"statistics", false, "", kStatistics},
    {"files", false, "GET", kReadFile},
    {"files", true, "GET", kReadFile},
    {"info", false, "", kReadFile},
    {"ticket", false, "", kReadFile},
    {"files", false, "", kUploadFile},
    {"files", true, "", kUploadFile},
    {"login", false, "", kLogin},
    {"live", false, "", kState},
    {"ready", false, "", kState},
    {"session", false, "", kAccounts},
    {"sealed", false, "", kAccounts},
    {"password", false, "", kAccounts},
    {"sessions", false, "", kAccounts},
    {"sessions", true, "", kAccounts},
    {"users", false, "", kAccounts},
    {"users", true, "", kAccounts},
    {"auth-events", false, "", kAccounts},
    {"requests", false, "", kAccounts},
};

/// Cuts the last segment off.
std::string_view TakeLast(std::string_view& path) {
  const auto slash = path.rfind('/');
  const auto last = slash == std::string_view::npos ? path : path.substr(slash + 1);
  path = path.substr(0, path.size() - last.size() - (slash == std::string_view::npos ? 0 : 1));
  return last;
}

bool IsNumber(std::string_view segment) {
  if (segment.starts_with('-')) segment.remove_prefix(1);
  return !segment.empty() && std::ranges::all_of(segment, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::vector<std::string> RouteNames() { return {kNames.begin(), kNames.end()}; }

std::size_t LoginRouteNumber() { return kLogin; }

std::size_t RouteNumber(std::string_view method, std::string_view path) {
  auto word = TakeLast(path);
  const bool is_numbered = IsNumber(word);
  if (is_numbered) word = TakeLast(path);
  const auto fits = [&](const Row& row) {
    return row.word == word && row.is_numbered == is_numbered && (row.method.empty() || row.method == method);
  };
  const auto* const found = std::ranges::find_if(kRows, fits);
  return found == std::end(kRows) ? kOther : found->name;
}

}  // namespace host
