#include "store/Scrubber.h"

#include <utility>

#include "Barrier.h"
#include "store/Digest.h"
#include "store/FileFigures.h"

namespace FileManager {

Scrubber::Verdict Scrubber::Check(IByteStore& store, const FileRow& file, const Pace& pace) {
  Digest digest;
  bool was_ended = false;
  const auto read = store.Check(file.sha256, [&](std::string_view bytes) {
    digest.Add(bytes);
    FileFigures::Process().checked.Add({}, bytes.size());
    was_ended = !pace(bytes.size());
    return !was_ended;
  });
  if (was_ended || (read != StoreResult::kDone && read != StoreResult::kMissing)) return Verdict::kNone;
  const auto found = read == StoreResult::kMissing ? std::string() : digest.Hex();
  const auto verdict = read == StoreResult::kMissing ? Verdict::kMissing
                       : found == file.sha256        ? Verdict::kGood
                                                     : Verdict::kAltered;
  const auto state = verdict == Verdict::kGood      ? file_state::kWhole
                     : verdict == Verdict::kMissing ? file_state::kMissing
                                                    : file_state::kAltered;
  if (verdict != Verdict::kGood) {
    FILE_MANAGER_LOG(kLogFailure, "File %d is %s: SHA-256 %s, on the disk %s", file.id, std::string(state).c_str(),
                     file.sha256.c_str(), found.empty() ? "nothing" : found.c_str());
  } else if (file.state != file_state::kWhole) {
    FILE_MANAGER_LOG(kLogAnomaly, "File %d is whole again", file.id);
  }
  return FileTable::MarkChecked(file.sha256, state) ? verdict : Verdict::kNone;
}

Background::Background(std::chrono::milliseconds between, std::function<void(const Wait& wait)> work)
    : thread_([this, between, work = std::move(work)] {
        const Wait wait = [this](std::chrono::milliseconds time) { return WaitFor(time); };
        do {
          GuardEdge([&] { work(wait); }, [] {});
        } while (WaitFor(between));
      }) {}

Background::~Background() {
  {
    const std::lock_guard lock(mutex_);
    is_ended_ = true;
  }
  ended_.notify_all();
}

bool Background::WaitFor(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return !ended_.wait_for(lock, time, [this] { return is_ended_; });
}

}  // namespace FileManager
