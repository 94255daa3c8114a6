#pragma once

#include <cstddef>
#include <string>

#include "Cameras.h"

namespace host {

/// Largest file of cameras in bytes.
inline constexpr std::size_t kMaxCameraFile = 32 << 20;

/// Reads a list of cameras and devices from a JSON file:
///
///   {"Devices": [{"ID": 1, "Type": 2026, "Protocol": 3, "Name": "Bus 12"}],
///    "Elements": [{"ID": 11, "Name": "Front door", "DeviceID": 1}]}
///
/// An element without DeviceID lies on no device; everything else must be there, and nothing more. Ids lie between 1
/// and 2147483647, Type and Protocol between 0 and 2147483647, names have 1 to kMaxCameraName characters, none of them
/// a control character. "", or the first fault with its place: the line where the text is no JSON, else list and entry.
[[nodiscard]] std::string ReadCameraFile(const std::string& file, CameraList& list);

}  // namespace host
