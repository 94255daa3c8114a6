#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvBase/Export.h"

namespace platform {

namespace database {
class PostgresConnection;
}

/// One database connection of an operator's command, outside all pools. Used by one thread. Texts returned are "" on
/// success, else one line for the operator without a password.
class PLATFORM_API OwnerSession {
 public:
  /// Rows of texts; NULL reads as "".
  using Rows = std::vector<std::vector<std::string>>;

  /// What another program needs to reach the same database.
  struct Access {
    /// A connection string without passwords, never empty: others may read a program's command line.
    std::string words;
    /// Variables for its environment, with the password when there is one.
    std::vector<std::pair<std::string, std::string>> environment;
  };

  /// `connection` is any libpq connection string.
  explicit OwnerSession(const std::string& connection);
  ~OwnerSession();
  OwnerSession(const OwnerSession&) = delete;
  OwnerSession& operator=(const OwnerSession&) = delete;

  /// Connects, without time limits. Fails too when the database's characters are not those that SetUpDatabase wants.
  [[nodiscard]] std::string Open();

  /// Runs a text; `rows` becomes those of its last statement.
  [[nodiscard]] std::string Run(const std::string& sql, Rows* rows = nullptr);

  /// Fills `access`; after Open. Fails when the string has a password that no variable can hand over.
  [[nodiscard]] std::string ReadAccess(Access& access) const;

 private:
  const std::string connection_;
  std::unique_ptr<database::PostgresConnection> session_;
};

/// `name` as an identifier in a statement, with its quotes.
[[nodiscard]] PLATFORM_API std::string SqlName(const std::string& name);

}  // namespace platform
