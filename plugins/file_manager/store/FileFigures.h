#pragma once

#include <chrono>
#include <mutex>

#include "platform/Metrics.h"
#include "store/FileTable.h"

namespace FileManager {

/// What monitoring sees of the files. Thread-safe.
struct FileFigures {
  platform::Counters received{"evidence_files_received_bytes_total", "Bytes of files that were received."};
  platform::Counters delivered{"evidence_files_delivered_bytes_total", "Bytes of files that were asked for."};
  platform::Counters checked{"evidence_files_checked_bytes_total", "Bytes that were compared with their digests."};

  /// Those of this process.
  [[nodiscard]] static FileFigures& Process();

  /// Also how many bytes there are, and how many files are not as they should be; of the last minute.
  [[nodiscard]] platform::MetricFamilies Collect();

 private:
  std::mutex mutex_;
  // Guarded by mutex_:
  FileTable::Totals totals_;
  std::chrono::steady_clock::time_point next_read_;
};

}  // namespace FileManager
