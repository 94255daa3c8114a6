#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// Which of the noted requests are wanted; a member that is not set wants all.
struct RequestFilter {
  std::optional<std::int64_t> evidence;
  std::string user;
  /// Seconds since 1970 in UTC: answered from this one on, and before that one.
  std::optional<std::int64_t> since;
  std::optional<std::int64_t> until;
  /// StoredRequest::Place of the last one of the page before.
  std::string after;
  std::int64_t limit = 100;
};

/// A row of platform.request_log, numbers as their digits.
struct StoredRequest {
  std::string id;
  /// RFC 3339 in UTC with microseconds.
  std::string time;
  std::string user_id;
  std::string user_name;
  std::string session;
  std::string client_address;
  std::string request_id;
  std::string method;
  std::string path;
  /// JSON lists.
  std::string ids;
  std::string evidence_ids;
  std::string status;
  /// Both empty for an answer without a pair.
  std::string error_module;
  std::string error_code;
  std::string bytes_in;
  std::string bytes_out;

  /// Where it stands among all.
  [[nodiscard]] std::string Place() const { return time + "_" + id; }
};

/// Whether `text` is one of StoredRequest::Place.
[[nodiscard]] bool IsPlace(const std::string& text);

/// The newest requests that match, newest first; none when the database does not answer.
[[nodiscard]] std::optional<std::vector<StoredRequest>> ReadRequests(const RequestFilter& filter);

/// Drops the months before `month` ("2026-01"), and leaves an event behind that says so. Returns "" or one line for the
/// operator; `dropped` becomes what was dropped, a line each.
[[nodiscard]] std::string PruneRequests(const std::string& owner_connection, const std::string& month,
                                        std::vector<std::string>& dropped);

}  // namespace host
