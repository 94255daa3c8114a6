#pragma once

#include <cstddef>
#include <string>

#include "cameras/Cameras.h"

namespace host {

/// Largest file of cameras in bytes.
inline constexpr std::size_t kMaxCameraFile = 32 << 20;

/// Reads a list of cameras and devices from a JSON file:
///
///   {"Devices": [{"ID": 1, "Type": 2026, "Protocol": 3, "Name": "Bus 12"}],
///    "Elements": [{"ID": 11, "Name": "Front door", "DeviceID": 1}]}
///
/// An element without DeviceID belongs to no device; all other keys are required, and no others are allowed. Ids are
/// between 1 and 2147483647, Type and Protocol between 0 and 2147483647, names have 1 to kMaxCameraName characters,
/// none of them a control character. Returns "", or the first fault with its position: the line of invalid JSON, else
/// list and entry.
[[nodiscard]] std::string ReadCameraFile(const std::string& file, CameraList& list);

}  // namespace host
