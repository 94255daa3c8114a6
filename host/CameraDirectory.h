#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "KelpPlatform/PlatformAdapter.h"

namespace host {

/// The stored list of cameras and devices, held in memory. Any thread, but for Refresh. Each list is immutable; a
/// change replaces it whole, and what was handed out of the former one stays good.
class CameraDirectory final : public kelp::IElementApi, public kelp::IDeviceApi {
 public:
  CameraDirectory();

  bool GetElementInfo(kelp::SElementBaseInfo& out, std::int32_t element_id, std::int32_t reserved) override;
  std::shared_ptr<kelp::IDeviceObject> GetDeviceObject(std::int32_t device_id, std::int32_t device_type) override;

  /// Takes up the stored list when it has changed. False when the database does not answer: the former list stays. One
  /// thread at a time.
  [[nodiscard]] bool Refresh();

 private:
  struct Lists;

  std::shared_ptr<const Lists> Current() const;

  mutable std::mutex mutex_;
  // Under mutex_:
  std::shared_ptr<const Lists> lists_;

  /// Of the list in memory; Refresh's alone.
  std::string revision_;
};

/// A thread that refreshes `cameras` every two seconds until it is asked to stop.
[[nodiscard]] std::jthread FollowCameras(std::shared_ptr<CameraDirectory> cameras);

}  // namespace host
