#include "cameras/CameraDirectory.h"

#include <chrono>
#include <unordered_map>
#include <utility>

#include "Every.h"
#include "HostLog.h"
#include "cameras/Cameras.h"

namespace host {
namespace {

constexpr std::chrono::seconds kInterval{2};

class DeviceObject final : public kelp::IDeviceObject {
 public:
  explicit DeviceObject(std::int32_t protocol) : protocol_(protocol) {}
  std::int32_t GetProtocolType() override { return protocol_; }

 private:
  const std::int32_t protocol_;
};

struct KnownDevice {
  kelp::SDeviceBaseInfo info;
  std::shared_ptr<kelp::IDeviceObject> object;
};

}  // namespace

struct CameraDirectory::Lists {
  std::unordered_map<std::int32_t, KnownDevice> devices;
  std::unordered_map<std::int32_t, Element> elements;
};

CameraDirectory::CameraDirectory() : lists_(std::make_shared<const Lists>()) {}

std::shared_ptr<const CameraDirectory::Lists> CameraDirectory::Current() const {
  const std::lock_guard lock(mutex_);
  return lists_;
}

bool CameraDirectory::GetElementInfo(kelp::SElementBaseInfo& out, std::int32_t element_id, std::int32_t /*reserved*/) {
  const auto lists = Current();
  const auto found = lists->elements.find(element_id);
  if (found == lists->elements.end()) return false;
  const auto& element = found->second;
  const auto device = lists->devices.find(element.device_id);
  // The caller gets a copy of its own, which it may change.
  auto base = device == lists->devices.end() ? nullptr : std::make_shared<kelp::SDeviceBaseInfo>(device->second.info);
  out = {element.id, element.name, element.device_id, std::move(base)};
  return true;
}

std::shared_ptr<kelp::IDeviceObject> CameraDirectory::GetDeviceObject(std::int32_t device_id,
                                                                      std::int32_t device_type) {
  const auto lists = Current();
  const auto found = lists->devices.find(device_id);
  if (found == lists->devices.end() || found->second.info.device_type != device_type) return nullptr;
  return found->second.object;
}

bool CameraDirectory::Refresh() {
  // Read before the list, which may then be newer than the revision: the next call reads it again.
  std::string revision;
  if (!ReadCameraRevision(revision)) return false;
  if (revision == revision_) return true;
  CameraList list;
  if (!ReadCameras(list)) return false;
  auto lists = std::make_shared<Lists>();
  for (auto& device : list.devices) {
    lists->devices.emplace(device.id, KnownDevice{{device.id, device.type, std::move(device.name)},
                                                  std::make_shared<DeviceObject>(device.protocol)});
  }
  for (auto& element : list.elements)
    lists->elements.emplace(element.id, std::move(element));
  LogHost(kLogProgress, "the cameras of revision %s: %zu devices, %zu elements", revision.c_str(),
          lists->devices.size(), lists->elements.size());
  revision_ = std::move(revision);
  std::shared_ptr<const Lists> next = std::move(lists);
  const std::lock_guard lock(mutex_);
  // The previous list is destroyed with `next`, after the lock is released.
  lists_.swap(next);
  return true;
}

std::jthread FollowCameras(std::shared_ptr<CameraDirectory> cameras) {
  return Every(kInterval, "the cameras", [cameras = std::move(cameras)] { static_cast<void>(cameras->Refresh()); });
}

}  // namespace host
