#include "Characters.h"

#include "PostgresConnection.h"

namespace platform::database {

constexpr char kSqlCharacters[] =
    "SELECT pg_encoding_to_char(encoding) AS encoding, datctype FROM pg_database WHERE datname = current_database()";

// With ASCII-only character classification, case-insensitive and trigram search find nothing in other scripts.
std::string CheckCharacters(PostgresConnection& connection) {
  const PostgresResult result = connection.Run(kSqlCharacters);
  if (!result) return connection.Fault();
  const PostgresResultSet row(result.get());
  const std::string encoding = row.GetString("encoding");
  const std::string classification = row.GetString("datctype");
  if (encoding != "UTF8") return "the database's encoding is " + encoding + ", and UTF8 is needed";
  if (classification == "C" || classification == "POSIX") {
    return "the database's LC_CTYPE is " + classification + ", and one of UTF-8 is needed, such as C.UTF-8";
  }
  return {};
}

}  // namespace platform::database
