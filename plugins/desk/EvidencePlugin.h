#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Problems.h"
#include "Record.h"
#include "platform/Json.h"

/// The operations of the evidence plugin, run in process on this thread with the caller's session: permissions, rules,
/// histories and log lines are the plugin's own. Thread-safe.
namespace desk::EvidencePlugin {

struct Answer {
  /// (0, 1) when the plugin is not running.
  ErrorPair pair;
  /// `Data`; null without one.
  platform::Json data;
  /// The plugin answered nothing at all.
  bool is_empty = false;

  [[nodiscard]] bool Succeeded() const { return !is_empty && pair == ErrorPair(); }
};

[[nodiscard]] Answer ReadOne(const std::string& session, std::int32_t evidence_id);
/// `query` is EvidenceQueryReq.
[[nodiscard]] Answer Search(const std::string& session, platform::Json query);
/// Sends every field that a change may have, so that none is lost.
[[nodiscard]] Answer Change(const std::string& session, const Record& record);
[[nodiscard]] Answer Create(const std::string& session, const Record& record);

/// The names of all types by id; none, with what was answered in `answer`, when they cannot be read.
[[nodiscard]] std::optional<std::map<std::int32_t, std::string>> ReadTypes(Answer& answer, const std::string& session);
/// The same of the custom attributes.
[[nodiscard]] std::optional<Attributes> ReadAttributes(Answer& answer, const std::string& session);

/// The text of `name` in an object of an answer; "" when it is missing.
[[nodiscard]] std::string TextIn(const platform::Json& object, std::string_view name);
/// The number of `name`; -1 when it is missing, and for 4294967295.
[[nodiscard]] std::int32_t NumberIn(const platform::Json& object, std::string_view name);
/// The list at data/outer/inner; empty when it is missing.
[[nodiscard]] const platform::Json::List& ListIn(const platform::Json& data, std::string_view outer,
                                                 std::string_view inner);

}  // namespace desk::EvidencePlugin
