#include "requests/RequestLog.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "HostLog.h"
#include "OrvBase/TimeUtil.h"
#include "platform/Guard.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kInterval{200};
constexpr std::chrono::seconds kRetryAfter{1};
constexpr std::chrono::seconds kLongestWait{1};
/// So much is written at once, and without waiting for the interval.
constexpr std::size_t kRowsOfABatch = 1000;
/// A request with so many ids takes another place in the queue.
constexpr std::size_t kIdsOfAPlace = 16;

std::size_t Weight(const NotedRequest& request) { return 1 + request.ids.all.size() / kIdsOfAPlace; }

/// "2026-11-22 21:40:00.123456Z"
std::string UtcText(std::chrono::system_clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const auto rest = std::chrono::floor<std::chrono::microseconds>(time - seconds).count();
  const auto fraction = std::to_string(1'000'000 + rest);
  return Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(std::chrono::system_clock::to_time_t(seconds)) + "." +
         fraction.substr(1) + "Z";
}

std::string ArrayText(const std::vector<std::int64_t>& numbers) {
  std::string text = "{";
  for (const auto number : numbers)
    text.append(text.size() > 1 ? "," : "").append(std::to_string(number));
  return text + "}";
}

void AddRow(platform::CopyRows& rows, const NotedRequest& request, std::int64_t id) {
  rows.Add(UtcText(request.answered_at));
  rows.Add(std::to_string(id));
  rows.Add(std::to_string(request.user_id));
  for (const auto* const text : {&request.user_name, &request.session, &request.client_address, &request.request_id,
                                 &request.method, &request.path})
    rows.Add(*text);
  rows.Add(ArrayText(request.ids.all));
  rows.Add(ArrayText(request.ids.evidences));
  rows.Add(std::to_string(request.status));
  if (request.pair) {
    rows.Add(std::to_string(request.pair->module));
    rows.Add(std::to_string(request.pair->code));
  } else {
    rows.AddNull();
    rows.AddNull();
  }
  rows.Add(std::to_string(request.bytes_in));
  rows.Add(std::to_string(request.bytes_out));
  rows.EndRow();
}

void LogRow(const NotedRequest& request, std::int64_t id) {
  const auto log = [&] {
    platform::CopyRows row;
    AddRow(row, request, id);
    const auto& text = row.text();
    LogHost(kLogFatal, "not noted: %.*s", static_cast<int>(text.size() - 1), text.c_str());
    return true;
  };
  platform::Guard(log, [](const char* reason) {
    LogHost(kLogFatal, "a request was not noted: %s", reason != nullptr ? reason : "unknown");
    return false;
  });
}

}  // namespace

RequestLog::RequestLog(const std::string& connection, std::size_t queue, What what)
    : limit_(queue), what_(what), database_(connection) {
  // So that the thread takes a batch without memory.
  batch_.requests.reserve(kRowsOfABatch);
  thread_ = std::jthread([this](const std::stop_token& stop) { Work(stop); });
}

RequestLog::~RequestLog() { Close(); }

void RequestLog::Close() {
  thread_.request_stop();
  {
    std::unique_lock lock(mutex_);
    const bool ended = written_.wait_for(lock, kLongestClose, [this] { return closed_; });
    if (!ended) GiveUpAll();
  }
  if (thread_.joinable()) thread_.join();
}

bool RequestLog::HasRoom() {
  std::unique_lock lock(mutex_);
  if (weight_ < limit_ || !failing_) return true;
  const auto waiting = queue_.size() + batch_.requests.size();
  const bool say = !std::exchange(said_full_, true);
  lock.unlock();
  if (say) {
    LogHost(kLogFailure, "%zu requests wait to be noted in the database: until it takes them, no more of them begin",
            waiting);
  }
  return false;
}

bool RequestLog::WaitForRoom() {
  std::unique_lock lock(mutex_);
  if (weight_ < limit_) return true;
  written_.wait_for(lock, kLongestWait, [this] { return weight_ < limit_ || failing_; });
  return weight_ < limit_;
}

void RequestLog::Note(NotedRequest request) noexcept {
  const auto note = [&] {
    const std::lock_guard lock(mutex_);
    if (closed_) {
      LogRow(request, 0);
      return true;
    }
    const auto weight = Weight(request);
    queue_.push_back(std::move(request));
    weight_ += weight;
    // The thread sleeps, or waits for more.
    if (queue_.size() == 1 || queue_.size() == kRowsOfABatch) wake_.notify_one();
    return true;
  };
  platform::Guard(note, [](const char* reason) {
    LogHost(kLogFatal, "a request was not noted: %s", reason != nullptr ? reason : "unknown");
    return false;
  });
}

void RequestLog::Work(const std::stop_token& stop) {
  while (TakeBatch(stop) && WriteUntil(stop)) {
  }
  const std::lock_guard lock(mutex_);
  if (!closed_) GiveUpAll();
  written_.notify_all();
}

/// The caller holds the mutex.
void RequestLog::StartBatch() {
  batch_.requests.clear();
  batch_.first_id = 0;
  batch_.in_doubt = false;
}

/// Waits until there is something to write, and for more of it. False when there is nothing and will be nothing.
bool RequestLog::TakeBatch(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  StartBatch();
  wake_.wait(lock, stop, [this] { return !queue_.empty(); });
  if (queue_.empty()) return false;
  wake_.wait_for(lock, stop, kInterval, [this] { return queue_.size() >= kRowsOfABatch; });
  const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(std::min(queue_.size(), kRowsOfABatch));
  batch_.requests.assign(std::make_move_iterator(queue_.begin()), std::make_move_iterator(end));
  queue_.erase(queue_.begin(), end);
  return true;
}

/// Writes the batch, however often that takes. False when the last try, after a stop was asked for, has failed.
bool RequestLog::WriteUntil(const std::stop_token& stop) {
  for (;;) {
    const bool is_last = stop.stop_requested();
    const bool written =
        platform::Guard([this] { return Write(); },
                        [](const char* reason) {
                          LogHost(kLogFailure, "requests cannot be noted: %s", reason != nullptr ? reason : "unknown");
                          return false;
                        });
    NoteOutcome(written);
    if (written || is_last) return written;
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, stop, kRetryAfter, [] { return false; });
  }
}

constexpr char kSqlAddRequests[] = "COPY platform.request_log FROM STDIN";

bool RequestLog::Write() {
  if (batch_.in_doubt && IsWritten()) return true;
  if (batch_.first_id == 0 && !DrawIds()) return false;
  platform::CopyRows rows;
  auto id = batch_.first_id;
  for (const auto& request : batch_.requests)
    AddRow(rows, request, id++);
  // Also when the server refuses them as being there already: a lost connection may have committed them since.
  {
    const std::lock_guard lock(mutex_);
    batch_.in_doubt = true;
  }
  return database_.Copy(kSqlAddRequests, rows) == platform::CopySession::End::kCommitted;
}

bool RequestLog::DrawIds() {
  const auto wanted = static_cast<std::int64_t>(batch_.requests.size());
  const auto ids = database_.Row(
      "SELECT min(id), max(id) FROM (SELECT nextval('platform.request_log_id_seq') AS id FROM generate_series(1, " +
      std::to_string(wanted) + ")) AS drawn");
  if (ids.size() != 2) return false;
  const auto first = std::strtoll(ids[0].c_str(), nullptr, 10);
  // Somebody else drew between: the numbers are left out.
  if (std::strtoll(ids[1].c_str(), nullptr, 10) - first != wanted - 1) return false;
  const std::lock_guard lock(mutex_);
  batch_.first_id = first;
  return true;
}

/// Whether the batch is in the table: it is one transaction, so that its first row tells of all.
bool RequestLog::IsWritten() {
  return !database_
              .Row("SELECT 1 FROM platform.request_log WHERE answered_at = '" +
                   UtcText(batch_.requests.front().answered_at) + "' AND id = " + std::to_string(batch_.first_id))
              .empty();
}

void RequestLog::NoteOutcome(bool written) {
  bool changed = false;
  {
    const std::lock_guard lock(mutex_);
    changed = std::exchange(failing_, !written) == written;
    if (written) {
      said_full_ = false;
      for (const auto& request : batch_.requests)
        weight_ -= Weight(request);
      StartBatch();
    }
  }
  written_.notify_all();
  if (changed && written) LogHost(kLogProgress, "requests are noted again");
  if (changed && !written) LogHost(kLogFailure, "requests cannot be noted in the database, and wait for it");
}

/// The end of the host: what the database does not take is kept where an operator can take it from. The caller holds
/// the mutex.
void RequestLog::GiveUpAll() {
  closed_ = true;
  if (batch_.requests.empty() && queue_.empty()) return;
  LogHost(kLogFatal, "%zu requests are not noted in the database%s; the rows for its COPY follow",
          batch_.requests.size() + queue_.size(), batch_.in_doubt ? ", but the first may be" : "");
  auto id = batch_.first_id;
  for (const auto& request : batch_.requests)
    LogRow(request, id == 0 ? 0 : id++);
  for (const auto& request : queue_)
    LogRow(request, 0);
  queue_.clear();
}

}  // namespace host
