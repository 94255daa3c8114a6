#pragma once

#include <cstdint>
#include <string>

#include "FileIds.h"

namespace FileManager {

/// Module of this plugin's own error pairs.
inline constexpr int kErrorModule = 31;

/// Codes beside kErrorModule. kFileRefused belongs to one file, the others to the whole call; with any of them nothing
/// of the call has been changed.
enum ErrorCode : int {
  kDone = 0,  ///< beside module 0
  /// No JSON, no object Request, an unknown LinkType or OperationType, an ID that is missing, negative or
  /// no 32-bit number, FileIDs that are not decimal 32-bit numbers with single commas between them.
  kUnreadable = 1,
  /// The database is away, or refused the statement.
  kNotStored = 2,
  /// The settings refuse this file.
  kFileRefused = 3,
  kUnexpected = 4,
};

enum class Operation { kUnlink = 0, kLink = 1 };

/// Which files an evidence holds from now on, or no longer.
struct LinkRequest {
  Operation operation = Operation::kLink;
  std::int32_t evidence_id = -1;
  FileIds file_ids;
};

/// Reads {"Request":{"LinkType":0,"ID":5,"FileIDs":"1,2","OperationType":1}}. OperationType is 1 to link, 0 to unlink.
/// False, with `request` half filled, when it cannot be read (kUnreadable).
[[nodiscard]] bool DecodeLinkRequest(LinkRequest& request, const std::string& text);

/// The reply to a call that failed as a whole; to one that did all it was asked to for kDone.
[[nodiscard]] std::string EncodeReply(ErrorCode code);

/// The reply to a call that names files which are refused. They stand in two lists of equal length: LinkFileErrorList
/// holds their ids, LinkFileError beside it an entry each with ID, Name (empty: links know no names) and Error.
[[nodiscard]] std::string EncodeRefusedReply(const FileIds& refused);

}  // namespace FileManager
