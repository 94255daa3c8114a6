#include "RecordRoutes.h"

#include <limits>
#include <optional>
#include <utility>

#include "Barrier.h"
#include "EvidencePlugin.h"
#include "Patch.h"
#include "Problems.h"
#include "RecordStore.h"
#include "platform/Turns.h"
#include "rest/Conditions.h"

namespace desk {
namespace {

using platform::HttpRequest;
using platform::HttpResponse;
using platform::Json;
using RecordStore::Found;

constexpr std::uint64_t kBodyLimit = std::uint64_t{8} << 20;
constexpr char kMergePatch[] = "application/merge-patch+json";
constexpr char kJson[] = "application/json";

struct Loaded {
  Record record;
  Names names;
};

/// Why an operation ends here; none when it goes on.
using Ended = std::optional<HttpResponse>;

Ended Ends(const std::optional<Fault>& fault) {
  if (!fault) return std::nullopt;
  return Unprocessable(fault->code, fault->detail);
}

/// The id in the path; none for what cannot be one.
std::optional<std::int32_t> IdOf(const HttpRequest& request) {
  const auto number = request.NumberOf("id");
  if (!number || *number > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(*number);
}

/// A read that failed. The plugin answers alike when there is no such evidence and when the database is away, and
/// refuses a read of its own form only for want of memory.
HttpResponse ReadProblem(const EvidencePlugin::Answer& answer, std::int32_t evidence_id) {
  if (answer.is_empty || answer.pair == ErrorPair{0, kBadInput}) return Unavailable();
  if (answer.pair != ErrorPair{0, kNoSuchEvidence}) return ProblemOfPair(answer.pair);
  Loaded unused;
  return RecordStore::Read(unused.record, unused.names, evidence_id) == Found::kNo ? NoSuchEvidence() : Unavailable();
}

/// Fills the name of the type, unless `type_id` is the one that it has already.
Ended NameType(Names& names, std::int32_t type_id, const std::string& session) {
  EvidencePlugin::Answer answer;
  const auto types = EvidencePlugin::ReadTypes(answer, session);
  if (!types) return ProblemOfPair(answer.pair);
  const auto found = types->find(type_id);
  names.type = found == types->end() ? std::string() : found->second;
  return std::nullopt;
}

Ended NameAttributes(Names& names, const std::string& session) {
  EvidencePlugin::Answer answer;
  auto attributes = EvidencePlugin::ReadAttributes(answer, session);
  if (!attributes) return ProblemOfPair(answer.pair);
  names.attributes = std::move(*attributes);
  return std::nullopt;
}

/// Reads an evidence: whether this session may, and what only the plugin knows, from the plugin, all else from its row.
Ended Load(Loaded& loaded, const std::string& session, std::int32_t evidence_id) {
  const auto answer = EvidencePlugin::ReadOne(session, evidence_id);
  const auto* const evidence = answer.Succeeded() ? answer.data.Find("Evidence") : nullptr;
  if (evidence == nullptr) return ReadProblem(answer, evidence_id);
  auto& [record, names] = loaded;
  const auto found = RecordStore::Read(record, names, evidence_id);
  if (found != Found::kYes) return found == Found::kNo ? NoSuchEvidence() : Unavailable();
  if (const auto* const creator = evidence->Find("Creator")) {
    record.creator_name = EvidencePlugin::TextIn(*creator, "Name");
  }
  const auto* const type = evidence->Find("EvidenceType");
  // The plugin leaves out the name of type 0.
  const bool is_named =
      type != nullptr && record.type_id != 0 && EvidencePlugin::NumberIn(*type, "ID") == record.type_id;
  if (is_named) names.type = EvidencePlugin::TextIn(*type, "Name");
  if (!is_named && record.type_id != -1) {
    if (auto ended = NameType(names, record.type_id, session)) return ended;
  }
  return record.values.empty() ? std::nullopt : NameAttributes(names, session);
}

HttpResponse Whole(unsigned status, const Loaded& loaded) {
  auto response = HttpResponse::Json(status, Describe(loaded.record, loaded.names).Text());
  response.headers = {{"ETag", rest::ETagOf(loaded.record.digest)}, {"Cache-Control", "private, no-cache"}};
  return response;
}

HttpResponse Get(const HttpRequest& request) {
  const auto id = IdOf(request);
  if (!id) return NoSuchEvidence();
  Loaded loaded;
  if (auto ended = Load(loaded, request.session, *id)) return *std::move(ended);
  auto whole = Whole(200, loaded);
  const auto known = platform::FieldOf(request.headers, "if-none-match");
  if (!known || !rest::IsNoneMatched(*known, rest::ETagOf(loaded.record.digest))) return whole;
  auto response = HttpResponse::Json(304, {});
  response.headers = std::move(whole.headers);
  return response;
}

HttpResponse WrongMediaType(const char* types) {
  auto response = HttpResponse::Problem(415, "unsupported_media_type",
                                        std::string("The body must be JSON and be declared as ") + types + ".");
  response.headers = {{"Accept-Patch", kMergePatch}, {"Accept-Post", kJson}};
  return response;
}

Ended ReadBody(Json& body, const HttpRequest& request) {
  std::string fault;
  auto parsed = Json::Parse(request.body, fault);
  if (!parsed) return BadRequest("The body is no JSON object: " + fault + ".");
  body = *std::move(parsed);
  return std::nullopt;
}

/// The record of somebody else's change, so that the caller sees both.
HttpResponse Changed(const HttpRequest& request, const Loaded& loaded) {
  auto response = Whole(412, loaded);
  response.content_type = "application/problem+json";
  response.body = Json(Json::Object{{"type", "about:blank"},
                                    {"title", "Precondition Failed"},
                                    {"status", 412},
                                    {"detail", "The evidence has changed. It is now as in current."},
                                    {"code", "changed"},
                                    {"request_id", request.request_id},
                                    {"current", Describe(loaded.record, loaded.names)}})
                      .Text();
  return response;
}

/// Fills the names that `changed`, which was `before`, has.
Ended Name(Loaded& changed, const Record* before, const Json& body, const std::string& session) {
  auto& [record, names] = changed;
  if (before == nullptr || before->type_id != record.type_id) {
    if (auto ended = NameType(names, record.type_id, session)) return ended;
  }
  if (!RecordStore::ReadNames(names, record.scene_id, record.outcome_id)) return Unavailable();
  return body.Find(kAttributes) == nullptr ? std::nullopt : NameAttributes(names, session);
}

/// Sets in `loaded` what the body asks for, and ends unless it then is all of that.
Ended Merge(Loaded& loaded, const Record* before, const Json& body, const HttpRequest& request, Settable allowed) {
  if (auto ended = Ends(Apply(loaded.record, body, allowed))) return ended;
  if (auto ended = Name(loaded, before, body, request.session)) return ended;
  const auto where = Disagreement(body, Describe(loaded.record, loaded.names));
  if (where.empty()) return std::nullopt;
  return Unprocessable("not_its_name", "The field " + where + " is not what belongs to the id beside it.");
}

HttpResponse Patch(const HttpRequest& request) {
  if (!rest::HasMediaType(request, {kMergePatch, kJson})) return WrongMediaType(kMergePatch);
  const auto condition = platform::FieldOf(request.headers, "if-match");
  if (!condition) {
    return HttpResponse::Problem(428, "if_match_missing",
                                 "If-Match must say which version of the evidence is changed: its ETag.");
  }
  const auto id = IdOf(request);
  if (!id) return NoSuchEvidence();
  Json body;
  if (auto ended = ReadBody(body, request)) return *std::move(ended);
  // Of the same kind and id as the plugin's own turn, which this thread then has, too.
  const platform::Turn turn(platform::TurnKind::kEvidence, {*id});
  if (!turn) return HttpResponse::Problem(503, "busy", "Other changes of the evidence took longer than 10 s.");
  Loaded loaded;
  if (auto ended = Load(loaded, request.session, *id)) return *std::move(ended);
  if (!rest::IsMatched(*condition, rest::ETagOf(loaded.record.digest))) return Changed(request, loaded);
  const auto before = loaded.record;
  if (auto ended = Merge(loaded, &before, body, request, Settable::kAlways)) return *std::move(ended);
  const auto answer = EvidencePlugin::Change(request.session, loaded.record);
  if (!answer.Succeeded()) return answer.is_empty ? Unavailable() : ProblemOfPair(answer.pair);
  Loaded changed;
  // Done, whether it can be read again or not.
  return Load(changed, request.session, *id) ? HttpResponse::Json(204, {}) : Whole(200, changed);
}

HttpResponse Post(const HttpRequest& request) {
  if (!rest::HasMediaType(request, {kJson})) return WrongMediaType(kJson);
  Json body;
  if (auto ended = ReadBody(body, request)) return *std::move(ended);
  Loaded wanted;
  if (auto ended = Merge(wanted, nullptr, body, request, Settable::kAtCreation)) return *std::move(ended);
  const auto answer = EvidencePlugin::Create(request.session, wanted.record);
  if (answer.is_empty) {
    return HttpResponse::Problem(
        500, "no_history", "The evidence was created, but its history could not be written. Search for its guid.");
  }
  const auto* const evidence = answer.data.Find("Evidence");
  if (!answer.Succeeded() || evidence == nullptr) return ProblemOfPair(answer.pair);
  const auto id = EvidencePlugin::NumberIn(*evidence, "ID");
  Loaded created;
  auto response = Load(created, request.session, id) ? HttpResponse::Json(201, Json(Json::Object{{"id", id}}).Text())
                                                     : Whole(201, created);
  response.headers.emplace_back("Location", "/platform/v1/evidence/" + std::to_string(id));
  return response;
}

}  // namespace

bool RegisterRecordRoutes(platform::IHttpRoutes& routes) {
  struct Row {
    const char* method;
    const char* path;
    std::uint64_t body_limit;
    HttpResponse (*run)(const HttpRequest&);
  };
  constexpr Row kRows[] = {
      {"GET", "/platform/v1/evidence/{id}", 0, Get},
      {"PATCH", "/platform/v1/evidence/{id}", kBodyLimit, Patch},
      {"POST", "/platform/v1/evidence", kBodyLimit, Post},
  };
  bool done = true;
  for (const auto& row : kRows) {
    platform::HttpRoute route;
    route.method = row.method;
    route.path = row.path;
    route.body_limit = row.body_limit;
    route.run = GuardRoute(row.run);
    done = routes.Register(std::move(route)) && done;
  }
  return done;
}

}  // namespace desk
