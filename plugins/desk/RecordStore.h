#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Record.h"

/// What the desk reads of the evidences' tables by itself. It writes nothing. Thread-safe.
namespace desk::RecordStore {

enum class Found { kYes, kNo, kUnknown };

/// Reads a live evidence: row, values and number of files as of one moment, with the names of scene and outcome.
/// kUnknown when the database does not answer.
[[nodiscard]] Found Read(Record& record, Names& names, std::int32_t evidence_id);

/// Reads the names of a scene and an outcome. False when the database does not answer.
[[nodiscard]] bool ReadNames(Names& names, std::int32_t scene_id, std::int32_t outcome_id);

/// How many live evidences have something in common.
struct Count {
  std::int32_t id = 0;
  std::string name;
  std::int32_t count = 0;
  /// How many of these are open; of days only.
  std::int32_t open = 0;
};
/// All of one moment.
struct Counts {
  /// By the local day of the creation, whose name is "YYYY-MM-DD": the latest kMostDays that have any, ascending.
  std::vector<Count> days;
  /// By status, ascending.
  std::vector<Count> statuses;
  /// By type, ascending; with the name that the table has.
  std::vector<Count> types;
  /// The kMostCreators that created most, in that order.
  std::vector<Count> creators;
};
inline constexpr int kMostDays = 366;
inline constexpr int kMostCreators = 1000;

/// False when the database does not answer.
[[nodiscard]] bool ReadCounts(Counts& counts);

}  // namespace desk::RecordStore
