#include "LogWriter.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "FatalSignals.h"
#include "LogLine.h"
#include "platform/Guard.h"

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kRound = 20ms;
/// After so long without a line the thread waits to be woken, and looks after the file now and then.
constexpr auto kQuiet = 1s;
constexpr auto kLook = 400ms;
/// An output that took nothing for so long holds nobody up.
constexpr auto kPatience = 1s;
/// What a thread that logs writes for others at most, who came meanwhile.
constexpr int kRoundsForOthers = 4;

/// What a block has for each line; the longest lines fit into the least block.
constexpr std::size_t kLineBytes = 512;
constexpr std::size_t kLeastBytes = 512UL * 1024;
/// Of one write: what a pipe takes of it shows that its reader reads.
constexpr std::size_t kPiece = 64UL * 1024;
/// Of one write in a handler: what a pipe that polls as writable takes without blocking.
constexpr std::size_t kHandlerPiece = 4096;
constexpr int kHandlerPatienceMs = 1000;

/// Only what the thread itself raises reaches it, so that a handler of another signal finds it at a whole step.
void BlockSignals() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
    sigdelset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

LogWriter::LogWriter(const std::string& path, std::size_t most_lines, LogFormat format)
    : format_(format),
      most_lines_(most_lines),
      most_bytes_(std::max(most_lines * kLineBytes, kLeastBytes)),
      file_(path) {
  for (auto& block : blocks_)
    block.bytes.reset(new char[most_bytes_]);  // not touched before it is needed
  last_line_ = last_look_ = Clock::now();
  thread_ = std::thread([this] { Run(); });
  WriteOnFatalSignal(*this);
}

LogWriter::~LogWriter() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  wake_.notify_one();
  thread_.join();
  ForgetOnFatalSignal(*this);
  if (next_fd_ >= 0) close(next_fd_);
}

void LogWriter::Append(std::string_view line) {
  std::unique_lock lock(mutex_);
  Put(line, lock);
  const bool wakes = std::exchange(is_asleep_, false);
  lock.unlock();
  if (wakes) wake_.notify_one();
}

void LogWriter::AppendAndWrite(std::string_view line) {
  std::unique_lock lock(mutex_);
  const auto block = Put(line, lock);
  if (!is_writing_ && file_.IsRegular()) return WriteHere(lock);
  is_urgent_ = true;
  if (!is_writing_) wake_.notify_one();
  if (!IsStuck()) done_.wait_for(lock, kPatience, [&] { return written_ > block; });
}

/// On the thread that logs: cheaper than waking another, and a file holds nobody for long.
void LogWriter::WriteHere(std::unique_lock<std::mutex>& lock) {
  int rounds = 0;
  do {
    Round(lock);
  } while (is_urgent_ && ++rounds < kRoundsForOthers);
  if (is_urgent_ || is_ending_ || next_fd_ >= 0) wake_.notify_one();
}

/// The number of the block that has the line.
std::uint64_t LogWriter::Put(std::string_view line, std::unique_lock<std::mutex>& lock) {
  line = line.substr(0, most_bytes_);
  auto& block = RoomFor(line.size(), lock);
  const auto end = block.end.load();
  std::memcpy(&block.bytes[end], line.data(), line.size());
  block.end.store(end + line.size());
  ++block.lines;
  return taken_;
}

LogWriter::Block& LogWriter::RoomFor(std::size_t size, std::unique_lock<std::mutex>& lock) {
  for (;;) {
    auto& block = blocks_.at(filling_);
    if (block.lines < most_lines_ && size <= most_bytes_ - block.end) return block;
    if (IsStuck()) {
      DropOldest(block);
      continue;
    }
    is_urgent_ = true;
    if (!is_writing_) wake_.notify_one();
    room_.wait_for(lock, kPatience);
  }
}

bool LogWriter::EndsLine(const Block& block, std::size_t at) {
  return block.bytes[at] == '\n' && (at + 1 == block.end || block.bytes[at + 1] != '\t');
}

/// Half of the lines, so that this is not done for each line that comes.
void LogWriter::DropOldest(Block& block) {
  const auto end = block.end.load();
  const std::size_t dropped = (block.lines + 1) / 2;
  std::size_t at = 0;
  for (std::size_t lines = 0; lines < dropped && at < end; ++at) {
    if (EndsLine(block, at)) ++lines;
  }
  std::memmove(&block.bytes[0], &block.bytes[at], end - at);
  block.end.store(end - at);
  block.lines -= dropped;
  lost_ += dropped;
}

bool LogWriter::IsStuck() const {
  const auto since = busy_since_.load();
  return since != 0 && Clock::now() - Clock::time_point(Clock::duration(since)) >= kPatience;
}

bool LogWriter::Reopen() {
  const int next = file_.Open();
  if (next < 0) return false;
  const std::lock_guard lock(mutex_);
  const int former = std::exchange(next_fd_, next);
  if (former >= 0) close(former);
  wake_.notify_one();
  return true;
}

void LogWriter::Run() {
  BlockSignals();
  std::unique_lock lock(mutex_);
  for (bool is_last = false; !is_last;) {
    Rest(lock);
    if (is_writing_) continue;
    is_last = is_ending_;
    Round(lock);
  }
}

/// Returns when there may be something to do.
void LogWriter::Rest(std::unique_lock<std::mutex>& lock) {
  const bool is_quiet = blocks_.at(filling_).end == 0 && Clock::now() - last_line_ >= kQuiet;
  is_asleep_ = is_quiet;
  wake_.wait_for(lock, is_quiet ? kLook : kRound, [&] {
    const bool is_called = is_urgent_ || is_ending_ || next_fd_ >= 0;
    return is_asleep_ != is_quiet || (is_called && !is_writing_);
  });
  is_asleep_ = false;
}

/// Writes what there is; the mutex is free meanwhile.
void LogWriter::Round(std::unique_lock<std::mutex>& lock) {
  const auto work = TakeWork();
  lock.unlock();
  Do(work);
  lock.lock();
  is_writing_ = false;
  busy_since_ = 0;
  written_ = taken_;
  done_.notify_all();
}

LogWriter::Work LogWriter::TakeWork() {
  is_writing_ = true;
  is_urgent_ = false;
  const auto now = Clock::now();
  busy_since_ = now.time_since_epoch().count();
  Work work{nullptr, 0, std::exchange(next_fd_, -1)};
  auto& block = blocks_.at(filling_);
  if (block.end == 0) return work;
  work.block = &block;
  work.lost = std::exchange(lost_, 0);
  block.lines = 0;
  filling_ = 1 - filling_;
  ++taken_;
  last_line_ = now;
  room_.notify_all();
  return work;
}

void LogWriter::Do(const Work& work) {
  if (work.block != nullptr) {
    given_up_ += work.lost;
    if (given_up_ != 0) WriteLoss(*work.block);
    WriteBlock(*work.block);
  }
  Use(work.next_fd);
  LookAfterFile();
}

void LogWriter::WriteLoss(const Block& next) {
  Guard(
      [&] {
        const auto line = (is_torn_ ? "\n" : "") + LossLine(format_, {&next.bytes[0], next.end}, given_up_);
        std::atomic<std::size_t> written = 0;
        if (!Write(line.data(), line.size(), written)) return Complain(errno);
        given_up_ = 0;
        is_torn_ = false;
      },
      [](const char* /*reason*/) {});
}

void LogWriter::WriteBlock(Block& block) {
  if (!Write(&block.bytes[0], block.end, block.written)) {
    Complain(errno);
    GiveUpRest(block);
  }
  Enter();
  block.end = 0;
  block.written = 0;
  Leave();
}

void LogWriter::GiveUpRest(const Block& block) {
  const std::size_t written = block.written;
  if (written != 0) is_torn_ = block.bytes[written - 1] != '\n';
  for (std::size_t at = written; at < block.end; ++at)
    given_up_ += EndsLine(block, at) ? 1 : 0;
}

void LogWriter::LookAfterFile() {
  const auto now = Clock::now();
  if (now - last_look_ < kLook) return;
  last_look_ = now;
  // While it cannot be opened, the old one takes the lines.
  if (file_.IsAway()) Use(file_.Open());
}

void LogWriter::Use(int next_fd) {
  if (next_fd < 0) return;
  Enter();
  file_.Use(next_fd);
  Leave();
}

/// False, with errno, when the rest cannot be written.
bool LogWriter::Write(const char* bytes, std::size_t size, std::atomic<std::size_t>& written) {
  while (written < size) {
    Enter();
    const auto count = write(file_.fd(), bytes + written, std::min(size - written, kPiece));
    if (count > 0) written += static_cast<std::size_t>(count);
    Leave();
    if (count < 0 && errno != EINTR) return false;
    busy_since_ = Clock::now().time_since_epoch().count();
  }
  return true;
}

void LogWriter::Complain(int error) {
  const auto now = Clock::now();
  if (last_complaint_ && now - *last_complaint_ < 1s) return;
  last_complaint_ = now;
  std::fprintf(stderr, "the log %s cannot be written: %s\n", file_.path().c_str(), strerrordesc_np(error));
}

void LogWriter::Enter() {
  inside_ = pthread_self();
  is_inside_ = true;
  if (!is_handled_) return;
  is_inside_ = false;
  for (;;)
    pause();
}

void LogWriter::WriteInHandler() {
  is_handled_ = true;
  const auto other_is_inside = [this] { return is_inside_ && pthread_equal(inside_, pthread_self()) == 0; };
  for (int waited = 0; other_is_inside() && waited < kHandlerPatienceMs; ++waited)
    poll(nullptr, 0, 1);
  if (other_is_inside()) return;
  const auto write_rest = [fd = file_.fd()](Block& block) {
    pollfd output{fd, POLLOUT, 0};
    for (std::size_t at = block.written; at < block.end; at = block.written) {
      if (poll(&output, 1, kHandlerPatienceMs) != 1) return;
      const auto count = write(fd, &block.bytes[at], std::min(block.end - at, kHandlerPiece));
      if (count < 0) return;
      block.written = at + static_cast<std::size_t>(count);
    }
  };
  write_rest(blocks_[1 - filling_]);
  write_rest(blocks_[filling_]);
}

}  // namespace platform
