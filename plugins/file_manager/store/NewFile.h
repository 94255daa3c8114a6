#pragma once

#include <string>

#include "platform/HttpRoutes.h"
#include "store/FileTable.h"

/// What a client tells of a file that is to come: in a query, in JSON, or in the metadata of the resumable protocol.
namespace FileManager {

/// Fills `file` from texts by key: name, media_type, bytes, sha256, source_begin, source_end, camera_id. "" or why
/// they are refused, as a sentence.
[[nodiscard]] std::string ReadNewFile(FileRow& file, const platform::HttpFields& texts);

/// The members of a JSON object as such texts. "" or the fault.
[[nodiscard]] std::string TextsOfJson(platform::HttpFields& texts, const std::string& json);

/// The pairs of an Upload-Metadata header as such texts: filename and filetype, which clients send, are name and
/// media_type. "" or the fault.
[[nodiscard]] std::string TextsOfMetadata(platform::HttpFields& texts, std::string_view header);

}  // namespace FileManager
