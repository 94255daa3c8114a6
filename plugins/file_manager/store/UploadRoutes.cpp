#include <algorithm>
#include <limits>
#include <utility>

#include "FileManagerLog.h"
#include "KelpPlatform/PlatformAdapter.h"
#include "TarnPlatform/Authentication.h"
#include "rest/Conditions.h"
#include "store/FileAnswers.h"
#include "store/FileRoutes.h"
#include "store/NewFile.h"

namespace FileManager {
namespace {

using platform::HttpRequest;
using platform::HttpResponse;
using Outcome = Uploads::Outcome;
using Parts = std::shared_ptr<const FileParts>;

constexpr std::uint64_t kDescriptionLimit = 64 * 1024;
constexpr char kOffsetType[] = "application/offset+octet-stream";
/// Who may add an evidence, or change one.
constexpr int kPermissions[] = {44, 41};

struct Caller {
  std::int32_t id = -1;
  std::string name;
};

bool MayUpload(const std::string& session) {
  std::shared_ptr<kelp::IClientPermissionApi> api;
  kelp::IPlatformAdapterInterface::Instance()->GetClientPermissionApi(api, true);
  return api && std::ranges::any_of(kPermissions, [&](int code) {
           return api->HaveCSClientPermission(session, code) || api->HaveWebClientPermission(session, code);
         });
}

/// Why the caller may not upload; none when he may.
std::optional<HttpResponse> Refusal(Caller& caller, const HttpRequest& request) {
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> session;
  if (!TarnPlatform::Authentication::GetUserSession(session, request.session)) {
    return HttpResponse::Problem(401, "no_session", "The session has ended.");
  }
  caller = {session->GetValUserID(), session->GetValUserName()};
  if (!MayUpload(request.session)) {
    return HttpResponse::Problem(403, "permission_required", "This needs the permission to add or to change evidence.");
  }
  const auto version = platform::FieldOf(request.headers, "tus-resumable");
  if (!version || *version == kTusVersion) return std::nullopt;
  auto response = HttpResponse::Problem(412, "other_version", "The version of the upload protocol is 1.0.0.");
  response.headers = {{"Tus-Version", kTusVersion}, {"Tus-Resumable", kTusVersion}};
  return response;
}

/// The file that is opened, of what the client tells and who he is.
FileRow FileOf(const Caller& caller, const HttpRequest& request) {
  FileRow file;
  file.received_by = caller.id;
  file.received_by_name = caller.name;
  file.address = request.client_address;
  return file;
}

void AddOffset(HttpResponse& response, const Uploads::Result& result) {
  response.headers.emplace_back("Upload-Offset", std::to_string(result.offset));
  response.headers.emplace_back("Tus-Resumable", kTusVersion);
}

HttpResponse Created(const Uploads::Result& result) {
  FileRow file;
  const bool is_read = FileTable::Read(file, result.file.id) == FileTable::Found::kYes;
  auto response = HttpResponse::Json(201, Describe(is_read ? file : result.file).Text());
  response.headers.emplace_back("Location", PathOf(result.file.id));
  AddOffset(response, result);
  return response;
}

HttpResponse Open(const FileParts& parts, const HttpRequest& request) {
  Caller caller;
  if (auto refusal = Refusal(caller, request)) return *std::move(refusal);
  platform::HttpFields texts;
  std::string fault;
  if (platform::FieldOf(request.headers, "upload-length")) {
    const auto length = platform::NumberIn(request.headers, "upload-length");
    if (!length) return BadRequest("Upload-Length must be a number of bytes.");
    fault = TextsOfMetadata(texts, platform::FieldOf(request.headers, "upload-metadata").value_or(""));
    texts.emplace_back("bytes", std::to_string(*length));
  } else {
    fault = TextsOfJson(texts, request.body);
  }
  if (!fault.empty()) return BadRequest(std::move(fault));
  auto file = FileOf(caller, request);
  fault = ReadNewFile(file, texts);
  if (fault.empty() && file.bytes < 0) fault = "bytes is missing.";
  if (!fault.empty()) return Unprocessable(std::move(fault));
  const auto result = parts.uploads.Open(std::move(file));
  NoteUpload(request.session, result);
  const bool is_open = result.outcome == Outcome::kMore || result.outcome == Outcome::kWhole;
  return is_open ? Created(result) : ProblemOf(result);
}

HttpResponse Append(const FileParts& parts, const HttpRequest& request) {
  Caller caller;
  if (auto refusal = Refusal(caller, request)) return *std::move(refusal);
  const auto id = IdOf(request);
  if (!id) return NoSuchFile();
  const auto offset = platform::NumberIn(request.headers, "upload-offset");
  if (!offset) return BadRequest("Upload-Offset must be a number of bytes.");
  if (!rest::HasMediaType(request, {kOffsetType})) {
    return HttpResponse::Problem(415, "unsupported_media_type",
                                 std::string("The body must be declared as ") + kOffsetType + ".");
  }
  const auto result = parts.uploads.Append(*id, caller.id, *offset, *request.reader);
  NoteUpload(request.session, result);
  if (result.outcome != Outcome::kMore && result.outcome != Outcome::kWhole) return ProblemOf(result);
  auto response = HttpResponse::Json(204, {});
  AddOffset(response, result);
  return response;
}

/// A whole file in one request. What is not whole at its end is removed, as the client has no id to go on with.
HttpResponse Put(const FileParts& parts, const HttpRequest& request) {
  Caller caller;
  if (auto refusal = Refusal(caller, request)) return *std::move(refusal);
  auto file = FileOf(caller, request);
  auto fault = ReadNewFile(file, request.query);
  if (!fault.empty()) return Unprocessable(std::move(fault));
  const auto announced = platform::NumberIn(request.headers, "content-length");
  if (file.bytes >= 0 && announced && *announced != file.bytes) return Unprocessable("bytes is not the body's length.");
  if (announced) file.bytes = *announced;
  auto result = parts.uploads.Open(std::move(file));
  if (result.outcome != Outcome::kMore && result.outcome != Outcome::kWhole) return ProblemOf(result);
  const auto id = result.file.id;
  if (result.outcome == Outcome::kMore) result = parts.uploads.Append(id, caller.id, 0, *request.reader, true);
  NoteUpload(request.session, result);
  if (result.outcome == Outcome::kWhole) return Created(result);
  if (result.outcome != Outcome::kOtherDigest && result.outcome != Outcome::kUnavailable) {
    const auto ended = parts.uploads.Cancel(id, caller.id);
    if (ended.outcome != Outcome::kEnded) FILE_MANAGER_LOG(kLogAnomaly, "File %d: its upload is removed later", id);
  }
  if (result.outcome == Outcome::kMore) result.outcome = Outcome::kCutOff;
  return ProblemOf(result);
}

HttpResponse End(const FileParts& parts, const HttpRequest& request) {
  Caller caller;
  if (auto refusal = Refusal(caller, request)) return *std::move(refusal);
  const auto id = IdOf(request);
  if (!id) return NoSuchFile();
  const auto result = parts.uploads.Cancel(*id, caller.id);
  if (result.outcome == Outcome::kWhole) {
    return HttpResponse::Problem(409, "file_whole", "The file is whole and is kept.");
  }
  if (result.outcome != Outcome::kEnded) return ProblemOf(result);
  auto response = HttpResponse::Json(204, {});
  response.headers.emplace_back("Tus-Resumable", kTusVersion);
  return response;
}

}  // namespace

bool RegisterUploadRoutes(platform::IHttpRoutes& routes, const Parts& parts) {
  using platform::HttpPool;
  struct Row {
    const char* method;
    std::string path;
    HttpPool pool;
    std::uint64_t body_limit;
    bool streams;
    HttpResponse (*run)(const FileParts& parts, const HttpRequest& request);
  };
  const auto one = std::string(kFilesPath) + "/{id}";
  const auto limit = static_cast<std::uint64_t>(parts->file_max_bytes);
  const Row kRows[] = {
      {"POST", kFilesPath, HttpPool::kRequests, kDescriptionLimit, false, &Open},
      {"PUT", kFilesPath, HttpPool::kStreams, limit, true, &Put},
      {"PATCH", one, HttpPool::kStreams, limit, true, &Append},
      {"DELETE", one, HttpPool::kRequests, kDescriptionLimit, false, &End},
  };
  return std::ranges::all_of(kRows, [&](const Row& row) {
    platform::HttpRoute route;
    route.method = row.method;
    route.path = row.path;
    route.pool = row.pool;
    route.body_limit = row.body_limit;
    route.streams = row.streams;
    route.run = GuardRoute([parts, run = row.run](const HttpRequest& request) { return run(*parts, request); });
    return routes.Register(std::move(route));
  });
}

}  // namespace FileManager
