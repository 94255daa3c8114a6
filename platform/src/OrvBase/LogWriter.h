#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "LogFile.h"
#include "RealBackends.h"

namespace platform {

/// Lines on their way to a file. They gather in one block while the other one is written, by a thread that looks every
/// 20 ms: a line wakes nobody, unless the thread has found nothing for a second. The file is opened anew when that is
/// asked for, and within a second after another file or none stands at its path. Thread-safe.
class LogWriter {
 public:
  /// `most_lines` is what may wait; `format` is that of the line that tells of lost ones. Throws std::exception when
  /// the file cannot be opened, or memory or thread be had.
  LogWriter(const std::string& path, std::size_t most_lines, LogFormat format);
  /// Writes what is left.
  ~LogWriter();
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  /// `line` ends with a line break; one inside it is followed by a TAB. Waits for room. When nothing could be written
  /// for a second, nobody waits any more: the oldest lines are given up, and a line of the log counts them.
  void Append(std::string_view line);
  /// The same; returns when the line and all before are written, but waits for a pipe no longer than a second.
  void AppendAndWrite(std::string_view line);

  /// False, with the old file kept, when the file cannot be opened. Lines that came before are in the old one, whole.
  [[nodiscard]] bool Reopen();

  /// Called once, by a handler of a signal that ends the process: writes what is left, within seconds whatever hangs.
  /// The writing thread does nothing more.
  void WriteInHandler();

 private:
  using Clock = std::chrono::steady_clock;

  struct Block {
    std::unique_ptr<char[]> bytes;
    /// Under mutex_.
    std::size_t lines = 0;
    /// Whole lines, and what of them is written: a handler reads them without the mutex.
    std::atomic<std::size_t> end = 0;
    std::atomic<std::size_t> written = 0;
  };
  /// What is done in a round.
  struct Work {
    Block* block = nullptr;
    std::size_t lost = 0;
    int next_fd = -1;
  };

  std::uint64_t Put(std::string_view line, std::unique_lock<std::mutex>& lock);
  Block& RoomFor(std::size_t size, std::unique_lock<std::mutex>& lock);
  void DropOldest(Block& block);
  [[nodiscard]] bool IsStuck() const;

  void WriteHere(std::unique_lock<std::mutex>& lock);
  void Run();
  void Rest(std::unique_lock<std::mutex>& lock);
  void Round(std::unique_lock<std::mutex>& lock);
  Work TakeWork();
  void Do(const Work& work);
  void WriteLoss(const Block& next);
  void WriteBlock(Block& block);
  void GiveUpRest(const Block& block);
  [[nodiscard]] static bool EndsLine(const Block& block, std::size_t at);
  void LookAfterFile();
  void Use(int next_fd);
  [[nodiscard]] bool Write(const char* bytes, std::size_t size, std::atomic<std::size_t>& written);
  void Complain(int error);

  /// Entered to touch descriptor or blocks; never returns once a handler writes.
  void Enter();
  void Leave() { is_inside_.store(false); }

  const LogFormat format_;
  const std::size_t most_lines_;
  const std::size_t most_bytes_;
  LogFile file_;
  std::array<Block, 2> blocks_;
  std::atomic<std::size_t> filling_ = 0;

  /// Since when the same piece has been written, in ticks of the clock; 0 while nothing is.
  std::atomic<Clock::rep> busy_since_ = 0;
  std::atomic<bool> is_inside_ = false;
  std::atomic<pthread_t> inside_{};
  std::atomic<bool> is_handled_ = false;

  std::mutex mutex_;
  /// For the thread, and for who waits until a block is taken or written.
  std::condition_variable wake_;
  std::condition_variable room_;
  std::condition_variable done_;
  // Guarded by mutex_:
  bool is_asleep_ = false;
  bool is_urgent_ = false;
  /// A thread is in a round; the members for rounds are its.
  bool is_writing_ = false;
  bool is_ending_ = false;
  int next_fd_ = -1;
  std::size_t lost_ = 0;
  /// How many blocks were taken, and how many of them written.
  std::uint64_t taken_ = 0;
  std::uint64_t written_ = 0;

  Clock::time_point last_line_;

  // For rounds:
  /// Lines that were lost and not yet told, and whether a part of one is written.
  std::size_t given_up_ = 0;
  bool is_torn_ = false;
  Clock::time_point last_look_;
  std::optional<Clock::time_point> last_complaint_;

  std::thread thread_;
};

}  // namespace platform
