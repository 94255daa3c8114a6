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

/// Counts failed password tries by key (a user name, a client address) and freezes a key after too many. Keys are
/// compared exactly, unless the rules say otherwise. Thread-safe; nothing is persisted.
///
/// The failed try that reaches the limit freezes its key. The freeze expires, and the count restarts, `freeze` after it
/// began, whatever is counted meanwhile. Below the limit a count expires `freeze` after the last failed try.
///
/// Memory is bounded by `max_keys`: beyond it the least recently changed count is evicted, or, when only freezes are
/// left, the one that expires next.
class FailedTries {
 public:
  using Clock = std::chrono::steady_clock;

  struct Rules {
    /// Number of failed tries that freezes a key; at least 1.
    int limit = 1;
    Clock::duration freeze{};
    /// False: nothing is counted, nothing frozen, and the tries left are always `limit`.
    bool on = true;
    std::size_t max_keys = 100'000;
    /// What a key is counted as: keys for which it gives the same are one. Null for the key itself.
    std::string (*counted_as)(const std::string& key) = nullptr;
  };

  explicit FailedTries(const Rules& rules, std::function<Clock::time_point()> now = &Clock::now);
  FailedTries(const FailedTries&) = delete;
  FailedTries& operator=(const FailedTries&) = delete;

  /// Permission to try one password. Exactly one of Failed and Succeeded reports the outcome; without either, nothing
  /// is counted. Must not outlive its FailedTries.
  class Try {
   public:
    Try(Try&& other) noexcept : tries_(std::exchange(other.tries_, nullptr)), key_(std::move(other.key_)) {}
    Try& operator=(Try&&) = delete;
    ~Try() { End(Outcome::kNotTried); }

    void Failed() { End(Outcome::kFailed); }
    /// Clears the key's count, unless it is frozen by now.
    void Succeeded() { End(Outcome::kSucceeded); }

   private:
    friend class FailedTries;
    enum class Outcome { kNotTried, kFailed, kSucceeded };

    Try(FailedTries* tries, std::string key) : tries_(tries), key_(std::move(key)) {}
    void End(Outcome outcome);

    FailedTries* tries_;
    std::string key_;
  };

  /// Permission for one try; none when the key is frozen. Pending tries count as failed until they end, so that
  /// concurrent ones cannot exceed the limit; when only they exhaust it, this blocks until one ends. A caller that
  /// holds a Try must not begin another of the same FailedTries.
  [[nodiscard]] std::optional<Try> Begin(const std::string& key);

  /// Counts a failed try made without a Try.
  void CountFailed(const std::string& key);

  [[nodiscard]] bool IsFrozen(const std::string& key);
  /// Failed tries left before the freeze, ignoring pending ones; 0 when frozen.
  [[nodiscard]] int Left(const std::string& key);
  /// How many keys are frozen now.
  [[nodiscard]] std::size_t Frozen();
  [[nodiscard]] bool on() const { return rules_.on; }

 private:
  /// Keys of entries_, the first to expire in front.
  using Queue = std::list<const std::string*>;

  struct Entry {
    int failed = 0;
    int under_way = 0;
    /// counted_, frozen_, or null while no try has failed.
    Queue* queue = nullptr;
    Queue::iterator place;
    /// Of the last failed try, or of the start of the freeze.
    Clock::time_point since;
  };
  using Entries = std::unordered_map<std::string, Entry>;

  /// What entries_ has for `key`.
  [[nodiscard]] std::string EntryKey(const std::string& key) const;

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

/// The failed tries of the whole host. Clients are counted by ClientNetwork of their addresses. A correct password
/// clears only the user's count: if it cleared the client's too, the owner of one account could guess the passwords of
/// all others forever by logging in to it in between.
struct LoginTries {
  LoginTries(const FailedTries::Rules& for_users, const FailedTries::Rules& for_clients,
             const std::function<FailedTries::Clock::time_point()>& now = &FailedTries::Clock::now)
      : users(for_users, now), clients(ByNetwork(for_clients), now) {}

  FailedTries users;
  FailedTries clients;

 private:
  static FailedTries::Rules ByNetwork(FailedTries::Rules rules);
};

}  // namespace host
