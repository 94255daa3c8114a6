#include "store/Uploads.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "FileManagerLog.h"
#include "store/FileFigures.h"

namespace FileManager {
namespace {

using Outcome = Uploads::Outcome;
using FileTable::Found;

/// As much as a stream holds for its reader.
constexpr std::size_t kBufferBytes = std::size_t{256} << 10;
constexpr std::size_t kMostKnown = 1024;
/// How long a newer request waits for the end of an older one.
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kBetweenTries{100};
constexpr int kTries = 20;

Outcome OutcomeOf(StoreResult result) {
  switch (result) {
    case StoreResult::kBusy:
      return Outcome::kBusy;
    case StoreResult::kFull:
      return Outcome::kFull;
    case StoreResult::kDone:
      return Outcome::kMore;
    case StoreResult::kMissing:
    case StoreResult::kFailed:
      break;
  }
  return Outcome::kUnavailable;
}

/// What becomes of a body for a file that is whole already: only one without bytes, at its end, is right.
Outcome AfterEnd(std::int64_t size, std::int64_t offset, platform::HttpBodyReader& reader) {
  if (offset != size) return Outcome::kOtherOffset;
  char byte = 0;
  const auto count = reader.Read(&byte, 1);
  return count == 0 ? Outcome::kWhole : count < 0 ? Outcome::kCutOff : Outcome::kTooLarge;
}

}  // namespace

Uploads::Result Uploads::Open(FileRow file) {
  if (file.bytes > limits_.file_bytes) return {Outcome::kTooLarge, 0, std::move(file)};
  if (!store_.HasRoom(std::max<std::int64_t>(file.bytes, 0))) return {Outcome::kFull, 0, std::move(file)};
  const auto opened = FileTable::Open(file, limits_.per_user);
  if (opened != Found::kYes) {
    return {opened == Found::kNo ? Outcome::kTooMany : Outcome::kUnavailable, 0, std::move(file)};
  }
  if (file.bytes == 0) return Look(file.id, file.received_by);
  return {Outcome::kMore, 0, std::move(file)};
}

/// The row of an upload of this user that is being received.
Uploads::Result Uploads::Find(std::int32_t id, std::int32_t user_id) {
  Result result;
  const auto found = FileTable::Read(result.file, id);
  if (found == Found::kUnknown) return result;
  result.outcome = found == Found::kNo                       ? Outcome::kNoSuchFile
                   : result.file.received_by != user_id      ? Outcome::kNotYours
                   : result.file.state == file_state::kWhole ? Outcome::kWhole
                   : !result.file.IsReceiving()              ? Outcome::kEnded
                   : !result.file.refused_at.empty()         ? Outcome::kOtherDigest
                                                             : Outcome::kMore;
  result.offset = std::max<std::int64_t>(result.file.bytes, 0);
  // Everything had been received when the process died, or the database was away.
  if (result.outcome == Outcome::kMore && !result.file.sha256.empty()) {
    result.outcome = Place(result.file);
    result.became_whole = result.outcome == Outcome::kWhole;
  }
  return result;
}

/// Another host that has just let it go, or is about to, gets some time.
Uploads::Outcome Uploads::Open(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) {
  auto result = StoreResult::kBusy;
  for (int n = 0; n < kTries && result == StoreResult::kBusy; ++n) {
    if (n != 0) std::this_thread::sleep_for(kBetweenTries);
    result = store_.OpenForAppend(unfinished, id);
  }
  return OutcomeOf(result);
}

Uploads::Result Uploads::Append(std::int32_t id, std::int32_t user_id, std::int64_t offset,
                                platform::HttpBodyReader& reader, bool ends_with_body) {
  const auto hold = holds_.Take(id, &reader, kPatience);
  if (!hold) return {Outcome::kBusy, 0, {}};
  auto result = Find(id, user_id);
  if (result.outcome == Outcome::kWhole) result.outcome = AfterEnd(result.offset, offset, reader);
  if (result.outcome != Outcome::kMore) return result;
  std::unique_ptr<IUnfinished> unfinished;
  result.outcome = Open(unfinished, id);
  if (result.outcome != Outcome::kMore) return result;
  result.offset = unfinished->Size();
  if (result.offset != offset) {
    result.outcome = Outcome::kOtherOffset;
    return result;
  }
  Digest digest;
  result.outcome = DigestOf(digest, *unfinished, id);
  if (result.outcome != Outcome::kMore) return result;
  const auto limit = result.file.bytes < 0 ? limits_.file_bytes : result.file.bytes;
  result.outcome = Receive(*unfinished, digest, limit, reader);
  // Also what came before a fault: the client goes on there.
  const auto synced = OutcomeOf(unfinished->Sync());
  if (result.outcome == Outcome::kMore) result.outcome = synced;
  result.offset = unfinished->Size();
  if (result.offset != offset && !FileTable::MarkReceived(id)) {
    FILE_MANAGER_LOG(kLogAnomaly, "File %d: it cannot be noted that bytes were received", id);
  }
  const bool is_all = result.offset == result.file.bytes || (result.file.bytes < 0 && ends_with_body);
  if (result.outcome == Outcome::kMore && is_all) End(result, digest);
  if (synced == Outcome::kMore && result.outcome != Outcome::kWhole) Remember(id, result.offset, std::move(digest));
  return result;
}

/// The digest of what is there.
Uploads::Outcome Uploads::DigestOf(Digest& digest, IUnfinished& unfinished, std::int32_t id) {
  if (unfinished.Size() == 0) return Outcome::kMore;
  if (auto known = Recall(id, unfinished.Size())) {
    digest = *std::move(known);
    return Outcome::kMore;
  }
  std::int64_t count = 0;
  const auto read = unfinished.ReadBack([&](std::string_view bytes) {
    digest.Add(bytes);
    count += static_cast<std::int64_t>(bytes.size());
    return true;
  });
  return read == StoreResult::kDone && count == unfinished.Size() ? Outcome::kMore : Outcome::kUnavailable;
}

/// Appends until the body ends. kMore: it did.
Uploads::Outcome Uploads::Receive(IUnfinished& unfinished, Digest& digest, std::int64_t limit,
                                  platform::HttpBodyReader& reader) {
  // What a slow client never fills takes no memory.
  const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferBytes);
  for (;;) {
    const auto count = reader.Read(buffer.get(), kBufferBytes);
    if (count == 0) return Outcome::kMore;
    if (count < 0) return Outcome::kCutOff;
    const std::string_view bytes(buffer.get(), static_cast<std::size_t>(count));
    if (count > limit - unfinished.Size()) return Outcome::kTooLarge;
    const auto before = unfinished.Size();
    const auto done = unfinished.Append(bytes);
    digest.Add(bytes.substr(0, static_cast<std::size_t>(unfinished.Size() - before)));
    FileFigures::Process().received.Add({}, static_cast<std::uint64_t>(unfinished.Size() - before));
    if (done != StoreResult::kDone) return OutcomeOf(done);
  }
}

/// All bytes are there and synced.
void Uploads::End(Result& result, const Digest& digest) {
  result.outcome = Complete(result.file, digest, result.offset);
  result.became_whole = result.outcome == Outcome::kWhole;
}

Uploads::Outcome Uploads::Complete(FileRow& file, const Digest& digest, std::int64_t size) {
  file.sha256 = digest.Hex();
  if (!file.expected_sha256.empty() && file.expected_sha256 != file.sha256) {
    FILE_MANAGER_LOG(kLogAnomaly, "File %d: expected SHA-256 %s, received %s", file.id, file.expected_sha256.c_str(),
                     file.sha256.c_str());
    return FileTable::MarkRefused(file.id, file.sha256) ? Outcome::kOtherDigest : Outcome::kUnavailable;
  }
  file.bytes = size;
  return FileTable::Seal(file.id, file.sha256, size) ? Place(file) : Outcome::kUnavailable;
}

/// Moves sealed bytes to their place. When they are not in their old one they are there already, or lost.
Uploads::Outcome Uploads::Place(FileRow& file) {
  const auto moved = store_.Finish(file.id, file.sha256);
  if (moved == StoreResult::kMissing) {
    Digest digest;
    const auto read = store_.Check(file.sha256, [&digest](std::string_view bytes) {
      digest.Add(bytes);
      return true;
    });
    if (read != StoreResult::kDone || digest.Hex() != file.sha256) {
      FILE_MANAGER_LOG(kLogFailure, "File %d: the received bytes are not there", file.id);
      return Outcome::kUnavailable;
    }
  } else if (moved != StoreResult::kDone) {
    return OutcomeOf(moved);
  }
  if (!FileTable::MarkWhole(file.id)) return Outcome::kUnavailable;
  file.state = file_state::kWhole;
  FILE_MANAGER_LOG(kLogProgress, "File %d is whole: %lld bytes of user %d from %s, SHA-256 %s", file.id,
                   static_cast<long long>(file.bytes), file.received_by, file.address.c_str(), file.sha256.c_str());
  return Outcome::kWhole;
}

Uploads::Result Uploads::Look(std::int32_t id, std::int32_t user_id) {
  const auto hold = holds_.Take(id, nullptr, kPatience);
  if (!hold) return {Outcome::kBusy, 0, {}};
  auto result = Find(id, user_id);
  if (result.outcome != Outcome::kMore) return result;
  std::unique_ptr<IUnfinished> unfinished;
  result.outcome = Open(unfinished, id);
  if (result.outcome != Outcome::kMore) return result;
  result.offset = unfinished->Size();
  if (result.offset != result.file.bytes) return result;
  Digest digest;
  result.outcome = DigestOf(digest, *unfinished, id);
  if (result.outcome == Outcome::kMore) result.outcome = OutcomeOf(unfinished->Sync());
  if (result.outcome == Outcome::kMore) End(result, digest);
  return result;
}

Uploads::Result Uploads::Cancel(std::int32_t id, std::int32_t user_id) {
  const auto hold = holds_.Take(id, nullptr, kPatience);
  if (!hold) return {Outcome::kBusy, 0, {}};
  auto result = Find(id, user_id);
  if (result.outcome != Outcome::kMore && result.outcome != Outcome::kOtherDigest) return result;
  const auto removed = store_.RemoveUnfinished(id);
  result.outcome = removed != StoreResult::kDone ? OutcomeOf(removed)
                   : FileTable::MarkRemoved(id)  ? Outcome::kEnded
                                                 : Outcome::kUnavailable;
  return result;
}

void Uploads::Tidy(std::int64_t hours) {
  std::vector<FileRow> files;
  if (FileTable::Sealed(files)) {
    for (auto& file : files) {
      if (const auto hold = holds_.TryTake(file.id)) static_cast<void>(Place(file));
    }
  }
  if (!FileTable::Stale(files, hours)) return;
  for (const auto& file : files)
    RemoveStale(file);
}

void Uploads::RemoveStale(const FileRow& file) {
  const auto hold = holds_.TryTake(file.id);
  if (!hold || store_.RemoveUnfinished(file.id) != StoreResult::kDone) return;
  if (FileTable::MarkRemoved(file.id)) FILE_MANAGER_LOG(kLogProgress, "File %d: its upload was removed", file.id);
}

void Uploads::Remember(std::int32_t id, std::int64_t size, Digest digest) {
  const std::lock_guard lock(known_mutex_);
  std::erase_if(known_, [id](const Known& known) { return known.id == id; });
  if (known_.size() == kMostKnown) known_.pop_front();
  known_.push_back({id, size, std::move(digest)});
}

std::optional<Digest> Uploads::Recall(std::int32_t id, std::int64_t size) {
  const std::lock_guard lock(known_mutex_);
  const auto known = std::ranges::find(known_, id, &Known::id);
  if (known == known_.end()) return std::nullopt;
  std::optional<Digest> digest;
  if (known->size == size) digest = std::move(known->digest);
  known_.erase(known);
  return digest;
}

}  // namespace FileManager
