#include "http/Admission.h"

#include <malloc.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using Size = platform::MemoryBudget::Size;

/// Any request: its head, its small records and a short answer.
constexpr std::size_t kBase = 32UL * 1024;
constexpr std::size_t kSmall = 1024UL * 1024;

/// What the bytes of a body become at the peak, measured with bodies of 8 MiB: a change has its body, the tree, the
/// record, its statement and the library's copy of that. Small values, `{},` over and over, take more, but there are
/// at most 250000 of them.
struct Cost {
  std::size_t text;
  std::size_t dense;
};
constexpr Cost kReads{5, 16};
constexpr Cost kWrites{12, 64};
constexpr std::size_t kDenseBytes = 3UL * 250'000;

/// Requests that held more leave memory that is worth giving back.
constexpr std::size_t kBulky = 4UL * 1024 * 1024;
constexpr std::chrono::seconds kPeriod{1};

struct Waiter {
  platform::MemoryShare* share;
  std::size_t bytes;
  Clock::time_point deadline;
  Admission::Later later;
};

const Cost& CostOf(platform::Call::Kind kind) { return kind == platform::Call::Kind::kReads ? kReads : kWrites; }

Size SizeOf(std::size_t bytes) { return bytes <= kSmall ? Size::kSmall : Size::kLarge; }

}  // namespace

std::size_t MemoryFor(platform::Call::Kind kind, std::size_t body) {
  const auto& cost = CostOf(kind);
  return kBase + std::max(cost.text * body, cost.dense * std::min(body, kDenseBytes));
}

std::size_t LargestBody(platform::Call::Kind kind) {
  const auto most = platform::MemoryBudget::Process().Most(Size::kLarge);
  const auto& cost = CostOf(kind);
  const auto room = most - std::min(most, kBase);
  return room / (room < cost.dense * kDenseBytes ? cost.dense : cost.text);
}

struct Admission::State {
  explicit State(std::chrono::milliseconds longest_wait) : patience(longest_wait) {}

  const std::chrono::milliseconds patience;
  std::mutex mutex;
  std::condition_variable_any wake;
  std::list<Waiter> waiters;
  bool has_bulk = false;

  /// Whether one of this size would get room for which another waits already. With the mutex.
  [[nodiscard]] bool Overtakes(Size size) const {
    return size == Size::kLarge && std::ranges::any_of(waiters, [](const Waiter& waiter) {
             return waiter.share->OwnerHasRoom(waiter.bytes, SizeOf(waiter.bytes));
           });
  }

  /// Whoever fits now leaves the queue, and whoever is late. One whose address holds its part holds nobody up.
  void Serve() {
    std::list<Waiter> served;
    std::list<Waiter> late;
    {
      const std::lock_guard lock(mutex);
      if (waiters.empty()) return;
      const auto now = Clock::now();
      bool is_full = false;
      for (auto next = waiters.begin(); next != waiters.end();) {
        const auto waiter = next++;
        const auto size = SizeOf(waiter->bytes);
        if (!(is_full && size == Size::kLarge) && waiter->share->TryTake(waiter->bytes, size)) {
          served.splice(served.end(), waiters, waiter);
        } else if (waiter->deadline <= now) {
          late.splice(late.end(), waiters, waiter);
        } else if (waiter->share->OwnerHasRoom(waiter->bytes, size)) {
          is_full = true;
        }
      }
    }
    for (const auto& waiter : served)
      waiter.later(true);
    for (const auto& waiter : late)
      waiter.later(false);
  }
};

Admission::Admission(std::chrono::milliseconds patience)
    : state_(std::make_shared<State>(patience)),
      watcher_([this](const std::stop_token& stop) { Watch(*state_, stop); }) {
  platform::MemoryBudget::Process().OnRelease([state = state_] { state->Serve(); });
}

Admission::~Admission() { platform::MemoryBudget::Process().OnRelease(nullptr); }

Admission::Verdict Admission::Take(platform::MemoryShare& share, std::size_t bytes, Later later) {
  const auto size = SizeOf(bytes);
  if (bytes > platform::MemoryBudget::Process().Most(size)) return Verdict::kNever;
  const std::lock_guard lock(state_->mutex);
  if (!state_->Overtakes(size) && share.TryTake(bytes, size)) return Verdict::kTaken;
  state_->waiters.push_back({&share, bytes, Clock::now() + state_->patience, std::move(later)});
  state_->wake.notify_one();
  return Verdict::kWaits;
}

void Admission::NoteEnd(std::size_t peak) {
  if (peak < kBulky) return;
  const std::lock_guard lock(state_->mutex);
  state_->has_bulk = true;
  state_->wake.notify_one();
}

void Admission::Watch(State& state, const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    bool trims = false;
    {
      std::unique_lock lock(state.mutex);
      state.wake.wait(lock, stop, [&state] { return state.has_bulk || !state.waiters.empty(); });
      // What has just ended is freed by then, and the others that end meanwhile are served at once.
      state.wake.wait_for(lock, stop, kPeriod, [] { return false; });
      trims = std::exchange(state.has_bulk, false);
    }
    state.Serve();
    if (trims) malloc_trim(0);
  }
}

}  // namespace host
