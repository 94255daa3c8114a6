#pragma once

#include "http/AnswerStream.h"
#include "http/BodyStream.h"
#include "http/HttpServer.h"

namespace host {

/// 503: the same request may succeed a moment later. Does not throw.
HttpAnswer Busy();
/// 503: another host may serve it, or this one after its next start.
HttpAnswer Stopping();

/// 503: there may be memory for it a moment later. Does not throw: without memory for its body it has none.
HttpAnswer NoRoom();

/// So much of the body of a request that was answered already is discarded, when it has no announced size: it cannot be
/// answered before its end.
inline constexpr std::uint64_t kDiscardChunked = 64 * 1024 * 1024;

/// One request, from its head to the end of its answer.
struct HttpServer::Exchange : std::enable_shared_from_this<Exchange> {
  MHD_Connection* connection = nullptr;
  int fd = -1;
  /// When its head was read.
  std::chrono::steady_clock::time_point begun;
  std::shared_ptr<HttpFigures> figures;
  std::string method;
  std::string path;
  platform::RequestContext context;
  EndOfStreamMeans end_of_stream = EndOfStreamMeans::kHalfClosed;
  HttpTask task;
  /// The largest number for a chunked body.
  std::uint64_t announced = 0;
  /// From the admission on; none for a task without a body.
  std::optional<platform::MemoryShare> memory;
  /// Suspended at its head: the call after that is not about its body.
  bool waited = false;
  std::string body;
  std::uint64_t received = 0;
  /// Of a task that streams, from the dispatch on.
  std::unique_ptr<BodyStream> body_stream;
  /// Of its body, what came after its answer.
  std::uint64_t discarded = 0;
  /// Of what streams now, its body or then its answer.
  StreamPace pace;
  /// Nothing of the request is still to come.
  bool is_whole = false;

  /// Guards the members below once the connection is suspended: a worker and a stop may both try to answer.
  std::mutex mutex;
  bool suspended = false;
  /// When the task was handed over.
  std::chrono::steady_clock::time_point dispatched;
  /// The task runs.
  bool running = false;
  /// From the dispatch on.
  std::optional<platform::Call> call;
  std::optional<HttpAnswer> answer;
  /// The answer's body, while it is written.
  std::shared_ptr<AnswerStream> answer_stream;

  /// The answer, once. The caller holds the mutex.
  void Decide(HttpAnswer next);

  /// Method and path, for the log: what follows a segment "t" is a ticket, which lets whoever has it in.
  [[nodiscard]] std::string Line() const {
    constexpr std::string_view kTicket = "/t/";
    const auto at = path.find(kTicket);
    return method + " " + (at == std::string::npos ? path : path.substr(0, at + kTicket.size()) + "...");
  }

  /// On a worker: runs the task, unless it was answered meanwhile, and answers.
  void Work();

  /// The connection waits from now on: for room for its body, for its answer, or for more of the answer's body. The
  /// caller holds the mutex.
  void Suspend();
  /// The connection goes on, with more of what streams.
  void GoOn();
  /// The client has gone, or is not waited for any more: what streams ends.
  void BreakStreams();

  /// Lets a connection go on that was suspended at its head: with its body when there is room for that, else with 503.
  void EndWait(bool has_room);
  /// Answers 503 to a request that found no place in the queue of its workers.
  void EndWaitForPlace();
  /// Gives up what was taken for a body of unknown size beyond that of the one that came.
  void FitMemory();

  enum class GivenUp { kBeforeItsTask, kInsideItsTask, kWhileAnswered };
  /// Answers for a task that does not end, or has not begun. Tells where the request was.
  GivenUp GiveUp();

  /// From now on a client that hangs up before the answer cancels what reads, if the task was begun by then.
  void Watch(HangUps& hang_ups, std::chrono::steady_clock::time_point begun_by);

  /// Cancels what reads.
  void Cancel();

  /// Begun, and may have written.
  [[nodiscard]] bool Writes();
  [[nodiscard]] bool Runs();

 private:
  HttpAnswer Run();
  void Write(AnswerStream& stream, const platform::HttpWriter& writer);
  [[nodiscard]] bool AwaitsAnswer() const { return suspended || (body_stream && !answer); }
  HttpAnswer RunBound();
  HttpAnswer RunTask();
  /// Does nothing on a connection that was already resumed. The caller holds the mutex. Touches only this object, the
  /// connection and the server, which live while it is suspended: a late worker may be here after the server's end.
  void Resume(HttpAnswer next);
  void Seen(HangUps::Sign sign);

  HangUps* hang_ups_ = nullptr;
  HangUps::Ticket ticket_ = 0;
};

}  // namespace host
