#include "Stopping.h"

#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "Backend.h"
#include "HostLog.h"

namespace host {
namespace {

/// The process ends so long before its time is over, for what its end itself takes.
constexpr std::chrono::milliseconds kMargin{1000};
constexpr std::chrono::milliseconds kLastLines{500};

}  // namespace

/// Never destroyed: its threads use it to the end of the process.
Stopping& Stopping::Instance() {
  static auto* const stopping = new Stopping();
  return *stopping;
}

Stopping::Stopping() {
  sigemptyset(&signals_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaddset(&signals_, signal);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  std::thread([this] { Run(); }).detach();
  std::thread([this] { ReopenLog(); }).detach();
}

bool Stopping::IsAsked() {
  const std::lock_guard lock(mutex_);
  return signal_ != 0;
}

int Stopping::Wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return signal_ != 0; });
  return signal_;
}

void Stopping::Allow(std::chrono::seconds after) {
  const std::lock_guard lock(mutex_);
  allowed_ = after;
  changed_.notify_all();
}

void Stopping::Note(std::string what) {
  const std::lock_guard lock(mutex_);
  what_ = std::move(what);
}

void Stopping::SetExitCode(int code) {
  const std::lock_guard lock(mutex_);
  exit_code_ = code;
}

int Stopping::NextStop() {
  for (;;) {
    int signal = 0;
    if (sigwait(&signals_, &signal) != 0) continue;
    if (signal != SIGHUP) return signal;
    const std::lock_guard lock(mutex_);
    reopen_asked_ = true;
    changed_.notify_all();
  }
}

/// Not on the thread that waits for a stop: a pipe that nobody reads opens when somebody does.
void Stopping::ReopenLog() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return reopen_asked_; });
    reopen_asked_ = false;
    lock.unlock();
    const auto log = platform::Slot<platform::ILogSink>::Get();
    if (log && !log->Reopen()) LogHost(kLogFailure, "the log cannot be opened anew and goes on in the old file");
    lock.lock();
  }
}

void Stopping::Run() {
  const int signal = NextStop();
  std::unique_lock lock(mutex_);
  signal_ = signal;
  begun_ = Clock::now();
  changed_.notify_all();
  const auto end = [this] { return begun_ + allowed_ + kLongest - kMargin; };
  while (Clock::now() < end())
    changed_.wait_until(lock, end());
  LogHost(kLogFatal, "the stop takes too long: given up in %s", what_.c_str());
  End(exit_code_);
}

void Stopping::End(int code) {
  // On a thread of its own: the log may be what hangs.
  try {
    const auto written = std::make_shared<std::promise<void>>();
    std::thread([written] {
      platform::Slot<platform::ILogSink>::Exchange(nullptr);
      written->set_value();
    }).detach();
    written->get_future().wait_for(kLastLines);
  } catch (const std::exception&) {
    // Without a thread the last lines are lost.
  }
  std::_Exit(code);
}

}  // namespace host
