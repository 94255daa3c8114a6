#include "requests/NotedTask.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace host {
namespace {

constexpr unsigned kCreated = 201;
constexpr unsigned kUnavailable = 503;
constexpr std::size_t kLongestPath = 1024;

/// Filled by the thread that runs the task, and taken by the one that answers.
struct Pending {
  std::mutex mutex;
  NotedRequest request;
  bool was_refused = false;
};

/// The id of what it makes stands in its answer; what its body has as an id counts for nothing.
bool IsCreation(const NotedRequest& request) {
  return request.method == "POST" && (request.path.ends_with("/Evidence") || request.path.ends_with("/evidence"));
}

void AddIdsOfAnswer(NamedIds& ids, const HttpAnswer& answer) {
  if (answer.status == kCreated) {
    const auto location = platform::FieldOf(answer.headers, "Location");
    if (location && location->starts_with('/')) AddIdsOfPath(ids, *location);
  }
  AddIdOfAnswer(ids, answer.body);
}

}  // namespace

HttpAnswer NotNoted() {
  auto answer = ErrorAnswer(kUnavailable, "the request cannot be noted at present");
  answer.retry_after_s = 1;
  return answer;
}

void NoteTask(std::shared_ptr<RequestLog> log, HttpTask& task, NotedRequest request) {
  AddIdsOfPath(request.ids, request.path);
  const bool names_others = request.ids.all.empty() && task.kind == platform::Call::Kind::kWrites;
  const bool has_list = names_others && !IsCreation(request);
  request.path.resize(std::min(request.path.size(), kLongestPath));
  const auto pending = std::make_shared<Pending>();
  pending->request = std::move(request);
  task.run = [log, pending, has_list, run = std::move(task.run)](std::string body, platform::HttpBodyReader* reader) {
    if (!log->WaitForRoom()) {
      const std::lock_guard lock(pending->mutex);
      pending->was_refused = true;
      return NotNoted();
    }
    if (has_list) {
      NamedIds ids;
      AddIdsOfBody(ids, body);
      const std::lock_guard lock(pending->mutex);
      pending->request.ids = std::move(ids);
    }
    return run(std::move(body), reader);
  };
  task.ended = [log = std::move(log), pending, names_others](const HttpAnswer& answer, std::uint64_t bytes_in) {
    const std::lock_guard lock(pending->mutex);
    if (pending->was_refused) return;
    auto& noted = pending->request;
    if (names_others) AddIdsOfAnswer(noted.ids, answer);
    noted.answered_at = std::chrono::system_clock::now();
    noted.status = answer.status;
    noted.pair = PairOf(answer.body);
    noted.bytes_in = bytes_in;
    noted.bytes_out = answer.file ? answer.file->size() : answer.body.size();
    log->Note(std::move(noted));
  };
}

}  // namespace host
