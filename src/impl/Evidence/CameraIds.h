#pragma once

namespace Evidence {

/// Stands between the element ids of an evidence's cameras.
inline constexpr char kCameraSeparator = ',';

}  // namespace Evidence
