#pragma once

#include <string>
#include <string_view>

#include "OrvBase/Export.h"

/// Building blocks of SQL texts. There are no bind parameters: each text value passes through one of these functions.
/// Every connection has standard_conforming_strings on, so that only the single quote ends a literal.
///
/// The database stores UTF-8 without NUL and rejects a statement with anything else. A NUL would silently truncate the
/// statement instead, so each NUL is replaced by a byte that never occurs in UTF-8, and the statement is rejected like
/// one with invalid UTF-8. Only Repaired makes such texts storable.
namespace platform::SqlText {

/// `text` escaped for use between single quotes: each ' is doubled.
[[nodiscard]] PLATFORM_API std::string Escaped(std::string_view text);

/// `text` as a complete literal, including its quotes.
[[nodiscard]] PLATFORM_API std::string Literal(std::string_view text);

/// `text` unchanged except for its NULs; for a value that contains no quote, or whose quotes are doubled later.
[[nodiscard]] PLATFORM_API std::string Unescaped(std::string_view text);

/// `text` with U+FFFD in place of each NUL and each byte of invalid UTF-8, for logs and histories, where no value may
/// prevent the row from being written. Not escaped.
[[nodiscard]] PLATFORM_API std::string Repaired(std::string_view text);

/// The statement built from the printf-style `format` and its arguments. One that is empty or cannot be built, for
/// example because it would exceed INT_MAX bytes, is a single NUL, which kelp::IDBManager refuses, alone and as part of
/// a longer text; the empty text would succeed. Append such a part as a std::string: c_str() would hide the NUL.
[[nodiscard]] PLATFORM_API std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace platform::SqlText
