#pragma once

#include <cstddef>

#include "Common/Operation.h"

/// The limits of one request. The limits of the dictionaries and the number of evidences bound what makes sense;
/// without these a body of some megabytes would keep a thread and the database busy for hours, or exhaust the memory.
namespace Evidence::Limits {

struct Limit {
  std::size_t most;
  /// What is counted, as named in the log line.
  const char* of;
};

/// Every option of every attribute that the dictionary can hold.
inline constexpr Limit kValuesOfEvidence{5'000, "attribute values of an evidence"};
inline constexpr Limit kCamerasOfEvidence{10'000, "cameras of an evidence"};
/// The limit of distinct labels.
inline constexpr Limit kLabelsOfEvidence{100'000, "labels of an evidence"};
/// Evidences changed or deleted by one call.
inline constexpr Limit kChangedEvidences{10'000, "evidences of one change"};
/// The limit of evidences.
inline constexpr Limit kReadEvidences{100'000, "evidences asked for by id"};
/// A text that is sought in five columns of every evidence.
inline constexpr Limit kKeywordChars{1'000, "characters of a keyword"};
/// A part of a guid, which is sought likewise.
inline constexpr Limit kGuidPartChars{1'000, "characters of a guid"};
inline constexpr Limit kLinkedFiles{10'000, "files of one batch link"};
/// A full evidence, and the files of such an evidence with 1024 evidences. Each pair may become a failure in the
/// answer.
inline constexpr std::size_t kFilesOfEvidence = 128;
inline constexpr Limit kLinkPairs{kFilesOfEvidence * 1024, "files times evidences of one batch link"};
/// File ids that one deletion sends to the file manager, repeats included: those of 209 full evidences, or of 1061 with
/// one file each. They take half a minute or more.
inline constexpr Limit kUnlinkedIds{200'000'000, "file ids to unlink in one deletion"};
/// History rows that a client writes in one call.
inline constexpr Limit kWrittenEntries{10'000, "rows of one write to histories"};
/// Each password takes a noticeable time to check.
inline constexpr Limit kConfirmingUsers{100, "users who confirm a deletion"};

/// Bytes that one call may write repeatedly.
inline constexpr std::size_t kRepeatedBytes = std::size_t{32} << 20;
inline constexpr Limit kLinkedNameBytes{kRepeatedBytes, "bytes of file names times evidences of one batch link"};
inline constexpr Limit kWrittenUserBytes{kRepeatedBytes, "bytes of users repeated by one write to histories"};

/// Whether `number` is within `limit`. If not, the error is (0, 2), and a line of `operation` names the limit and both
/// numbers.
[[nodiscard]] bool Allows(const Limit& limit, std::size_t number, Operation operation = Operation::current());

}  // namespace Evidence::Limits
