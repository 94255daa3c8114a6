#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

namespace FileManager {

/// A part of a file, with both ends.
struct ByteRange {
  std::int64_t first = 0;
  std::int64_t last = 0;

  bool operator==(const ByteRange&) const = default;
};

/// The whole file is to be sent.
struct WholeFile {
  bool operator==(const WholeFile&) const = default;
};
/// No byte of the file is in the range: 416.
struct NoBytes {
  bool operator==(const NoBytes&) const = default;
};

/// What a Range header (RFC 9110, 14.2) asks of a file of `total` bytes. One that cannot be read, that has another unit
/// or that names several ranges counts for nothing, as it may.
[[nodiscard]] std::variant<WholeFile, ByteRange, NoBytes> ReadRange(std::string_view header, std::int64_t total);

}  // namespace FileManager
