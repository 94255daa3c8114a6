#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "OrvBase/Export.h"

namespace platform {

namespace database {
class PostgresConnection;
}

/// Rows in COPY's text format. Any text can be a field: what is no UTF-8, and each NUL, becomes U+FFFD.
class PLATFORM_API CopyRows {
 public:
  void Add(std::string_view field);
  void AddNull();
  /// Every row ends with this, the last one too.
  void EndRow();
  /// A line each; no field breaks one.
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  void Separate();

  std::string text_;
  bool in_row_ = false;
};

/// One database connection outside all pools that adds many rows at once. Used by one thread. It connects when it is
/// first used, and again after a loss; why something failed is logged.
class PLATFORM_API CopySession {
 public:
  /// `connection` is any libpq connection string.
  explicit CopySession(const std::string& connection);
  ~CopySession();
  CopySession(const CopySession&) = delete;
  CopySession& operator=(const CopySession&) = delete;

  enum class End {
    kCommitted,
    kUndone,
    /// The connection was lost before the answer: the server may have committed all rows, or none.
    kUnknown
  };
  /// Runs `statement`, a COPY … FROM STDIN of the text format, with `rows`, in one transaction.
  [[nodiscard]] End Copy(const std::string& statement, const CopyRows& rows);

  /// The row that `sql` gives, as texts; empty when it gives none, or fails.
  [[nodiscard]] std::vector<std::string> Row(const std::string& sql);

 private:
  const std::unique_ptr<database::PostgresConnection> session_;
};

}  // namespace platform
