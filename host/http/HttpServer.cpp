#include "http/HttpServer.h"

#include <microhttpd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "HostLog.h"
#include "http/Connection.h"
#include "http/HeadCheck.h"
#include "http/HttpErrors.h"
#include "http/HttpExchange.h"
#include "http/IpAddress.h"
#include "http/ListenAddress.h"
#include "http/ResponseStatus.h"
#include "metrics/RouteNames.h"
#include "platform/Guard.h"

namespace host {

HttpAnswer ErrorAnswer(unsigned status, std::string_view reason) {
  HttpAnswer answer;
  answer.status = status;
  answer.reason = reason;
  return answer;
}

namespace {

/// Longest time that a request waits for room in the memory budget, and then for a place in the queue of the workers.
constexpr std::chrono::seconds kWaitForRoom{5};
constexpr std::chrono::seconds kWaitForPlace{5};

/// What the library offers by itself begins with TLS 1.0.
constexpr char kTlsVersions[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

/// A refused request's body up to this size is discarded, so that the client sees the answer and keeps its connection;
/// with a larger one the connection is closed.
constexpr std::uint64_t kDiscardAnnounced = 64 * 1024;

}  // namespace

/// The callbacks of libmicrohttpd, which no exception may leave.
struct HttpCallbacks {
  static MHD_Result Access(void* server, MHD_Connection* connection, const char* path, const char* method,
                           const char* version, const char* data, std::size_t* size, void** context) {
    auto* const self = static_cast<HttpServer*>(server);
    const auto access = [&] { return self->Access(*connection, {method, path, version}, data, *size, *context); };
    const auto dropped = [](const char* /*reason*/) {
      LogHost(kLogFailure, "a request was dropped: out of memory");
      return false;
    };
    return platform::Guard(access, dropped) ? MHD_YES : MHD_NO;
  }

  static MHD_Result Accept(void* server, const sockaddr* address, socklen_t) {
    const auto has_room = [&] { return static_cast<HttpServer*>(server)->connections_.HasRoom(AddressText(*address)); };
    return platform::Guard(has_room, [](const char*) { return false; }) ? MHD_YES : MHD_NO;
  }

  static void Completed(void* server, MHD_Connection* connection, void** context, MHD_RequestTerminationCode) {
    platform::Guard([&] { static_cast<HttpServer*>(server)->Completed(*connection, *context); }, &WithoutDeadline);
  }

  static void Connection(void* server, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode code) {
    auto& self = *static_cast<HttpServer*>(server);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      platform::Guard([&] { self.SetIdleDeadline(*connection, ReadDeadlines::Since::kOpened); }, &WithoutDeadline);
      platform::Guard([&] { self.connections_.Add(ClientAddress(*connection)); }, &NotCounted);
    } else {
      self.deadlines_.Clear(Descriptor(*connection));
      platform::Guard([&] { self.connections_.Remove(ClientAddress(*connection)); }, &NotCounted);
    }
  }

  /// The connection is kept: the library's own inactivity timeout still applies to it.
  static void WithoutDeadline(const char* reason) {
    LogHost(kLogFailure, "a connection has no deadline: %s", reason != nullptr ? reason : "unknown");
  }

  static void NotCounted(const char* /*reason*/) { LogHost(kLogFailure, "a connection is not counted: out of memory"); }

  /// Paths are compared as they were sent.
  static std::size_t KeepEscapes(void*, MHD_Connection*, char* text) { return std::strlen(text); }

  __attribute__((format(printf, 2, 0))) static void Log(void*, const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof(text), format, arguments);
    LogHost(kLogAnomaly, "http: %s", text);
  }
};

HttpServer::HttpServer(HttpOptions options, HttpAdmission admission)
    : options_(std::move(options)),
      admission_(std::move(admission)),
      connections_(options_.client_connections),
      room_(kWaitForRoom),
      line_(std::make_shared<WaitingLine>(kWaitForPlace)),
      responses_(!options_.tls_certificate.empty()) {}

HttpServer::~HttpServer() {
  if (daemon_ == nullptr) return;
  Drain(std::chrono::milliseconds(0));
  // It aborts the process when a connection is still suspended.
  MHD_stop_daemon(daemon_);
  // Those who wait hold the line, which holds them; nobody joins it any more.
  line_->Refuse(WaitingLine::Clock::time_point::max());
}

bool HttpServer::Start(int listen_fd) {
  unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
  std::vector<MHD_OptionItem> tls;
  if (!options_.tls_certificate.empty()) {
    flags |= MHD_USE_TLS;
    // The library takes the texts as char* and only reads them.
    tls.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(options_.tls_certificate.c_str())});
    tls.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(options_.tls_key.c_str())});
    tls.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kTlsVersions)});
  }
  tls.push_back({MHD_OPTION_END, 0, nullptr});
  // Each header line takes its own size and a record, so that twice the limit holds any usual header of the limit's
  // size; Begin checks the exact limit.
  const std::size_t memory = 2 * options_.header_limit + 32 * 1024;
  daemon_ = MHD_start_daemon(flags, 0, &HttpCallbacks::Accept, this, &HttpCallbacks::Access, this,                 //
                             MHD_OPTION_EXTERNAL_LOGGER, &HttpCallbacks::Log, nullptr,                             //
                             MHD_OPTION_LISTEN_SOCKET, listen_fd,                                                  //
                             MHD_OPTION_NOTIFY_COMPLETED, &HttpCallbacks::Completed, this,                         //
                             MHD_OPTION_NOTIFY_CONNECTION, &HttpCallbacks::Connection, this,                       //
                             MHD_OPTION_UNESCAPE_CALLBACK, &HttpCallbacks::KeepEscapes, nullptr,                   //
                             MHD_OPTION_CONNECTION_MEMORY_LIMIT, memory,                                           //
                             MHD_OPTION_CONNECTION_LIMIT, options_.connections_limit,                              //
                             MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(options_.idle_timeout.count()),  //
                             MHD_OPTION_ARRAY, tls.data(), MHD_OPTION_END);
  if (daemon_ == nullptr) return false;
  long_reads_ = std::jthread([this](const std::stop_token& stop) { WatchLongReads(stop); });
  return true;
}

bool HttpServer::Access(MHD_Connection& connection, const RequestLine& line, const char* data, std::size_t& size,
                        void*& context) {
  if (context == nullptr) return Begin(connection, line, context);
  const auto& exchange = *static_cast<std::shared_ptr<Exchange>*>(context);
  // The library makes the first call again for a request that was suspended in it.
  if (std::exchange(exchange->waited, false) && size == 0) return !exchange->answer || Refuse(*exchange);
  if (exchange->body_stream) return size != 0 ? Stream(*exchange, data, size) : EndStream(*exchange);
  if (size != 0) {
    const std::string_view taken(data, std::exchange(size, 0));
    return Take(*exchange, taken);
  }
  if (exchange->announced == kUnknownLength) exchange->FitMemory();
  // Set on this thread, or before the connection was resumed: nobody writes it now.
  if (exchange->answer) return Answer(*exchange);
  // Suspended at the first call, the connection would be read from once more before its answer, and a client that has
  // closed its side meanwhile would get none.
  return !std::exchange(exchange->is_whole, true) || Dispatch(exchange);
}

bool HttpServer::Begin(MHD_Connection& connection, const RequestLine& line, void*& context) {
  auto exchange = std::make_shared<Exchange>();
  exchange->connection = &connection;
  exchange->fd = Descriptor(connection);
  exchange->begun = std::chrono::steady_clock::now();
  exchange->figures = options_.figures;
  exchange->end_of_stream = EndOfStream(line.version);
  exchange->method = line.method;
  exchange->path = line.path;
  exchange->context = {ClientAddress(connection), RequestIdFor(connection)};
  deadlines_.Set(Descriptor(connection), options_.read_timeout);
  context = new std::shared_ptr<Exchange>(exchange);
  bool stopping = false;
  {
    const std::lock_guard lock(mutex_);
    in_flight_.insert(exchange.get());
    stopping = stopping_;
  }
  if (HeaderSize(connection) > options_.header_limit) {
    exchange->answer = ErrorAnswer(MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE, "header too large");
    return Answer(*exchange);
  }
  if (const char* const fault = HeadFault(connection, line, HeaderSize(connection))) {
    exchange->answer = ErrorAnswer(MHD_HTTP_BAD_REQUEST, fault);
    return Answer(*exchange);
  }
  if (stopping) return Admit(exchange, Stopping());
  auto& address = exchange->context.client_address;
  auto client = ClientOf(connection, address);
  address = std::move(client.address);
  const ConnectionFields fields(connection);
  return Admit(exchange, admission_({line.method, line.path, fields, exchange->context, client.is_private}));
}

TrustedProxies::Client HttpServer::ClientOf(MHD_Connection& connection, const std::string& peer) const {
  TrustedProxies::Request request{peer, !options_.tls_certificate.empty(), {}, {}};
  if (!options_.trusted_proxies.IsEmpty()) {
    request.forwarded_for = HeaderLines(connection, "X-Forwarded-For");
    request.forwarded_proto = HeaderLines(connection, "X-Forwarded-Proto");
  }
  return options_.trusted_proxies.ClientOf(request);
}

bool HttpServer::Admit(const std::shared_ptr<Exchange>& exchange, std::variant<HttpAnswer, HttpTask> verdict) {
  const auto announced = exchange->announced = AnnouncedLength(*exchange->connection);
  if (auto* const refusal = std::get_if<HttpAnswer>(&verdict)) {
    exchange->answer = std::move(*refusal);
    return Refuse(*exchange);
  }
  exchange->task = std::move(std::get<HttpTask>(verdict));
  exchange->context.user_name = exchange->task.user;
  if (announced != kUnknownLength && announced > exchange->task.body_limit) {
    exchange->answer = ErrorAnswer(MHD_HTTP_CONTENT_TOO_LARGE, "body too large");
    return Answer(*exchange);
  }
  if (exchange->task.streams) return BeginStream(exchange);
  return exchange->task.body_limit == 0 || TakeMemory(exchange);
}

/// Answers a request at its head, or lets its body come first.
bool HttpServer::Refuse(Exchange& exchange) {
  const bool discard = exchange.announced <= kDiscardAnnounced || exchange.announced == kUnknownLength;
  return (discard && !Header(*exchange.connection, MHD_HTTP_HEADER_EXPECT)) || Answer(exchange);
}

/// Takes room for the request, or lets it wait for that: suspended, its body unread in the client's socket.
bool HttpServer::TakeMemory(const std::shared_ptr<Exchange>& exchange) {
  auto& limit = exchange->task.body_limit;
  if (exchange->announced == kUnknownLength) limit = std::min(limit, LargestBody(exchange->task.kind));
  const auto body = std::min<std::uint64_t>(exchange->announced, limit);
  exchange->memory.emplace(ClientNetwork(exchange->context.client_address));
  {
    // So that an end of the wait on another thread comes after the suspension.
    const std::lock_guard lock(exchange->mutex);
    const auto later = [exchange](bool taken) { exchange->EndWait(taken); };
    const auto verdict = room_.Take(*exchange->memory, MemoryFor(exchange->task.kind, body), later);
    if (verdict == Admission::Verdict::kTaken) return true;
    if (verdict == Admission::Verdict::kWaits && !abandoned_) {
      deadlines_.Set(Descriptor(*exchange->connection), options_.read_timeout + kWaitForRoom);
      exchange->Suspend();
      exchange->waited = true;
      return true;
    }
    exchange->answer = verdict == Admission::Verdict::kNever
                           ? ErrorAnswer(MHD_HTTP_CONTENT_TOO_LARGE, "body too large for the memory of this server")
                           : Stopping();
  }
  return Answer(*exchange);
}

bool HttpServer::Take(Exchange& exchange, std::string_view data) {
  exchange.received += data.size();
  if (exchange.answer) return exchange.received <= kDiscardChunked;
  if (exchange.received > exchange.task.body_limit) {
    exchange.answer = ErrorAnswer(MHD_HTTP_CONTENT_TOO_LARGE, "body too large");
    exchange.body = {};
    return true;
  }
  const auto append = [&exchange, data] {
    if (exchange.body.empty() && exchange.announced != kUnknownLength) exchange.body.reserve(exchange.announced);
    exchange.body.append(data);
    return true;
  };
  return platform::Guard(append, [&exchange](const char*) {
    exchange.body = {};
    exchange.answer = NoRoom();
    return true;
  });
}

bool HttpServer::Dispatch(const std::shared_ptr<Exchange>& exchange) {
  deadlines_.Clear(exchange->fd);
  if (!Suspend(*exchange)) {
    exchange->answer = Stopping();
    return Answer(*exchange);
  }
  platform::Guard([&] { Submit(exchange); },
                  [&exchange](const char*) {
                    LogHost(kLogFailure, "a request was refused: out of memory");
                    exchange->EndWait(false);
                  });
  return true;
}

/// Before a worker has the request: it would wait for the suspension otherwise. False when it is too late for that.
bool HttpServer::Suspend(Exchange& exchange) {
  const std::lock_guard lock(exchange.mutex);
  if (abandoned_) return false;
  exchange.call.emplace(exchange.task.kind, exchange.task.client, exchange.memory ? &*exchange.memory : nullptr);
  exchange.dispatched = std::chrono::steady_clock::now();
  exchange.Suspend();
  return true;
}

/// To the workers, or into the line for them.
void HttpServer::Submit(const std::shared_ptr<Exchange>& exchange) {
  auto* const pool = exchange->task.pool;
  const auto submit = [exchange, pool, line = line_] {
    return pool->TrySubmit(exchange->task.client, [exchange, pool, line] {
      line->Advance(pool);
      exchange->Work();
      line->Advance(pool);
    });
  };
  if (line_->IsEmpty() && submit()) return;
  line_->Join({pool, exchange->task.client, submit, [exchange] { exchange->EndWaitForPlace(); }});
}

/// Most reads are answered long before it is worth watching their clients.
void HttpServer::WatchLongReads(const std::stop_token& stop) {
  constexpr std::chrono::milliseconds kLong{100};
  std::condition_variable_any wake;
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    wake.wait_for(lock, stop, kLong, [] { return false; });
    lock.unlock();
    line_->Refuse();
    lock.lock();
    const auto begun_by = std::chrono::steady_clock::now() - kLong;
    for (auto* const exchange : in_flight_) {
      platform::Guard(
          [&] { exchange->Watch(hang_ups_, begun_by); },
          [](const char* /*reason*/) { LogHost(kLogAnomaly, "a client is not watched for its end: out of memory"); });
    }
  }
}

bool HttpServer::Answer(Exchange& exchange) {
  auto& answer = *exchange.answer;
  NoteAnswer(exchange);
  RenderError(answer, exchange.path, exchange.context.request_id);
  if (exchange.answer_stream) {
    answer.source = [this, kept = exchange.shared_from_this()](char* to, std::size_t size) {
      return TakeAnswer(*kept, to, size);
    };
  }
  const std::size_t size = answer.file ? answer.file->size() : answer.body.size();
  {
    const platform::RequestScope scope(exchange.context);
    LogHost(kLogTrace, "%s: %u, %zu bytes in, %zu bytes out", exchange.Line().c_str(), answer.status,
            static_cast<std::size_t>(exchange.received), size);
  }
  const std::chrono::seconds sending(size / options_.least_taken_per_second);
  deadlines_.Set(exchange.fd, options_.idle_timeout + sending);
  // The library reads the ends of chunks more loosely than others: nothing behind such a body is taken for a request.
  const bool is_chunked = Header(*exchange.connection, MHD_HTTP_HEADER_TRANSFER_ENCODING).has_value();
  return responses_.Queue(*exchange.connection, std::move(answer), exchange.context.request_id,
                          stopping_ || is_chunked);
}

void HttpServer::NoteAnswer(const Exchange& exchange) {
  const auto& answer = *exchange.answer;
  const bool reads = exchange.task.run && exchange.task.kind == platform::Call::Kind::kReads;
  if (!answer.reason.empty()) options_.figures->NoteRefusal(answer.reason);
  options_.figures->NoteAnswer(RouteNumber(reads ? MHD_HTTP_METHOD_GET : exchange.method, exchange.path), answer.status,
                               PairOf(answer.body), std::chrono::steady_clock::now() - exchange.begun);
}

HttpServer::Load HttpServer::CurrentLoad() {
  const std::lock_guard lock(mutex_);
  return {in_flight_.size(), line_->Length()};
}

void HttpServer::Completed(MHD_Connection& connection, void*& context) {
  if (context == nullptr) return;
  auto* const exchange = static_cast<std::shared_ptr<Exchange>*>(std::exchange(context, nullptr));
  const auto peak = (*exchange)->memory ? (*exchange)->memory->peak() : 0;
  {
    const std::lock_guard lock(mutex_);
    in_flight_.erase(exchange->get());
  }
  (*exchange)->BreakStreams();
  delete exchange;
  room_.NoteEnd(peak);
  completed_.notify_all();
  SetIdleDeadline(connection, ReadDeadlines::Since::kAnswered);
}

void HttpServer::SetIdleDeadline(MHD_Connection& connection, ReadDeadlines::Since since) {
  deadlines_.SetIdle(Descriptor(connection), since,
                     {options_.idle_timeout + options_.read_timeout, options_.read_timeout});
}

HttpServer::EndOfStreamMeans HttpServer::EndOfStream(std::string_view version) const {
  // Beside the records of TLS nothing can be sent, and a client of it that means to read on keeps its side open.
  if (!options_.tls_certificate.empty()) return EndOfStreamMeans::kGone;
  return version == MHD_HTTP_VERSION_1_1 ? EndOfStreamMeans::kAsk : EndOfStreamMeans::kHalfClosed;
}

}  // namespace host
