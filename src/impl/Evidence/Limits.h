#pragma once

#include <cstddef>
#include <cstdint>

/// What one request may ask for at most. The dictionaries and the number of evidences bound what makes sense; without
/// these a body of some megabytes would keep a thread and the database busy for hours, or take all memory.
namespace Evidence::Limits {

/// Attribute values of one evidence: every option of every attribute that the dictionary can hold.
inline constexpr std::size_t kValuesOfEvidence = 5'000;
inline constexpr std::size_t kCamerasOfEvidence = 10'000;
/// Labels of one evidence: as many as there may be distinct ones.
inline constexpr std::size_t kLabelsOfEvidence = 100'000;
/// Evidences that are changed or deleted by one call.
inline constexpr std::size_t kChangedEvidences = 10'000;
/// Evidences that are asked for by id: as many as there may be.
inline constexpr std::size_t kReadEvidences = 100'000;
inline constexpr std::size_t kFilesOfEvidence = 128;
/// Files times evidences of one batch link: the most files that an evidence holds with 1024 evidences. Each pair may be
/// a failure that is answered.
inline constexpr std::size_t kLinkPairs = kFilesOfEvidence * 1024;
/// File ids that one deletion names to the file manager, repeated ones too: 209 evidences full of files, 1061 with one
/// file each. They take about half a minute.
inline constexpr std::int64_t kUnlinkedIds = 200'000'000;
/// Rows of a history that a client writes with one call.
inline constexpr std::size_t kWrittenEntries = 10'000;
/// Users who confirm one deletion: each password takes a noticeable time to check.
inline constexpr std::size_t kConfirmingUsers = 100;
/// Bytes that one call may write more than once: the changes of an edit, names in each row of a history, names of files
/// in each of their evidences.
inline constexpr std::size_t kChangeBytes = std::size_t{32} << 20;

}  // namespace Evidence::Limits
