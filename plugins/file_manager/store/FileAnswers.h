#pragma once

#include <optional>
#include <string>

#include "platform/HttpRoutes.h"
#include "platform/Json.h"
#include "store/FileTable.h"
#include "store/Uploads.h"

namespace FileManager {

inline constexpr char kFilesPath[] = "/platform/v1/files";
/// Of the resumable protocol whose clients upload in parts (tus.io).
inline constexpr char kTusVersion[] = "1.0.0";

/// The path of a file.
[[nodiscard]] std::string PathOf(std::int32_t id);

/// The id in the path; none for what cannot be one.
[[nodiscard]] std::optional<std::int32_t> IdOf(const platform::HttpRequest& request);

/// A file as clients see it; what is not known is left out.
[[nodiscard]] platform::Json Describe(const FileRow& file);

/// How an upload that did not go on is told: a problem, with the offset where the client needs it.
[[nodiscard]] platform::HttpResponse ProblemOf(const Uploads::Result& result);

[[nodiscard]] platform::HttpResponse NoSuchFile();
/// 503: the database or the store is away.
[[nodiscard]] platform::HttpResponse Unavailable();
[[nodiscard]] platform::HttpResponse BadRequest(std::string detail);
[[nodiscard]] platform::HttpResponse Unprocessable(std::string detail);

/// Adds a line to the platform's log: what the session's user did with a file. False when it could not be written.
[[nodiscard]] bool NoteUse(const std::string& session, bool is_upload, const FileRow& file, const std::string& what);

/// That line for a file that this call has made whole. The file stays when it cannot be written: its row tells the
/// same.
void NoteUpload(const std::string& session, const Uploads::Result& result);

/// The function of a route, with an answer for its exceptions.
[[nodiscard]] std::function<platform::HttpResponse(const platform::HttpRequest&)> GuardRoute(
    std::function<platform::HttpResponse(const platform::HttpRequest&)> run);

}  // namespace FileManager
