#include "http/HttpExchange.h"

#include <microhttpd.h>

#include <string_view>
#include <utility>

#include "HostLog.h"
#include "platform/Guard.h"

namespace host {

namespace {

/// Without a body. Does not throw.
HttpAnswer Bare(unsigned status) {
  HttpAnswer answer;
  answer.status = status;
  return answer;
}

/// 503 with `reason`; without a body when there is no memory for one. Does not throw.
HttpAnswer Later(std::string_view reason) {
  const auto answer = [reason] { return ErrorAnswer(MHD_HTTP_SERVICE_UNAVAILABLE, reason); };
  auto later = platform::Guard(answer, [](const char*) { return Bare(MHD_HTTP_SERVICE_UNAVAILABLE); });
  later.retry_after_s = 1;
  return later;
}

}  // namespace

HttpAnswer Busy() { return Later("too many requests waiting"); }

HttpAnswer Stopping() { return ErrorAnswer(MHD_HTTP_SERVICE_UNAVAILABLE, "stopping"); }

HttpAnswer NoRoom() { return Later("no memory for this request at present"); }

void HttpServer::Exchange::EndWait(bool has_room) {
  const std::lock_guard lock(mutex);
  if (!has_room) Resume(NoRoom());
  if (std::exchange(suspended, false)) MHD_resume_connection(connection);
}

void HttpServer::Exchange::EndWaitForPlace() {
  const std::lock_guard lock(mutex);
  Resume(Busy());
}

void HttpServer::Exchange::FitMemory() {
  if (memory) memory->ShrinkTo(MemoryFor(task.kind, body.size()));
}

void HttpServer::Exchange::Work() {
  {
    const std::lock_guard lock(mutex);
    if (!AwaitsAnswer()) return;
    running = true;
  }
  figures->NoteBegin(std::chrono::steady_clock::now() - dispatched);
  auto outcome = Run();
  const auto writer = std::exchange(outcome.writer, nullptr);
  std::shared_ptr<AnswerStream> stream;
  if (writer) stream = std::make_shared<AnswerStream>([this] { GoOn(); });
  {
    const std::lock_guard lock(mutex);
    answer_stream = stream;
    Resume(std::move(outcome));
    running = stream != nullptr;
  }
  if (!stream) return;
  Write(*stream, writer);
  const std::lock_guard lock(mutex);
  running = false;
}

/// What it has not written when it throws is cut off.
void HttpServer::Exchange::Write(AnswerStream& stream, const platform::HttpWriter& writer) {
  const platform::RequestScope request(context);
  const platform::CallScope scope(*call);
  const bool is_complete = platform::Guard([&] { return writer(stream); },
                                           [this](const char* reason) {
                                             LogHost(kLogFailure, "%s threw in its answer: %s", Line().c_str(),
                                                     reason != nullptr ? reason : "unknown");
                                             return false;
                                           });
  stream.End(is_complete);
}

void HttpServer::Exchange::Suspend() {
  MHD_suspend_connection(connection);
  suspended = true;
}

void HttpServer::Exchange::GoOn() {
  const std::lock_guard lock(mutex);
  if (std::exchange(suspended, false)) MHD_resume_connection(connection);
}

void HttpServer::Exchange::BreakStreams() {
  if (body_stream) body_stream->Break();
  std::shared_ptr<AnswerStream> stream;
  {
    const std::lock_guard lock(mutex);
    stream = answer_stream;
  }
  if (stream) stream->Close();
}

HttpServer::Exchange::GivenUp HttpServer::Exchange::GiveUp() {
  const std::lock_guard lock(mutex);
  // Before the dispatch the answer belongs to the connection's thread alone.
  if (!AwaitsAnswer() || answer) return call ? GivenUp::kWhileAnswered : GivenUp::kBeforeItsTask;
  Resume(Stopping());
  return running ? GivenUp::kInsideItsTask : GivenUp::kBeforeItsTask;
}

/// No exception of a request, in a plugin or in the host, may terminate the process.
HttpAnswer HttpServer::Exchange::Run() {
  auto outcome =
      platform::Guard([this] { return RunBound(); }, [](const char*) { return Bare(MHD_HTTP_INTERNAL_SERVER_ERROR); });
  // All but the answer has been freed by now.
  if (memory) memory->ShrinkTo(outcome.body.capacity());
  return outcome;
}

HttpAnswer HttpServer::Exchange::RunBound() {
  const platform::RequestScope request(context);
  const platform::CallScope scope(*call);
  if (call->IsCancelled()) return Stopping();
  auto outcome = RunTask();
  if (call->HasWritten()) return outcome;
  if (call->IsRefusedAsBusy()) return Busy();
  // A part of what it should have read may be missing.
  return call->IsCancelled() ? Stopping() : std::move(outcome);
}

HttpAnswer HttpServer::Exchange::RunTask() {
  return platform::Guard([this] { return task.run(std::move(body), body_stream.get()); },
                         [this](const char* reason) {
                           if (reason != nullptr) {
                             LogHost(kLogFailure, "%s threw: %s", Line().c_str(), reason);
                           } else {
                             LogHost(kLogFailure, "%s threw", Line().c_str());
                           }
                           return ErrorAnswer(MHD_HTTP_INTERNAL_SERVER_ERROR, "internal error");
                         });
}

void HttpServer::Exchange::Decide(HttpAnswer next) {
  if (running && task.ended) task.ended(next, received);
  answer = std::move(next);
}

void HttpServer::Exchange::Resume(HttpAnswer next) {
  if (!AwaitsAnswer() || answer) return;
  if (hang_ups_ != nullptr) hang_ups_->Unwatch(ticket_);
  Decide(std::move(next));
  if (std::exchange(suspended, false)) MHD_resume_connection(connection);
}

void HttpServer::Exchange::Watch(HangUps& hang_ups, std::chrono::steady_clock::time_point begun_by) {
  const std::lock_guard lock(mutex);
  if (hang_ups_ != nullptr || !suspended || answer || !call || dispatched > begun_by) return;
  if (task.kind != platform::Call::Kind::kReads) return;
  hang_ups_ = &hang_ups;
  ticket_ = hang_ups.Watch(fd, [self = shared_from_this()](HangUps::Sign sign) { self->Seen(sign); });
}

void HttpServer::Exchange::Seen(HangUps::Sign sign) {
  const std::lock_guard lock(mutex);
  if (!suspended || answer) return;
  const platform::RequestScope request(context);
  if (sign == HangUps::Sign::kGone || end_of_stream == EndOfStreamMeans::kGone) {
    LogHost(kLogTrace, "%s: the client has hung up", Line().c_str());
    call->Cancel();
  } else if (end_of_stream == EndOfStreamMeans::kAsk) {
    // The library writes nothing meanwhile: the connection is suspended.
    HangUps::Ask(fd);
  }
}

void HttpServer::Exchange::Cancel() {
  const std::lock_guard lock(mutex);
  if (suspended && call) call->Cancel();
}

bool HttpServer::Exchange::Writes() {
  const std::lock_guard lock(mutex);
  return call && (call->kind() == platform::Call::Kind::kWrites || call->HasWritten());
}

bool HttpServer::Exchange::Runs() {
  const std::lock_guard lock(mutex);
  return running;
}

}  // namespace host
