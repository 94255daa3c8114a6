#pragma once

#include <cstdint>
#include <string>

#include "FileIds.h"

namespace FileManager {

/// Module of this plugin's own error pairs.
inline constexpr int kErrorModule = 31;

/// Codes used with kErrorModule. kFileRefused applies to one file, the others to the whole call; with any of them the
/// call has changed nothing.
enum ErrorCode : int {
  kDone = 0,  ///< with module 0
  /// Invalid JSON, no object Request, an unknown LinkType or OperationType, an ID that is missing, negative or not a
  /// 32-bit number, FileIDs that are not decimal 32-bit numbers separated by single commas.
  kUnreadable = 1,
  /// The database is unreachable, rejected the statement or took too long.
  kNotStored = 2,
  /// The settings refuse this file.
  kFileRefused = 3,
  kUnexpected = 4,
};

enum class Operation { kUnlink = 0, kLink = 1 };

/// The files to link to an evidence or to unlink from it.
struct LinkRequest {
  Operation operation = Operation::kLink;
  std::int32_t evidence_id = -1;
  FileIds file_ids;
};

/// Reads {"Request":{"LinkType":0,"ID":5,"FileIDs":"1,2","OperationType":1}}. OperationType is 1 to link, 0 to unlink.
/// False, with `request` partially filled, when it is invalid (kUnreadable).
[[nodiscard]] bool DecodeLinkRequest(LinkRequest& request, const std::string& text);

/// The reply to a call that failed as a whole, or with kDone to one that succeeded completely.
[[nodiscard]] std::string EncodeReply(ErrorCode code);

/// The reply to a call that names refused files. They are listed in two lists of equal length: LinkFileErrorList has
/// their ids, LinkFileError one entry each with ID, Name (empty: links have no names) and Error.
[[nodiscard]] std::string EncodeRefusedReply(const FileIds& refused);

}  // namespace FileManager
