#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The tables platform.devices, platform.elements and platform.camera_list, through kelp::IDBManager under
/// platform::kPlatformDbId. Thread-safe.
namespace host {

/// Longest name of a device or an element in code points.
inline constexpr std::size_t kMaxCameraName = 256;

/// `device_id` of an element that belongs to no device.
inline constexpr std::int32_t kNoDevice = -1;

struct Device {
  std::int32_t id = 0;
  std::int32_t type = 0;
  std::int32_t protocol = 0;
  std::string name;
};

struct Element {
  std::int32_t id = 0;
  std::string name;
  std::int32_t device_id = kNoDevice;
};

/// Ids are positive and unique, and an element's device is in the list.
struct CameraList {
  std::vector<Device> devices;
  std::vector<Element> elements;
};

/// Replaces the stored list by `list` in one transaction; concurrent calls are serialized. Returns "" or the fault.
[[nodiscard]] std::string ReplaceCameras(const CameraList& list);

/// The stored list, sorted by id. False, with `list` empty, when the database does not answer.
[[nodiscard]] bool ReadCameras(CameraList& list);

/// A text that differs after each change of the stored list. False when the database does not answer.
[[nodiscard]] bool ReadCameraRevision(std::string& revision);

}  // namespace host
