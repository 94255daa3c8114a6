#pragma once

#include <string>
#include <string_view>

#include "OrvBase/Export.h"

/// What statement texts are made of. There are no bind parameters: each text value goes through one of these functions.
/// Every connection has standard_conforming_strings on, so that only the single quote ends a literal.
///
/// The database holds UTF-8 without NUL, and refuses a statement with anything else. A text with a NUL would end there
/// unseen instead, so each NUL becomes a byte that no UTF-8 text holds, and the statement is refused as one with broken
/// UTF-8 is. Only Repaired makes a storable text of both.
namespace platform::SqlText {

/// `text` ready to stand between single quotes: each ' is doubled.
[[nodiscard]] PLATFORM_API std::string Escaped(std::string_view text);

/// `text` as a whole literal, with its quotes.
[[nodiscard]] PLATFORM_API std::string Literal(std::string_view text);

/// `text` as it stands but for its NULs; for a value that holds no quote, or whose quotes are doubled later.
[[nodiscard]] PLATFORM_API std::string Unescaped(std::string_view text);

/// `text` with U+FFFD in place of each NUL and each byte that is no UTF-8, for logs and histories, where no value may
/// keep the row out. Not escaped.
[[nodiscard]] PLATFORM_API std::string Repaired(std::string_view text);

/// The statement that the printf-style `format` and its arguments make. One that cannot be built, because it would be
/// longer than INT_MAX bytes, is a single NUL, which kelp::IDBManager refuses, alone and as a part of a longer text: it
/// is never taken for the empty text, which succeeds. Append such a part as it is; c_str() would hide the NUL.
[[nodiscard]] PLATFORM_API std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace platform::SqlText
