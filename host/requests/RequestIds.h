#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The ids that a request names, each at most once in a row: all numbers, and those among them that are of evidences.
/// They tell what a request was about, not what it did, and may be more than it used.
struct NamedIds {
  std::vector<std::int64_t> all;
  std::vector<std::int64_t> evidences;

  /// No more are taken: as many as one request may change.
  static constexpr std::size_t kMost = 10'000;

  void Add(std::int64_t id, bool is_evidence);
};

/// Adds the segments of `path` that are numbers; one behind "Evidence", in letters of any size, is an evidence's.
void AddIdsOfPath(NamedIds& ids, std::string_view path);

/// Adds the numbers that a JSON body has as "ID", "IDs", "EvidenceID" and "FileID", also in texts: those of evidences
/// are each "EvidenceID", each "ID" of an "Evidence", and the "IDs" of a deletion. A broken body gives what stands
/// before its fault.
void AddIdsOfBody(NamedIds& ids, const std::string& body);

/// Adds the id of the evidence that a plugin's answer, a success, begins with.
void AddIdOfAnswer(NamedIds& ids, std::string_view answer);

}  // namespace host
