#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "KelpPlatform/PlatformAdapter.h"

namespace host {

/// The stored list of cameras and devices, cached in memory. Thread-safe except for Refresh. Each list is immutable; a
/// change replaces it as a whole, and objects handed out of the previous one stay valid.
class CameraDirectory final : public kelp::IElementApi, public kelp::IDeviceApi {
 public:
  CameraDirectory();

  bool GetElementInfo(kelp::SElementBaseInfo& out, std::int32_t element_id, std::int32_t reserved) override;
  std::shared_ptr<kelp::IDeviceObject> GetDeviceObject(std::int32_t device_id, std::int32_t device_type) override;

  /// Reloads the stored list if it has changed. False, with the previous list kept, when the database does not answer.
  /// One thread at a time.
  [[nodiscard]] bool Refresh();

 private:
  struct Lists;

  std::shared_ptr<const Lists> Current() const;

  mutable std::mutex mutex_;
  // Under mutex_:
  std::shared_ptr<const Lists> lists_;

  /// Of the list in memory; used by Refresh only.
  std::string revision_;
};

/// A thread that refreshes `cameras` every two seconds until it is asked to stop, which cancels a refresh.
[[nodiscard]] std::jthread FollowCameras(std::shared_ptr<CameraDirectory> cameras);

}  // namespace host
