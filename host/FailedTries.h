#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace host {

/// Failed tries of a password by key (a user name, a client address), and the freeze that too many lead to. Keys are
/// compared exactly. Any thread; nothing outlives the process.
///
/// The failed try that reaches the limit freezes its key; the freeze lifts, and the count starts anew, when
/// `freeze` has passed since it began, whatever is counted meanwhile. Short of the limit a count is forgotten when
/// `freeze` has passed since the last failed try.
///
/// Memory is bounded by `max_keys`: beyond it the count unchanged for longest is given up, and only when there is no
/// mere count left the freeze that would lift next.
class FailedTries {
 public:
  using Clock = std::chrono::steady_clock;

  struct Rules {
    /// Failed tries that freeze; at least 1.
    int limit = 1;
    Clock::duration freeze{};
    /// False: nothing is counted, nothing frozen, and the tries left are always `limit`.
    bool on = true;
    std::size_t max_keys = 100'000;
  };

  explicit FailedTries(const Rules& rules, std::function<Clock::time_point()> now = &Clock::now);
  FailedTries(const FailedTries&) = delete;
  FailedTries& operator=(const FailedTries&) = delete;

  /// Leave to try one password. Exactly one of Failed and Succeeded says how it went; without either, nothing was
  /// tried and nothing is counted. Must not outlive its FailedTries.
  class Try {
   public:
    Try(Try&& other) noexcept : tries_(std::exchange(other.tries_, nullptr)), key_(std::move(other.key_)) {}
    Try& operator=(Try&&) = delete;
    ~Try() { End(Outcome::kNotTried); }

    void Failed() { End(Outcome::kFailed); }
    /// The key's failed tries are forgotten.
    void Succeeded() { End(Outcome::kSucceeded); }

   private:
    friend class FailedTries;
    enum class Outcome { kNotTried, kFailed, kSucceeded };

    Try(FailedTries* tries, std::string key) : tries_(tries), key_(std::move(key)) {}
    void End(Outcome outcome);

    FailedTries* tries_;
    std::string key_;
  };

  /// Leave for one try, or none when the key is frozen. Tries under way count as failed ones until they end, so that
  /// many at once cannot pass the limit; when only they stand in the way, this waits for one of them. A caller that
  /// holds a Try must not begin another of the same FailedTries.
  [[nodiscard]] std::optional<Try> Begin(const std::string& key);

  /// Counts a failed try for which no leave was taken.
  void CountFailed(const std::string& key);

  [[nodiscard]] bool IsFrozen(const std::string& key);
  /// Failed tries left before the freeze, without regard to those under way; 0 when frozen.
  [[nodiscard]] int Left(const std::string& key);
  [[nodiscard]] bool on() const { return rules_.on; }

 private:
  /// Keys of entries_, the one to lapse first in front.
  using Queue = std::list<const std::string*>;

  struct Entry {
    int failed = 0;
    int under_way = 0;
    /// counted_, frozen_, or null while no try has failed.
    Queue* queue = nullptr;
    Queue::iterator place;
    /// Of the last failed try, or of the freeze's begin.
    Clock::time_point since;
  };
  using Entries = std::unordered_map<std::string, Entry>;

  // All under mutex_.
  Entry* Find(const std::string& short_key);
  Entries::iterator FindOrAdd(const std::string& short_key);
  void AddFailed(Entries::iterator at);
  void Forget(Entries::iterator at);
  void ForgetLapsed();
  void ForgetLapsed(Queue& queue, Clock::time_point now);
  bool GiveUpOldest(const Queue& queue);
  void EndTry(const std::string& short_key, Try::Outcome outcome);

  const Rules rules_;
  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  std::condition_variable try_ended_;
  Entries entries_;
  Queue counted_;
  Queue frozen_;
};

/// The failed tries of the whole host. A right password clears its user's count only: if it cleared the client's too,
/// whoever has one account could guess at all others without end by logging in to his own in between.
struct LoginTries {
  LoginTries(const FailedTries::Rules& for_users, const FailedTries::Rules& for_clients,
             const std::function<FailedTries::Clock::time_point()>& now = &FailedTries::Clock::now)
      : users(for_users, now), clients(for_clients, now) {}

  FailedTries users;
  FailedTries clients;
};

}  // namespace host
