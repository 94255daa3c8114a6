#pragma once

#include <string>

#include "OrvBase/Export.h"

namespace Orv::Base {

class Conversion {
 public:
  /// Converts `in` from the character set `from` to the character set `to` (names such as "UTF-8", "ISO-8859-1").
  /// False, with `out` emptied, when a set is unknown or `in` is not valid in `from`.
  [[nodiscard]] PLATFORM_API static bool Convert(std::string& out, const std::string& in, const std::string& to,
                                                 const std::string& from);
};

}  // namespace Orv::Base
