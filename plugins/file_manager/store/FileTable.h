#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FileIds.h"

namespace FileManager {

/// States of a file, as the table has them.
namespace file_state {
inline constexpr std::string_view kReceiving = "receiving";
inline constexpr std::string_view kWhole = "whole";
inline constexpr std::string_view kMissing = "missing";
inline constexpr std::string_view kAltered = "altered";
inline constexpr std::string_view kRemoved = "removed";
}  // namespace file_state

/// A row of filemanager.file. Times are RFC 3339 in UTC, "" for none.
struct FileRow {
  std::int32_t id = 0;
  std::string state;
  /// "" until all bytes are received.
  std::string sha256;
  std::string expected_sha256;
  /// Announced at first, then received; -1 while neither is known.
  std::int64_t bytes = -1;
  std::string name;
  std::string media_type;
  std::string opened_at;
  std::string received_at;
  std::string refused_at;
  std::int32_t received_by = -1;
  std::string received_by_name;
  std::string address;
  std::string checked_at;
  std::string source_begin;
  std::string source_end;
  std::optional<std::int32_t> camera_id;

  [[nodiscard]] bool IsReceiving() const { return state == file_state::kReceiving; }
};

/// The table filemanager.file. Thread-safe.
namespace FileTable {

enum class Found { kYes, kNo, kUnknown };

/// Adds a row of the texts of `row`, its announced bytes and expected digest; fills its id. kNo: the user has `limit`
/// unfinished uploads already. kUnknown: the database failed.
[[nodiscard]] Found Open(FileRow& row, std::int64_t limit);

[[nodiscard]] Found Read(FileRow& row, std::int32_t id);
/// The files that `evidence_id` is linked with, in the order of ids. An id without bytes has an empty state.
[[nodiscard]] bool OfEvidence(std::vector<FileRow>& rows, std::int32_t evidence_id);
/// Up to `limit` rows after `after` in the order of ids, only those in `state` unless it is empty.
[[nodiscard]] bool List(std::vector<FileRow>& rows, std::string_view state, std::int32_t after, std::int64_t limit);

// Each returns whether the row is as asked afterwards; false also when it was in another state.

/// Notes what was received, before it moves to its place.
[[nodiscard]] bool Seal(std::int32_t id, const std::string& sha256, std::int64_t bytes);
/// The sealed bytes are at their place.
[[nodiscard]] bool MarkWhole(std::int32_t id);
/// The bytes are not those that were expected.
[[nodiscard]] bool MarkRefused(std::int32_t id, const std::string& sha256);
/// More bytes have come.
[[nodiscard]] bool MarkReceived(std::int32_t id);
[[nodiscard]] bool MarkRemoved(std::int32_t id);
/// What a check found: kWhole, kMissing or kAltered, of all rows with that digest.
[[nodiscard]] bool MarkChecked(const std::string& sha256, std::string_view state);

/// Uploads that nobody has gone on with for `hours`, and refused ones after an hour.
[[nodiscard]] bool Stale(std::vector<FileRow>& rows, std::int64_t hours);
/// Uploads that were sealed, but did not become whole.
[[nodiscard]] bool Sealed(std::vector<FileRow>& rows);
/// The file to check next: the longest unchecked one, when that is `hours` ago. kNo when none is due.
[[nodiscard]] Found NextToCheck(FileRow& row, std::int64_t hours);

/// Of `ids`, those that are not whole. False when the database failed.
[[nodiscard]] bool NotWhole(FileIds& not_whole, const FileIds& ids);
struct Totals {
  std::int64_t whole_bytes = 0;
  std::int64_t altered = 0;
  std::int64_t missing = 0;
};
/// Of all files. False when the database failed.
[[nodiscard]] bool ReadTotals(Totals& totals);

/// Whether this site began strict. False when the database failed.
[[nodiscard]] bool BeganStrict(bool& strict);

}  // namespace FileTable
}  // namespace FileManager
