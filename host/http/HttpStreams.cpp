// Bodies and answers that stream: what passes between the connection's thread and that of the task.

#include <microhttpd.h>

#include <utility>

#include "HostLog.h"
#include "http/HttpExchange.h"
#include "platform/Guard.h"

namespace host {

/// Hands the request over at its head. What the streams hold is bounded by the threads that run such tasks.
bool HttpServer::BeginStream(const std::shared_ptr<Exchange>& exchange) {
  {
    const std::lock_guard lock(exchange->mutex);
    exchange->body_stream = std::make_unique<BodyStream>([raw = exchange.get()] { raw->GoOn(); });
    exchange->call.emplace(exchange->task.kind, exchange->task.client);
    exchange->dispatched = std::chrono::steady_clock::now();
    if (abandoned_) exchange->answer = Stopping();
  }
  platform::Guard([&] { Submit(exchange); },
                  [&exchange](const char*) {
                    LogHost(kLogFailure, "a request was refused: out of memory");
                    exchange->EndWait(false);
                  });
  return true;
}

/// Takes what there is room for of `size` bytes, which becomes what is left. Then the connection waits for the task.
bool HttpServer::Stream(Exchange& exchange, const char* data, std::size_t& size) {
  const std::lock_guard lock(exchange.mutex);
  if (!exchange.answer && exchange.received + size > exchange.task.body_limit) {
    exchange.Decide(ErrorAnswer(MHD_HTTP_CONTENT_TOO_LARGE, "body too large"));
    exchange.body_stream->Break();
  }
  if (exchange.answer) {
    GoesOn(exchange, size, {options_.read_timeout, options_.least_sent_per_second});
    exchange.discarded += std::exchange(size, 0);
    return exchange.discarded <= kDiscardChunked;
  }
  const auto taken = exchange.body_stream->Put({data, size});
  exchange.received += taken;
  size -= taken;
  if (size == 0) {
    GoesOn(exchange, taken, {options_.read_timeout, options_.least_sent_per_second});
  } else {
    Waits(exchange);
  }
  return true;
}

/// The client has sent or taken so much of what streams, and is to go on.
void HttpServer::GoesOn(Exchange& exchange, std::size_t bytes, const StreamPace::Bounds& bounds) {
  deadlines_.Set(exchange.fd, exchange.pace.After(bytes, bounds, StreamPace::Clock::now()));
}

/// The client waits for the task. The caller holds the mutex.
void HttpServer::Waits(Exchange& exchange) {
  deadlines_.Clear(exchange.fd);
  exchange.pace.Pause(StreamPace::Clock::now());
  exchange.Suspend();
}

/// The body is whole; its answer may be there by now.
bool HttpServer::EndStream(Exchange& exchange) {
  deadlines_.Clear(exchange.fd);
  exchange.pace.Restart();
  {
    const std::lock_guard lock(exchange.mutex);
    if (!std::exchange(exchange.is_whole, true)) exchange.body_stream->End();
    if (!exchange.answer) {
      exchange.Suspend();
      return true;
    }
  }
  return Answer(exchange);
}

/// On the connection's thread: more of an answer that is being written. Without any yet the connection waits.
std::int64_t HttpServer::TakeAnswer(Exchange& exchange, char* to, std::size_t size) {
  const std::lock_guard lock(exchange.mutex);
  std::size_t taken = 0;
  switch (exchange.answer_stream->Take(to, size, taken)) {
    case AnswerStream::State::kMore:
      GoesOn(exchange, taken, {options_.idle_timeout, options_.least_taken_per_second});
      return static_cast<std::int64_t>(taken);
    case AnswerStream::State::kNothingYet:
      Waits(exchange);
      return 0;
    case AnswerStream::State::kEnd:
      return MHD_CONTENT_READER_END_OF_STREAM;
    case AnswerStream::State::kCutOff:
      break;
  }
  return MHD_CONTENT_READER_END_WITH_ERROR;
}

}  // namespace host
