#include "accounts/AuthEventWriter.h"

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <utility>

#include "Database.h"
#include "HostLog.h"
#include "platform/Guard.h"

namespace host {
namespace {

/// How long the thread waits for more after it found nothing to do, or no database.
constexpr std::chrono::seconds kPause{2};
constexpr std::size_t kRowsOfAStatement = 500;

bool IsRefusal(const AuthEvent& event) {
  return event.kind == kEventLoginRefused || event.kind == kEventPasswordRefused;
}

AuthEvent LeftOut(const std::string& detail) { return {kEventsLeftOut, "", "", "", "", detail}; }

using Events = std::vector<AuthEvent>;

bool Store(Events::const_iterator from, Events::const_iterator to) {
  std::string rows;
  for (; from != to; ++from)
    rows += (rows.empty() ? "" : ", ") + AuthEventValues(*from);
  return Execute("INSERT INTO platform.auth_event " + std::string(kAuthEventColumns) + " VALUES " + rows);
}

/// Stores the events from the first on, and removes those that are stored. False when some are left.
bool StoreAll(Events& events) {
  while (!events.empty()) {
    const auto count = std::min(events.size(), kRowsOfAStatement);
    const auto end = events.begin() + static_cast<std::ptrdiff_t>(count);
    if (!Store(events.begin(), end)) return false;
    events.erase(events.begin(), end);
  }
  return true;
}

/// What waits for the writer.
class Queue {
 public:
  static Queue& Instance() {
    static Queue queue;
    return queue;
  }

  void Open() {
    const std::lock_guard lock(mutex_);
    is_open_ = true;
  }
  void Close() {
    const std::lock_guard lock(mutex_);
    is_open_ = false;
  }
  void Put(AuthEvent event);
  /// With those that say what was left out; at the end, of the minute that lasts too.
  Events Take(bool at_end);
  /// Until something waits and is `wanted`, a while has passed, or a stop is requested.
  void Wait(const std::stop_token& stop, bool wanted);

 private:
  std::mutex mutex_;
  std::condition_variable_any noted_;
  // Under mutex_:
  bool is_open_ = false;
  Events waiting_;
  RefusalBudget refusals_;
  RefusalBudget freezes_;
  long long lost_ = 0;
};

void Queue::Put(AuthEvent event) {
  const std::lock_guard lock(mutex_);
  if (!is_open_) return;
  const auto now = RefusalBudget::Clock::now();
  if (IsRefusal(event) && !refusals_.Takes(event.client_address, now)) return;
  if (event.kind == kEventFreeze && !freezes_.Takes(event.client_address, now)) return;
  if (waiting_.size() >= AuthEventWriter::kMostWaiting) {
    ++lost_;
    return;
  }
  waiting_.push_back(std::move(event));
  noted_.notify_one();
}

Events Queue::Take(bool at_end) {
  const auto now = RefusalBudget::Clock::now() + std::chrono::minutes(at_end ? 1 : 0);
  const std::lock_guard lock(mutex_);
  auto events = std::exchange(waiting_, {});
  if (const auto counted = refusals_.TakeCounted(now); counted > 0) {
    events.push_back(LeftOut(std::to_string(counted) + " more refused tries"));
  }
  if (const auto counted = freezes_.TakeCounted(now); counted > 0) {
    events.push_back(LeftOut(std::to_string(counted) + " more freezes"));
  }
  if (const auto lost = std::exchange(lost_, 0); lost > 0) {
    events.push_back(LeftOut(std::to_string(lost) + " events while the database was away"));
  }
  return events;
}

void Queue::Wait(const std::stop_token& stop, bool wanted) {
  std::unique_lock lock(mutex_);
  noted_.wait_for(lock, stop, kPause, [this, wanted] { return wanted && !waiting_.empty(); });
}

}  // namespace

void NoteAuthEvent(AuthEvent event) { Queue::Instance().Put(OfThisRequest(std::move(event))); }

bool RefusalBudget::Takes(const std::string& client_address, Clock::time_point now) {
  if (IsOver(now)) {
    begin_ = now;
    listed_.clear();
    all_ = 0;
  }
  if (all_ < kOfAll && listed_[client_address] < kOfAddress) {
    ++listed_[client_address];
    ++all_;
    return true;
  }
  ++counted_;
  return false;
}

long long RefusalBudget::TakeCounted(Clock::time_point now) { return IsOver(now) ? std::exchange(counted_, 0) : 0; }

AuthEventWriter::AuthEventWriter() {
  Queue::Instance().Open();
  thread_ = std::jthread([this](const std::stop_token& stop) { Work(stop); });
}

AuthEventWriter::~AuthEventWriter() {
  Queue::Instance().Close();
  thread_.request_stop();
  thread_.join();
  auto last = Queue::Instance().Take(true);
  taken_.insert(taken_.end(), std::make_move_iterator(last.begin()), std::make_move_iterator(last.end()));
  const bool stored = platform::Guard([this] { return StoreAll(taken_); }, [](const char*) { return false; });
  if (!stored) LogHost(kLogFailure, "%zu events of logins and accounts were not stored", taken_.size());
}

void AuthEventWriter::Work(const std::stop_token& stop) {
  const auto store = [this] {
    if (taken_.empty()) taken_ = Queue::Instance().Take(false);
    return StoreAll(taken_);
  };
  while (!stop.stop_requested()) {
    const bool stored = platform::Guard(store, [](const char*) { return false; });
    Queue::Instance().Wait(stop, stored);
  }
}

}  // namespace host
