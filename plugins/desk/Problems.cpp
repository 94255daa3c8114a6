#include "Problems.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace desk {
namespace {

using platform::HttpResponse;

struct PairWords {
  std::int64_t code;
  unsigned status;
  const char* word;
  const char* sentence;
};

/// What reads, changes and creations answer with; the module is 0.
constexpr PairWords kPairs[] = {
    {1, 503, "unavailable", "The evidences are not served at present."},
    {kBadInput, 422, "bad_input", "A field is missing, too long, out of range or has control characters."},
    {10, 403, "no_permission", "This needs a permission that the user does not have."},
    {15, 503, "database_unavailable",
     "The database rejected a statement or is unavailable, or other changes of the evidence took longer than 10 s. "
     "Read what became of it before repeating."},
    {200, 401, "session_ended", "The session ended during the request."},
    {kNoSuchEvidence, 404, "no_such_evidence", "There is no such evidence."},
    {9805, 422, "guid_in_use", "The guid is in use by another evidence."},
    {9820, 503, "unavailable", "The evidences are not served at present."},
    {120002, 422, "cameras_on_several_devices", "The cameras belong to several devices, or to none."},
    {120003, 422, "roamlink_camera", "A camera belongs to a Roamlink device that is not mobile."},
    {120004, 422, "too_many_evidences", "There are as many evidences as there may be."},
    {120005, 422, "too_many_labels", "There are as many different labels as there may be."},
};

}  // namespace

HttpResponse ProblemOfPair(const ErrorPair& pair) {
  const auto* const found = std::ranges::find(kPairs, pair.code, &PairWords::code);
  if (pair.module == 0 && found != std::end(kPairs)) {
    return HttpResponse::Problem(found->status, found->word, found->sentence);
  }
  return HttpResponse::Problem(
      500, "internal_error", "Error " + std::to_string(pair.code) + " of module " + std::to_string(pair.module) + ".");
}

HttpResponse BadRequest(std::string detail) { return HttpResponse::Problem(400, "bad_request", std::move(detail)); }

HttpResponse Unprocessable(std::string code, std::string detail) {
  return HttpResponse::Problem(422, std::move(code), std::move(detail));
}

HttpResponse NoSuchEvidence() { return ProblemOfPair({0, kNoSuchEvidence}); }

HttpResponse Unavailable() {
  return HttpResponse::Problem(503, "unavailable", "The evidences cannot be read at present.");
}

}  // namespace desk
