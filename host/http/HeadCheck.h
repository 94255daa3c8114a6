#pragma once

#include <cstddef>

struct MHD_Connection;

namespace host {

/// The first line of a request as the library hands it out: texts in the buffer in which the head was received.
struct RequestLine {
  const char* method;
  const char* path;
  const char* version;
};

/// Why a head must not be served; null when it may. A proxy in front of this host might read such a head in another
/// way, and take a part of it, or of the body, for a request of its own. `head_size` is the size of the whole head.
[[nodiscard]] const char* HeadFault(MHD_Connection& connection, const RequestLine& line, std::size_t head_size);

}  // namespace host
