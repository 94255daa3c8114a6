#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <variant>
#include <vector>

#include "http/Admission.h"
#include "http/ConnectionCounts.h"
#include "http/HangUps.h"
#include "http/HeadCheck.h"
#include "http/HttpResponses.h"
#include "http/ReadDeadlines.h"
#include "http/StreamPace.h"
#include "http/TrustedProxies.h"
#include "http/WaitingLine.h"
#include "http/WorkerPool.h"
#include "metrics/HttpFigures.h"
#include "platform/Call.h"
#include "platform/HttpRoutes.h"
#include "platform/RequestContext.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace host {

/// The header and query of a request, as the library keeps them while it is there.
class HttpFieldSource {
 public:
  virtual ~HttpFieldSource() = default;
  /// The first header of that name, case aside; none without one.
  [[nodiscard]] virtual std::optional<std::string_view> Header(const char* name) const = 0;
  /// All headers, their names in lower case.
  [[nodiscard]] virtual platform::HttpFields Headers() const = 0;
  /// The query as sent, in its order; '+' is a blank.
  [[nodiscard]] virtual platform::HttpFields Query() const = 0;
};

/// What is known of a request when its header has been read. The views are valid during the call.
struct HttpHead {
  std::string_view method;
  /// As sent, without the query: percent-encoding is not decoded.
  std::string_view path;
  const HttpFieldSource& fields;
  const platform::RequestContext& context;
  /// It comes over TLS, or never leaves the machine.
  bool is_private = false;
};

struct HttpAnswer {
  unsigned status = 0;
  /// Empty for an answer without a body.
  std::string body;
  /// Of the body; empty for JSON.
  std::string content_type;
  platform::HttpFields headers;
  /// The Retry-After header of a 503 answer, in seconds; 0 for none.
  int retry_after_s = 0;
  /// Why the host itself refuses; what becomes of it is in HttpErrors.h. Then there is no body yet.
  std::string reason;
  /// One of these in place of a text. A writer runs on the thread of the task, behind it.
  std::shared_ptr<platform::HttpFile> file;
  platform::HttpWriter writer;
  /// What the library asks for the body of a writer; the server sets it.
  std::function<std::int64_t(char* to, std::size_t size)> source;
};

/// An answer of the host itself, with `reason` in its body; the reason needs no escaping.
HttpAnswer ErrorAnswer(unsigned status, std::string_view reason);

/// A request that may be served: what to do with its body, and where.
struct HttpTask {
  /// 0 for a task that takes no body and next to no memory: it never waits for room.
  std::size_t body_limit = 0;
  WorkerPool* pool = nullptr;
  platform::Call::Kind kind = platform::Call::Kind::kWrites;
  /// Whose request it is: the user, else the address.
  std::string client;
  /// Who asks; empty without a session.
  std::string user = {};
  /// The task begins at the head, and gets its body as it arrives.
  bool streams = false;
  /// Runs on a thread of `pool`, bound to a call of that kind. `reader` is null unless the task streams. An exception
  /// is answered with 500.
  std::function<HttpAnswer(std::string body, platform::HttpBodyReader* reader)> run;
  /// Optional: told the answer and the size of the body, once, when `run` was begun, before the client is answered. On
  /// any thread, with locks held; it must not block or throw.
  std::function<void(const HttpAnswer& answer, std::uint64_t bytes_in)> ended;
};

/// Decides on requests by their head, before any of the body is stored. Runs on the connection thread and must not
/// block.
using HttpAdmission = std::function<std::variant<HttpAnswer, HttpTask>(const HttpHead&)>;

struct HttpOptions {
  std::size_t header_limit = 0;
  unsigned connections_limit = 0;
  /// Of one client; 0 for no bound.
  unsigned client_connections = 0;
  std::chrono::seconds idle_timeout{};
  std::chrono::seconds read_timeout{};
  /// At which a body has to come that streams, as it holds a thread.
  std::size_t least_sent_per_second = 1024;
  /// At which an answer has to be taken, as it counts against the budget until it is sent.
  std::size_t least_taken_per_second = 16 * 1024;
  /// PEM texts; both empty for plain HTTP.
  std::string tls_certificate;
  std::string tls_key;
  TrustedProxies trusted_proxies;
  /// Is told of each request.
  std::shared_ptr<HttpFigures> figures = std::make_shared<HttpFigures>();
};

/// HTTP/1.1 on one listening socket: one thread for all connections, requests run on worker pools while
/// their connection is suspended. The pools must outlive the server.
class HttpServer {
 public:
  HttpServer(HttpOptions options, HttpAdmission admission);
  /// Drains without waiting for requests, and closes everything.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// Serves on `listen_fd`, a listening socket that the caller owns and closes after this object's end. False when the
  /// daemon could not be started.
  [[nodiscard]] bool Start(int listen_fd);

  /// How requests in flight ended.
  struct Drained {
    /// A request that writes was begun, and its client was not told what became of it.
    bool lost = false;
    /// Tasks are still running.
    bool inside = false;
  };

  /// Refuses new connections, answers 503 to new requests on existing ones, and waits until requests in flight are
  /// answered: for what writes as long as `timeout`, for what only reads a few seconds, after which it is cancelled.
  /// What is then left gets 503 and a line of the log. Called after Start, once.
  Drained Drain(std::chrono::milliseconds timeout);

  /// Requests whose head was read and whose answer is not yet sent, and those of them that find no place in the queue
  /// of their workers.
  struct Load {
    std::size_t in_flight = 0;
    std::size_t in_line = 0;
  };
  [[nodiscard]] Load CurrentLoad();

 private:
  struct Exchange;
  friend struct HttpCallbacks;

  // One request, in order; false closes the connection.
  bool Access(MHD_Connection& connection, const RequestLine& line, const char* data, std::size_t& size, void*& context);
  bool Begin(MHD_Connection& connection, const RequestLine& line, void*& context);
  TrustedProxies::Client ClientOf(MHD_Connection& connection, const std::string& peer) const;
  bool Admit(const std::shared_ptr<Exchange>& exchange, std::variant<HttpAnswer, HttpTask> verdict);
  bool Refuse(Exchange& exchange);
  bool TakeMemory(const std::shared_ptr<Exchange>& exchange);
  bool Take(Exchange& exchange, std::string_view data);
  bool BeginStream(const std::shared_ptr<Exchange>& exchange);
  bool Stream(Exchange& exchange, const char* data, std::size_t& size);
  bool EndStream(Exchange& exchange);
  void GoesOn(Exchange& exchange, std::size_t bytes, const StreamPace::Bounds& bounds);
  void Waits(Exchange& exchange);
  std::int64_t TakeAnswer(Exchange& exchange, char* to, std::size_t size);
  bool Dispatch(const std::shared_ptr<Exchange>& exchange);
  bool Suspend(Exchange& exchange);
  void Submit(const std::shared_ptr<Exchange>& exchange);
  bool Answer(Exchange& exchange);
  void NoteAnswer(const Exchange& exchange);
  void WatchLongReads(const std::stop_token& stop);
  void Completed(MHD_Connection& connection, void*& context);
  void SetIdleDeadline(MHD_Connection& connection, ReadDeadlines::Since since);
  /// What the end of a client's stream tells while its request is worked on.
  enum class EndOfStreamMeans { kHalfClosed, kAsk, kGone };
  EndOfStreamMeans EndOfStream(std::string_view version) const;

  // Of Drain:
  enum class Awaited { kAll, kWriting };
  bool EndsBy(std::chrono::steady_clock::time_point deadline, Awaited awaited);
  void CancelReads();
  std::vector<std::shared_ptr<Exchange>> GiveUp();

  const HttpOptions options_;
  const HttpAdmission admission_;
  ReadDeadlines deadlines_;
  ConnectionCounts connections_;
  Admission room_;
  HangUps hang_ups_;
  /// Shared with jobs, which may end when this object is gone.
  const std::shared_ptr<WaitingLine> line_;
  HttpResponses responses_;
  MHD_Daemon* daemon_ = nullptr;

  /// Requests may no longer be suspended.
  std::atomic<bool> abandoned_ = false;

  std::mutex mutex_;
  std::condition_variable completed_;
  /// Written under the mutex.
  std::atomic<bool> stopping_ = false;
  /// Requests whose head was read and whose answer is not yet sent.
  std::unordered_set<Exchange*> in_flight_;
  /// Last, so that it is joined before what it uses is destroyed.
  std::jthread long_reads_;
};

}  // namespace host
