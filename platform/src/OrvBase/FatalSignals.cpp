#include "FatalSignals.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "LogWriter.h"
#include "RealBackends.h"

namespace platform {
namespace {

// Sanitizers report such signals themselves, on signal stacks of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kIsSanitized = false;
#endif

/// Those that end a process by default and come from a fault of its own, or from whoever stops a command.
constexpr int kFatal[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTERM, SIGINT, SIGHUP};
constexpr int kOtherHandlerPatienceMs = 3000;

std::atomic<LogWriter*> the_writer = nullptr;
/// The lines of a process that was forked off are its parent's.
std::atomic<pid_t> the_process = 0;
std::atomic<bool> is_handling = false;

/// With all signals blocked: a fault of its own ends the process at once.
void Handle(int signal_number) {
  auto* const writer = getpid() == the_process ? the_writer.load() : nullptr;
  if (is_handling.exchange(true)) {
    poll(nullptr, 0, kOtherHandlerPatienceMs);
  } else if (writer != nullptr) {
    writer->WriteInHandler();
  }
  // Comes as soon as this returns.
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

class SignalStack {
 public:
  SignalStack() {
    stack_t present{};
    if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
    void* const memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    memory_ = memory;
    const stack_t own{memory_, 0, size_};
    sigaltstack(&own, nullptr);
  }
  ~SignalStack() {
    if (memory_ == nullptr) return;
    const stack_t none{nullptr, SS_DISABLE, 0};
    sigaltstack(&none, nullptr);
    munmap(memory_, size_);
  }
  SignalStack(const SignalStack&) = delete;
  SignalStack& operator=(const SignalStack&) = delete;

 private:
  static constexpr long kLeast = 64L * 1024;

  const std::size_t size_ = static_cast<std::size_t>(std::max(sysconf(_SC_SIGSTKSZ), kLeast));
  void* memory_ = nullptr;
};

}  // namespace

void WriteOnFatalSignal(LogWriter& writer) { the_writer = &writer; }

void ForgetOnFatalSignal(LogWriter& writer) {
  LogWriter* expected = &writer;
  the_writer.compare_exchange_strong(expected, nullptr);
}

void KeepSignalStack() {
  if constexpr (!kIsSanitized) thread_local const SignalStack stack;
}

void HandleFatalSignals() {
  if (kIsSanitized) return;
  KeepSignalStack();
  the_process = getpid();
  for (const int signal_number : kFatal) {
    struct sigaction present {};
    if (sigaction(signal_number, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
    struct sigaction action {};
    action.sa_handler = &Handle;
    action.sa_flags = SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
  }
}

}  // namespace platform
