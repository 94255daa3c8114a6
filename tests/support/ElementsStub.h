#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "KelpPlatform/PlatformAdapter.h"

namespace evidence_test {

/// Cameras and devices as a test lists them.
class ElementsStub final : public kelp::IElementApi, public kelp::IDeviceApi {
 public:
  /// A camera "camera <id>" of a device "device <id>"; a `device_id` of -1 is a camera on no device.
  void Add(std::int32_t camera_id, std::int32_t device_id, std::int32_t device_type = 1, std::int32_t protocol = 1) {
    auto& element = elements_[camera_id];
    element = {camera_id, "camera " + std::to_string(camera_id), device_id, nullptr};
    if (device_id == -1) return;
    element.device_base = std::make_shared<kelp::SDeviceBaseInfo>(
        kelp::SDeviceBaseInfo{device_id, device_type, "device " + std::to_string(device_id)});
    devices_[{device_id, device_type}] = std::make_shared<Device>(protocol);
  }
  /// The device stays named by its cameras and is found no more.
  void Disconnect(std::int32_t device_id, std::int32_t device_type = 1) { devices_.erase({device_id, device_type}); }

  bool GetElementInfo(kelp::SElementBaseInfo& out, std::int32_t element_id, std::int32_t) override {
    const auto found = elements_.find(element_id);
    if (found == elements_.end()) return false;
    out = found->second;
    return true;
  }

  std::shared_ptr<kelp::IDeviceObject> GetDeviceObject(std::int32_t device_id, std::int32_t device_type) override {
    const auto found = devices_.find({device_id, device_type});
    return found == devices_.end() ? nullptr : found->second;
  }

 private:
  struct Device final : kelp::IDeviceObject {
    explicit Device(std::int32_t its_protocol) : protocol(its_protocol) {}
    std::int32_t GetProtocolType() override { return protocol; }
    const std::int32_t protocol;
  };

  std::map<std::int32_t, kelp::SElementBaseInfo> elements_;
  std::map<std::pair<std::int32_t, std::int32_t>, std::shared_ptr<Device>> devices_;
};

}  // namespace evidence_test
