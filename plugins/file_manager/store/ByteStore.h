#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "platform/HttpRoutes.h"

/// Where bytes lie: what is being received under the id of its file, what is whole under its digest.
namespace FileManager {

enum class StoreResult {
  kDone,
  /// There is no such object.
  kMissing,
  /// Somebody else appends to it, perhaps another host.
  kBusy,
  /// The disk has no room beyond its reserve.
  kFull,
  /// The disk or the server failed; the reason is logged.
  kFailed,
};

/// Takes bytes one after the other; false ends the reading.
using ByteSink = std::function<bool(std::string_view bytes)>;

/// What is being received. One holder at a time, of all hosts; let go by its destructor. Not thread-safe.
class IUnfinished {
 public:
  virtual ~IUnfinished() = default;
  /// Bytes that are there.
  [[nodiscard]] virtual std::int64_t Size() const = 0;
  /// After a failure some of them may be there.
  [[nodiscard]] virtual StoreResult Append(std::string_view bytes) = 0;
  /// What was appended survives a loss of power.
  [[nodiscard]] virtual StoreResult Sync() = 0;
  /// Gives all bytes to `sink`.
  [[nodiscard]] virtual StoreResult ReadBack(const ByteSink& sink) = 0;
};

/// A back end. Thread-safe.
class IByteStore {
 public:
  using Body = std::variant<std::shared_ptr<platform::HttpFile>, platform::HttpWriter>;

  virtual ~IByteStore() = default;

  /// Makes it when it is not there.
  [[nodiscard]] virtual StoreResult OpenForAppend(std::unique_ptr<IUnfinished>& unfinished, std::int32_t id) = 0;
  /// Moves what was received to the place of its digest, where it survives a loss of power. The caller holds it and has
  /// called Sync. Bytes that are at that place already give way. kMissing: nothing is being received.
  [[nodiscard]] virtual StoreResult Finish(std::int32_t id, const std::string& sha256) = 0;
  /// The body of an answer: `size` bytes from `offset` on. kMissing also when fewer than `total` or more are there.
  [[nodiscard]] virtual StoreResult OpenRange(Body& body, const std::string& sha256, std::int64_t offset,
                                              std::int64_t size, std::int64_t total) = 0;
  /// Gives the bytes to `sink`, past any memory that might hide what the disk has.
  [[nodiscard]] virtual StoreResult Check(const std::string& sha256, const ByteSink& sink) = 0;
  /// kDone also when nothing was there. kBusy while somebody appends.
  [[nodiscard]] virtual StoreResult RemoveUnfinished(std::int32_t id) = 0;
  /// Whether `bytes` more have room.
  [[nodiscard]] virtual bool HasRoom(std::int64_t bytes) = 0;
};

}  // namespace FileManager
