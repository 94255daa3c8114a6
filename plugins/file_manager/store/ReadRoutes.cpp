#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "FileManagerLog.h"
#include "TarnPlatform/Authentication.h"
#include "rest/Conditions.h"
#include "store/Delivery.h"
#include "store/Digest.h"
#include "store/FileAnswers.h"
#include "store/FileFigures.h"
#include "store/FileRoutes.h"
#include "store/Ranges.h"

namespace FileManager {
namespace {

using FileTable::Found;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::Json;
using Outcome = Uploads::Outcome;
using Parts = std::shared_ptr<const FileParts>;

constexpr std::size_t kLongestTicket = 256;

bool IsHead(const HttpRequest& request) { return request.method == "HEAD"; }

bool WantsAltered(const HttpRequest& request) { return platform::FieldOf(request.query, "altered") == "1"; }

/// Reads the row of the path; an answer when there is none.
std::optional<HttpResponse> ReadRow(FileRow& file, std::optional<std::int32_t> id) {
  const auto found = id ? FileTable::Read(file, *id) : Found::kNo;
  if (found == Found::kYes) return std::nullopt;
  return found == Found::kNo ? NoSuchFile() : Unavailable();
}

/// Why the bytes of a file are not delivered; none when they are.
std::optional<HttpResponse> StateProblem(const FileRow& file, bool wants_altered) {
  if (file.state == file_state::kWhole || (file.state == file_state::kAltered && wants_altered)) return std::nullopt;
  if (file.state == file_state::kAltered) {
    return HttpResponse::Problem(409, "file_altered",
                                 "The bytes no longer have the digest of the file; altered=1 gives them as they are.");
  }
  if (file.state == file_state::kMissing)
    return HttpResponse::Problem(410, "file_missing", "The bytes of the file are lost.");
  if (file.IsReceiving()) return HttpResponse::Problem(409, "file_unfinished", "The file is still being received.");
  return HttpResponse::Problem(410, "upload_ended", "The upload was ended before the file was whole.");
}

/// What every answer with bytes of the file has. Nothing in it runs in a browser, whatever it is.
platform::HttpFields HeadersOf(const FileRow& file) {
  platform::HttpFields headers = {
      {"Accept-Ranges", "bytes"},
      {"Cache-Control", "private, no-cache"},
      {"Content-Disposition", Disposition(file.name, file.media_type, file.state == file_state::kWhole)},
      {"Content-Security-Policy", "default-src 'none'; sandbox"},
      {"X-Content-Type-Options", "nosniff"},
  };
  // Altered bytes are not what the digest says.
  if (file.state == file_state::kWhole) {
    headers.emplace_back("ETag", rest::ETagOf(file.sha256));
    headers.emplace_back("Repr-Digest", "sha-256=:" + Base64(BytesOfHex(file.sha256)) + ":");
  }
  return headers;
}

/// 412 or 304, by the conditions of the request.
std::optional<HttpResponse> ConditionAnswer(const HttpRequest& request, const FileRow& file) {
  const auto tag = rest::ETagOf(file.state == file_state::kWhole ? file.sha256 : "");
  const auto match = platform::FieldOf(request.headers, "if-match");
  if (match && !rest::IsMatched(*match, tag)) {
    return HttpResponse::Problem(412, "other_file", "The file is not the one that If-Match names.");
  }
  const auto none_match = platform::FieldOf(request.headers, "if-none-match");
  if (!none_match || !rest::IsNoneMatched(*none_match, tag)) return std::nullopt;
  auto response = HttpResponse::Json(304, {});
  response.headers = HeadersOf(file);
  return response;
}

/// What of the file is asked for: a range counts for a GET alone, and only for the very bytes that If-Range names.
std::variant<WholeFile, ByteRange, NoBytes> RangeOf(const HttpRequest& request, const FileRow& file) {
  const auto range = platform::FieldOf(request.headers, "range");
  if (!range || IsHead(request)) return WholeFile{};
  const auto condition = platform::FieldOf(request.headers, "if-range");
  if (condition && *condition != rest::ETagOf(file.sha256)) return WholeFile{};
  return ReadRange(*range, file.bytes);
}

/// The bytes are not there as they were: notes it, and says so.
HttpResponse Lost(const FileParts& parts, FileRow file) {
  const auto looked = parts.store.Check(file.sha256, [](std::string_view) { return false; });
  if (looked != StoreResult::kDone && looked != StoreResult::kMissing) return Unavailable();
  file.state = looked == StoreResult::kDone ? file_state::kAltered : file_state::kMissing;
  FILE_MANAGER_LOG(kLogFailure, "File %d is %s: SHA-256 %s", file.id, file.state.c_str(), file.sha256.c_str());
  if (!FileTable::MarkChecked(file.sha256, file.state)) return Unavailable();
  return *StateProblem(file, false);
}

/// The bytes of a file in the name of a session, which is noted before the first of them leaves.
HttpResponse Deliver(const FileParts& parts, const HttpRequest& request, const FileRow& file,
                     const std::string& session) {
  if (auto problem = StateProblem(file, WantsAltered(request))) return *std::move(problem);
  if (auto answer = ConditionAnswer(request, file)) return *std::move(answer);
  const auto asked = RangeOf(request, file);
  if (std::holds_alternative<NoBytes>(asked)) {
    auto response = HttpResponse::Problem(416, "no_bytes_in_range", "The file has no bytes in this range.");
    response.headers = {{"Content-Range", "bytes */" + std::to_string(file.bytes)}, {"Accept-Ranges", "bytes"}};
    return response;
  }
  const auto* const part = std::get_if<ByteRange>(&asked);
  const ByteRange range = part != nullptr ? *part : ByteRange{0, file.bytes - 1};
  const auto size = range.last - range.first + 1;
  IByteStore::Body body;
  const auto opened = parts.store.OpenRange(body, file.sha256, range.first, size, file.bytes);
  // Altered bytes may be of another length; then they cannot be given.
  if (opened == StoreResult::kMissing) return Lost(parts, file);
  if (opened != StoreResult::kDone) return Unavailable();
  const auto span = std::to_string(range.first) + "-" + std::to_string(range.last) + "/" + std::to_string(file.bytes);
  if (!IsHead(request) && !NoteUse(session, false, file,
                                   "downloaded, " + std::to_string(size) + " bytes, " + span +
                                       (file.state == file_state::kWhole ? "" : ", altered"))) {
    return Unavailable();
  }
  if (!IsHead(request)) FileFigures::Process().delivered.Add({}, static_cast<std::uint64_t>(size));
  HttpResponse response;
  response.status = part != nullptr ? 206 : 200;
  response.content_type = file.media_type;
  response.headers = HeadersOf(file);
  if (part != nullptr) response.headers.emplace_back("Content-Range", "bytes " + span);
  std::visit([&response](auto& what) { response.body = std::move(what); }, body);
  return response;
}

/// How much of an upload is there, for whoever opened it.
HttpResponse TellOffset(const FileParts& parts, const HttpRequest& request, const FileRow& file) {
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> session;
  if (!TarnPlatform::Authentication::GetUserSession(session, request.session)) return Unavailable();
  const auto result = parts.uploads.Look(file.id, session->GetValUserID());
  NoteUpload(request.session, result);
  if (result.outcome != Outcome::kMore && result.outcome != Outcome::kWhole) return ProblemOf(result);
  auto response = HttpResponse::Json(200, {});
  response.headers = {
      {"Upload-Offset", std::to_string(result.offset)}, {"Cache-Control", "no-store"}, {"Tus-Resumable", kTusVersion}};
  if (result.file.bytes >= 0) response.headers.emplace_back("Upload-Length", std::to_string(result.file.bytes));
  return response;
}

HttpResponse Get(const FileParts& parts, const HttpRequest& request) {
  FileRow file;
  if (auto problem = ReadRow(file, IdOf(request))) return *std::move(problem);
  const bool is_upload = file.IsReceiving() || platform::FieldOf(request.headers, "tus-resumable").has_value();
  if (IsHead(request) && is_upload) return TellOffset(parts, request, file);
  return Deliver(parts, request, file, request.session);
}

HttpResponse Info(const FileParts& /*parts*/, const HttpRequest& request) {
  FileRow file;
  if (auto problem = ReadRow(file, IdOf(request))) return *std::move(problem);
  return HttpResponse::Json(200, Describe(file).Text());
}

HttpResponse OfEvidence(const FileParts& /*parts*/, const HttpRequest& request) {
  const auto evidence = platform::NumberIn(request.query, "evidence");
  if (!evidence || *evidence > std::numeric_limits<std::int32_t>::max()) {
    return BadRequest("evidence must be the id of an evidence.");
  }
  std::vector<FileRow> files;
  if (!FileTable::OfEvidence(files, static_cast<std::int32_t>(*evidence))) return Unavailable();
  Json::List items;
  for (const auto& file : files)
    items.push_back(Describe(file));
  return HttpResponse::Json(200, Json(Json::Object{{"items", std::move(items)}}).Text());
}

HttpResponse MakeTicket(const FileParts& parts, const HttpRequest& request) {
  FileRow file;
  if (auto problem = ReadRow(file, IdOf(request))) return *std::move(problem);
  const auto expires = Tickets::Clock::now() + Tickets::kLifetime;
  const auto ticket = parts.tickets.Make({file.id, request.session, expires});
  auto response = HttpResponse::Json(
      201, Json(Json::Object{{"path", std::string(kFilesPath) + "/t/" + ticket},
                             {"seconds", static_cast<std::int64_t>(std::chrono::seconds(Tickets::kLifetime).count())}})
               .Text());
  response.headers = {{"Cache-Control", "no-store"}};
  return response;
}

/// What a ticket gives; one that is wrong, old or of a session that has ended is no path.
HttpResponse UseTicket(const FileParts& parts, const HttpRequest& request) {
  const auto refused = [] {
    return HttpResponse::Problem(404, "no_ticket", "There is no such ticket, or its time is over.");
  };
  const auto text = platform::FieldOf(request.values, "ticket").value_or("");
  if (text.size() > kLongestTicket) return refused();
  const auto ticket = parts.tickets.Check(text, Tickets::Clock::now());
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> session;
  if (!ticket || !TarnPlatform::Authentication::GetUserSession(session, ticket->session)) return refused();
  FileRow file;
  if (auto problem = ReadRow(file, ticket->file_id)) return *std::move(problem);
  auto response = Deliver(parts, request, file, ticket->session);
  // The path must not reach another site.
  response.headers.emplace_back("Referrer-Policy", "no-referrer");
  return response;
}

}  // namespace

bool RegisterReadRoutes(platform::IHttpRoutes& routes, const Parts& parts) {
  struct Row {
    const char* method;
    const char* path;
    platform::HttpAccess::Who who;
    HttpResponse (*run)(const FileParts& parts, const HttpRequest& request);
  };
  using enum platform::HttpAccess::Who;
  static constexpr Row kRows[] = {
      {"GET", "", kSession, &OfEvidence},           {"GET", "/{id}", kSession, &Get},
      {"GET", "/{id}/info", kSession, &Info},       {"POST", "/{id}/ticket", kSession, &MakeTicket},
      {"GET", "/t/{ticket}", kAnybody, &UseTicket},
  };
  return std::ranges::all_of(kRows, [&](const Row& row) {
    platform::HttpRoute route;
    route.method = row.method;
    route.path = std::string(kFilesPath) + row.path;
    route.access.who = row.who;
    if (row.run == &Get || row.run == &UseTicket) route.pool = parts->delivery;
    route.run = GuardRoute([parts, run = row.run](const HttpRequest& request) { return run(*parts, request); });
    return routes.Register(std::move(route));
  });
}

}  // namespace FileManager
