#pragma once

#include <string>

namespace platform::database {

class PostgresConnection;

/// "" when the database's encoding and character classification are those that searches need, or the fault.
[[nodiscard]] std::string CheckCharacters(PostgresConnection& connection);

}  // namespace platform::database
