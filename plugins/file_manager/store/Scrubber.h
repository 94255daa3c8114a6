#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#include "store/ByteStore.h"
#include "store/FileTable.h"

namespace FileManager {

/// Reads files again and compares them with their digests.
class Scrubber {
 public:
  /// Called with the bytes that were read last; false ends the check without a result.
  using Pace = std::function<bool(std::size_t bytes)>;

  enum class Verdict {
    kGood,
    kAltered,
    kMissing,
    /// Not known: ended by its pace, or the store or the database failed.
    kNone,
  };
  /// Reads one file, notes in its row what it is now, and logs what is wrong.
  static Verdict Check(IByteStore& store, const FileRow& file, const Pace& pace);
};

/// Calls `work` again and again with a time between, on a thread of its own, until it is destroyed. `work` gets a
/// function that waits and returns false when it should end.
class Background {
 public:
  using Wait = std::function<bool(std::chrono::milliseconds time)>;

  Background(std::chrono::milliseconds between, std::function<void(const Wait& wait)> work);
  ~Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

 private:
  bool WaitFor(std::chrono::milliseconds time);

  std::mutex mutex_;
  std::condition_variable ended_;
  bool is_ended_ = false;
  std::jthread thread_;
};

}  // namespace FileManager
