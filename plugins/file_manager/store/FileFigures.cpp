#include "store/FileFigures.h"

#include <string>

namespace FileManager {
namespace {

/// Counting reads all rows.
constexpr std::chrono::minutes kBetweenReads{1};

}  // namespace

FileFigures& FileFigures::Process() {
  static FileFigures figures;
  return figures;
}

platform::MetricFamilies FileFigures::Collect() {
  platform::MetricFamilies families;
  families.push_back(received.Collect());
  families.push_back(delivered.Collect());
  families.push_back(checked.Collect());
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (now >= next_read_) {
    FileTable::Totals totals;
    // What was read last would be a guess; nothing is said until the database answers.
    if (!FileTable::ReadTotals(totals)) return families;
    totals_ = totals;
    next_read_ = now + kBetweenReads;
  }
  using enum platform::MetricType;
  families.push_back({"evidence_files_bytes",
                      "Bytes of the files that are whole.",
                      kGauge,
                      {{{}, static_cast<double>(totals_.whole_bytes)}}});
  platform::MetricFamily faults{"evidence_file_faults", "Files whose bytes are not as they should be.", kGauge, {}};
  faults.samples.push_back({{{"state", std::string(file_state::kAltered)}}, static_cast<double>(totals_.altered)});
  faults.samples.push_back({{{"state", std::string(file_state::kMissing)}}, static_cast<double>(totals_.missing)});
  families.push_back(std::move(faults));
  return families;
}

}  // namespace FileManager
