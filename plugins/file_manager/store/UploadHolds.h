#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

#include "OrvBase/Noncopyable.h"
#include "platform/HttpRoutes.h"

namespace FileManager {

/// Who appends to which upload in this process. A client whose connection broke comes back before its old request is
/// known to have ended, so the newer request ends the older one. Thread-safe.
class UploadHolds {
 public:
  /// Lets the upload go.
  class Hold : public Orv::Base::CNoncopyable {
   public:
    Hold(UploadHolds& holds, std::int32_t id) : holds_(&holds), id_(id) {}
    Hold(Hold&& other) noexcept : holds_(std::exchange(other.holds_, nullptr)), id_(other.id_) {}
    Hold& operator=(Hold&&) = delete;
    ~Hold();

   private:
    UploadHolds* holds_;
    const std::int32_t id_;
  };

  /// Ends the request that holds it, and waits for that for up to `patience`. `reader` may be null; else it lives as
  /// long as the hold. None when the upload is still held.
  [[nodiscard]] std::optional<Hold> Take(std::int32_t id, platform::HttpBodyReader* reader,
                                         std::chrono::milliseconds patience);
  /// None while somebody holds it.
  [[nodiscard]] std::optional<Hold> TryTake(std::int32_t id);

 private:
  std::mutex mutex_;
  std::condition_variable let_go_;
  // Guarded by mutex_:
  std::map<std::int32_t, platform::HttpBodyReader*> held_;
};

}  // namespace FileManager
