#include "store/FileAnswers.h"

#include <limits>
#include <utility>

#include "Barrier.h"
#include "TarnPlatform/Log.h"

namespace FileManager {
namespace {

using platform::HttpResponse;
using platform::Json;
using Outcome = Uploads::Outcome;

/// Kinds of lines of the platform's log.
constexpr int kUploadLine = 3101;
constexpr int kDownloadLine = 3102;

struct OutcomeAnswer {
  Outcome outcome;
  unsigned status;
  const char* code;
  const char* detail;
};
constexpr OutcomeAnswer kAnswers[] = {
    {Outcome::kNoSuchFile, 404, "no_such_file", "There is no such file."},
    {Outcome::kNotYours, 403, "not_yours", "Only who opened the upload may go on with it."},
    {Outcome::kEnded, 410, "upload_ended", "The upload has ended."},
    {Outcome::kOtherOffset, 409, "other_offset", "Other bytes are there than up to this offset."},
    {Outcome::kTooLarge, 413, "file_too_large", "The file is larger than was announced, or than files may be."},
    {Outcome::kTooMany, 429, "too_many_uploads", "The user has as many unfinished uploads as one may have."},
    {Outcome::kBusy, 423, "upload_busy", "Another request still holds the upload."},
    {Outcome::kFull, 507, "no_room", "There is no room for the file at present."},
    {Outcome::kOtherDigest, 409, "other_digest",
     "The bytes have another SHA-256 than was expected; they are kept for an hour."},
    {Outcome::kCutOff, 400, "cut_off", "The body ended early; what came is kept."},
};

void AddText(Json::Object& object, const char* key, const std::string& text) {
  if (!text.empty()) object.emplace_back(key, text);
}

}  // namespace

std::string PathOf(std::int32_t id) { return std::string(kFilesPath) + "/" + std::to_string(id); }

std::optional<std::int32_t> IdOf(const platform::HttpRequest& request) {
  const auto number = request.NumberOf("id");
  if (!number || *number > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(*number);
}

Json Describe(const FileRow& file) {
  Json::Object object{{"id", file.id}};
  // A link may name what was never here.
  AddText(object, "state", file.state.empty() ? "unknown" : file.state);
  if (file.state.empty()) return object;
  AddText(object, "name", file.name);
  AddText(object, "media_type", file.media_type);
  if (file.bytes >= 0) object.emplace_back("bytes", file.bytes);
  AddText(object, "sha256", file.sha256);
  AddText(object, "expected_sha256", file.expected_sha256);
  AddText(object, "opened_at", file.opened_at);
  AddText(object, "received_at", file.received_at);
  AddText(object, "refused_at", file.refused_at);
  object.emplace_back("received_by", Json::Object{{"id", file.received_by}, {"name", file.received_by_name}});
  AddText(object, "address", file.address);
  AddText(object, "checked_at", file.checked_at);
  AddText(object, "source_begin", file.source_begin);
  AddText(object, "source_end", file.source_end);
  if (file.camera_id) object.emplace_back("camera_id", *file.camera_id);
  return object;
}

HttpResponse ProblemOf(const Uploads::Result& result) {
  auto response = Unavailable();
  for (const auto& answer : kAnswers) {
    if (answer.outcome == result.outcome) response = HttpResponse::Problem(answer.status, answer.code, answer.detail);
  }
  if (result.outcome == Outcome::kOtherOffset) {
    response.headers.emplace_back("Upload-Offset", std::to_string(result.offset));
  }
  if (result.outcome == Outcome::kBusy) response.headers.emplace_back("Retry-After", "2");
  response.headers.emplace_back("Tus-Resumable", kTusVersion);
  return response;
}

HttpResponse NoSuchFile() { return HttpResponse::Problem(404, "no_such_file", "There is no such file."); }

HttpResponse Unavailable() {
  auto response = HttpResponse::Problem(503, "unavailable", "The database or the store of files is away.");
  response.headers.emplace_back("Retry-After", "2");
  return response;
}

HttpResponse BadRequest(std::string detail) { return HttpResponse::Problem(400, "bad_request", std::move(detail)); }

HttpResponse Unprocessable(std::string detail) {
  return HttpResponse::Problem(422, "unprocessable", std::move(detail));
}

bool NoteUse(const std::string& session, bool is_upload, const FileRow& file, const std::string& what) {
  TarnPlatform::Log::COperationLogStruct line;
  line.SetVallog_type(is_upload ? kUploadLine : kDownloadLine);
  line.SetValelement_name(file.name);
  line.SetValdescription("File " + std::to_string(file.id) + ": " + what);
  if (TarnPlatform::Log::WriteLog(session, line)) return true;
  FILE_MANAGER_LOG(kLogFailure, "File %d: the line for the platform's log cannot be written: %s", file.id,
                   what.c_str());
  return false;
}

void NoteUpload(const std::string& session, const Uploads::Result& result) {
  const auto& file = result.file;
  if (!result.became_whole) return;
  static_cast<void>(
      NoteUse(session, true, file, "uploaded, " + std::to_string(file.bytes) + " bytes, SHA-256 " + file.sha256));
}

std::function<HttpResponse(const platform::HttpRequest&)> GuardRoute(
    std::function<HttpResponse(const platform::HttpRequest&)> run) {
  return [run = std::move(run)](const platform::HttpRequest& request) {
    return GuardEdge([&] { return run(request); }, [] { return Unavailable(); });
  };
}

}  // namespace FileManager
