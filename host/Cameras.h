#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The tables platform.devices, platform.elements and platform.camera_list, through kelp::IDBManager under
/// platform::kPlatformDbId. Any thread.
namespace host {

/// Longest name of a device or an element in code points.
inline constexpr std::size_t kMaxCameraName = 256;

/// `device_id` of an element that lies on no device.
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

/// Ids are positive and not repeated, and an element's device is one of the list.
struct CameraList {
  std::vector<Device> devices;
  std::vector<Element> elements;
};

/// Makes the stored list `list`, in one transaction; calls that meet take turns. "" or what stood against it.
[[nodiscard]] std::string ReplaceCameras(const CameraList& list);

/// The stored list, by ids. False, with `list` empty, when the database does not answer.
[[nodiscard]] bool ReadCameras(CameraList& list);

/// A text that is another one after each change of the stored list. False when the database does not answer.
[[nodiscard]] bool ReadCameraRevision(std::string& revision);

}  // namespace host
