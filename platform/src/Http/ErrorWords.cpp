#include "platform/ErrorWords.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

constexpr unsigned kBadRequest = 400;
constexpr unsigned kUnauthorized = 401;
constexpr unsigned kForbidden = 403;
constexpr unsigned kNotFound = 404;
constexpr unsigned kMethodNotAllowed = 405;
constexpr unsigned kConflict = 409;
constexpr unsigned kUnprocessable = 422;
constexpr unsigned kTooManyRequests = 429;
constexpr unsigned kInternal = 500;
constexpr unsigned kBadGateway = 502;
constexpr unsigned kUnavailable = 503;

/// Sorted by module and code.
constexpr ErrorWords kWords[] = {
    {0, 1, kBadRequest, "something required is missing",
     "a list needs Filter, a history write a body: send it; else the file manager does not run, or the host stops: "
     "retry, then check the log"},
    {0, 2, kBadRequest, "bad input",
     "not JSON, no body, a key missing, too long, out of range or with control characters, over a limit of one "
     "request (the log names the limit and both numbers), a deletion without its confirmation: correct it, repeating "
     "does not help; a read that found more than the server's memory has room for: ask for smaller pages"},
    {0, 6, kMethodNotAllowed, "method not served on custom attributes", "see the table of routes"},
    {0, 8, kMethodNotAllowed, "method not served on this path", "see the table of routes"},
    {0, 10, kForbidden, "no permission", "get it granted; it holds within 5 s"},
    {0, 15, kUnavailable, "database statement failed",
     "the database rejected a statement or is unavailable, or other changes of the evidence took longer than 10 s: "
     "check /ready, retry when it is back; a create may have been stored in part: it then answers 9805, and can be "
     "read"},
    {0, 54, kInternal, "out of memory", "retry; ask for smaller pages"},
    {0, 200, kUnauthorized, "session ended during the request",
     "log in again, and read what was done before repeating"},
    {0, 201, kForbidden, "confirmation: wrong name or password",
     "ask the user again; RemainTimes is the number of tries left"},
    {0, 206, kTooManyRequests, "confirmation: user frozen", "wait until the freeze lifts (30 minutes)"},
    {0, 210, kForbidden, "confirmation: account disabled", "another user must confirm"},
    {0, 211, kForbidden, "confirmation: account expired", "not returned by this host"},
    {0, 212, kForbidden, "confirmation: password expired", "not returned by this host"},
    {0, 213, kUnprocessable, "confirmation: password cannot be decrypted",
     "no try was counted: encrypt it with the SessionKey of the same login, or let POST /platform/v1/session/sealed do "
     "it"},
    {0, 214, kForbidden, "confirmation: wrong kind of account", "not returned by this host"},
    {0, 252, kInternal, "a stored secret cannot be encrypted", "check the log and the key file"},
    {0, 253, kInternal, "a stored secret cannot be decrypted", "check the log and the key file"},
    {0, 262, kTooManyRequests, "confirmation: client address frozen", "wait, or use another machine"},
    {0, 9804, kNotFound, "no such evidence",
     "read the list again; the same while the database is unavailable: check /ready"},
    {0, 9805, kConflict, "guid in use", "use a new guid; after a repeated create read the evidence that has it"},
    {0, 9807, kUnprocessable, "more than 128 files on one evidence",
     "files to be unlinked count as well: unlink files first, or spread them over evidences"},
    {0, 9808, kConflict, "name of a type in use", "choose another"},
    {0, 9809, kNotFound, "no such type", "read the types again"},
    {0, 9810, kUnprocessable, "more than 128 types", "delete some"},
    {0, 9820, kUnavailable, "plugin not running", "not yet, or no longer: wait for /ready"},
    {0, 9999, kUnprocessable, "some files failed",
     "a batch link: see EvidenceErrorList, correct and repeat those, the others succeeded; a deletion: the file "
     "manager "
     "refused a file, the evidences are deleted, and the files of this evidence and of those after it are still "
     "linked: "
     "repeat the deletion when the file manager accepts the file"},
    {0, 10002, kBadRequest, "bad batch link",
     "the body cannot be read, names no files or (POST) no evidences, or too many pairs: correct it"},
    {0, 99999, kUnprocessable, "some entries failed", "see the list of errors: correct those, the others succeeded"},
    {0, 120002, kUnprocessable, "cameras of several devices",
     "upload by WIFI from cameras of several devices, or of none: create one evidence per device"},
    {0, 120003, kUnprocessable, "camera of a Roamlink device that is not mobile", "leave it out"},
    {0, 120004, kUnprocessable, "100000 evidences", "delete some"},
    {0, 120005, kUnprocessable, "100000 different labels", "use existing labels"},
    {0, 120010, kNotFound, "no such custom attribute", "read the attributes again"},
    {0, 120012, kUnprocessable, "too many custom attributes or options",
     "more than 5 attributes, or 1000 options of one: delete some"},
    {0, 120013, kConflict, "name of a custom attribute in use", "choose another"},
    {31, 1, kUnprocessable, "file manager: call not readable", "a file id below 0: correct the ids"},
    {31, 2, kUnavailable, "file manager: table not written", "retry when /ready succeeds"},
    {31, 3, kUnprocessable, "file manager: file refused",
     "it is listed in the file manager's settings: leave it out and send the others again"},
    {31, 4, kBadGateway, "file manager: internal error", "check the log"},
};

}  // namespace

std::span<const ErrorWords> AllErrorWords() { return kWords; }

const ErrorWords* FindErrorWords(std::int64_t module, std::int64_t code) {
  const auto* const found = std::ranges::find_if(
      kWords, [module, code](const ErrorWords& row) { return row.module == module && row.code == code; });
  return found == std::end(kWords) ? nullptr : found;
}

}  // namespace platform
