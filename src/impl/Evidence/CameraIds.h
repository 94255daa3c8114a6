#pragma once

namespace Evidence {

/// Separates the element ids of an evidence's cameras.
inline constexpr char kCameraSeparator = ',';

}  // namespace Evidence
