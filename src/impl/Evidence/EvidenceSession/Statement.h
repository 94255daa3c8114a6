#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <string>
#include <string_view>

#include "KelpPlatform/DBManager.h"
#include "platform/SqlText.h"

/// The common parts of all statements. Texts are built by pure functions, with Format, and run by one call; each text
/// value is passed through Escaped and put between single quotes.
namespace Evidence::Statement {

using platform::SqlText::Escaped;
using platform::SqlText::Format;

/// Whether `value`, put between single quotes unescaped, would end the literal: such a text is never sent.
[[nodiscard]] inline bool EndsLiteral(std::string_view value) { return value.find('\'') != std::string_view::npos; }

/// `value` escaped as a part of a LIKE pattern between single quotes, so that it matches literally.
[[nodiscard]] std::string EscapeLikeText(std::string_view value);

/// The current UTC time stamp, escaped. Taken once per operation.
[[nodiscard]] std::string UtcStampNow();

/// Local time as stored in the tables: the text, escaped, and its offset in minutes east of UTC.
struct LocalTime {
  std::string text;
  int offset_minutes;
};
[[nodiscard]] LocalTime LocalTimeOf(std::time_t time);

/// Runs a text on the plugin's pool; an empty one, from an empty list, returns true and sends nothing. A text that
/// Format could not build is refused, here and below.
[[nodiscard]] bool Execute(const std::string& sql);

/// Runs the texts as one transaction.
[[nodiscard]] bool ExecuteList(const std::list<std::string>& sqls);

/// Runs a query; `reader` gets the cursor, which may be null.
[[nodiscard]] bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader);

/// A reader of the number in the first column of the first row; `number` is unchanged without a row.
[[nodiscard]] inline kelp::IDBManager::RowReader FirstNumber(std::int32_t& number) {
  return [&number](const kelp::IDBResultSet* rows) {
    if (rows != nullptr && !rows->IsEof()) number = rows->GetIntByIndex(0);
  };
}

/// A reader that calls `on_row` for each row and ignores a null cursor.
template <class OnRow>
[[nodiscard]] kelp::IDBManager::RowReader EachRow(OnRow on_row) {
  return [on_row](kelp::IDBResultSet* rows) {
    if (rows == nullptr) return;
    for (; !rows->IsEof(); rows->Next())
      on_row(*rows);
  };
}

}  // namespace Evidence::Statement
