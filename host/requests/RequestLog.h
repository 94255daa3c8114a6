#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "CopySession.h"
#include "http/ResponseStatus.h"
#include "platform/Call.h"
#include "requests/RequestIds.h"

namespace host {

/// One request as it is noted: who asked for what, and how it was answered.
struct NotedRequest {
  /// UTC.
  std::chrono::system_clock::time_point answered_at;
  int user_id = 0;
  std::string user_name;
  /// The session's handle.
  std::string session;
  std::string client_address;
  std::string request_id;
  std::string method;
  /// As sent, without the query; a very long one is cut off.
  std::string path;
  NamedIds ids;
  unsigned status = 0;
  std::optional<ErrorPair> pair;
  std::uint64_t bytes_in = 0;
  std::uint64_t bytes_out = 0;
};

/// Writes platform.request_log: one thread copies what was noted, every 200 ms or sooner when there is much. Nothing
/// noted is ever dropped: what cannot be written is kept and tried again each second, exactly once each, and when too
/// much waits no more requests begin. A process that is killed loses what it had not written, the last 200 ms; one that
/// stops while the database is away, or does not answer for kLongestClose, writes the rows into the host's log.
/// Thread-safe.
class RequestLog {
 public:
  enum class What { kWrites, kAll };
  static constexpr std::chrono::seconds kLongestClose{4};

  /// `queue` is how many requests may wait to be written; one with many ids counts for several.
  RequestLog(const std::string& connection, std::size_t queue, What what);
  ~RequestLog();
  RequestLog(const RequestLog&) = delete;
  RequestLog& operator=(const RequestLog&) = delete;

  /// Whether a request of that kind is noted.
  [[nodiscard]] bool Notes(platform::Call::Kind kind) const {
    return what_ == What::kAll || kind == platform::Call::Kind::kWrites;
  }

  /// Whether what is noted may begin now. No while the queue is full and the database does not take it; the log says
  /// so.
  [[nodiscard]] bool HasRoom();

  /// The same; while the database takes what is queued it waits for room, a second at most.
  [[nodiscard]] bool WaitForRoom();

  /// Queues it, beyond the limit too: what has begun is noted. Does not block on the database, and does not throw.
  void Note(NotedRequest request) noexcept;

  /// Writes what was noted, or logs it. What is noted later goes to the log only. Then it waits for the statement that
  /// is under way. The destructor does it, too.
  void Close();

 private:
  /// Requests that were taken out of the queue to be written together.
  struct Batch {
    std::vector<NotedRequest> requests;
    /// Of the first one; the others follow it. 0 until it is drawn.
    std::int64_t first_id = 0;
    /// The server may have them.
    bool in_doubt = false;
  };

  void Work(const std::stop_token& stop);
  void StartBatch();
  bool TakeBatch(const std::stop_token& stop);
  bool WriteUntil(const std::stop_token& stop);
  bool Write();
  bool DrawIds();
  bool IsWritten();
  void NoteOutcome(bool written);
  void GiveUpAll();

  const std::size_t limit_;
  const What what_;
  /// Used by the thread alone.
  platform::CopySession database_;

  std::mutex mutex_;
  std::condition_variable_any wake_;
  /// A batch was written, or could not be; or the thread has ended.
  std::condition_variable_any written_;
  // Guarded by mutex_:
  /// Changed by the thread alone, which reads it without the mutex.
  Batch batch_;
  std::deque<NotedRequest> queue_;
  /// Of what is queued and of the batch.
  std::size_t weight_ = 0;
  bool failing_ = false;
  bool said_full_ = false;
  bool closed_ = false;

  /// Last, so that it ends before what it uses.
  std::jthread thread_;
};

}  // namespace host
