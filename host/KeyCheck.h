#pragma once

#include <string>

namespace host {

/// Whether `key`, read from `file`, is the key of this database: the first key is recorded, as a keyed hash from which
/// it cannot be read, and any other is refused. Returns "" or the fault, one line for the operator. Hosts that record
/// one at the same time agree on one.
[[nodiscard]] std::string CheckKey(const std::string& key, const std::string& file);

}  // namespace host
