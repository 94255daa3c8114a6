#pragma once

#include <string>

namespace host {

/// Takes the rights of group and others off the open regular file `descriptor`, whose name is `file`, with a line of
/// the log. "" when nobody else has any, or the fault: who else may be its owner could give them back.
[[nodiscard]] std::string MakePrivate(int descriptor, const std::string& file);

}  // namespace host
