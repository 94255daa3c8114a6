#pragma once

#include <cstdint>

/// What the handlers write to the platform's log and to the history of an evidence.
namespace Evidence {

/// Types of the platform's log lines on evidences.
inline constexpr int kLogEvidenceCreated = 306017;
inline constexpr int kLogEvidenceChanged = 306018;
inline constexpr int kLogEvidenceDeleted = 306019;
inline constexpr int kLogEvidenceQueried = 306020;
inline constexpr int kLogFilesLinked = 306021;
inline constexpr int kLogFilesUnlinked = 306022;

/// `operation_type` of history entries; other values are stored as clients send them, 5 for a device.
enum HistoryType : std::int32_t {
  kHistoryCreated = 1,
  kHistoryChanged = 2,
  kHistoryDeleted = 3,
  kHistoryFilesLinked = 4,
  kHistoryFilesUnlinked = 7,
};

}  // namespace Evidence
