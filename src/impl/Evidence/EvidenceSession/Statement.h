#pragma once

#include <cstdint>
#include <ranges>
#include <string>
#include <string_view>

#include "KelpPlatform/DBManager.h"

/// What every statement is made with. Texts are built by pure functions and run by one call; there are
/// no bind parameters, so each text value goes through Quoted and stands between single quotes.
namespace Evidence::Statement {

/// `value` with each ' doubled, ready to stand between single quotes.
[[nodiscard]] std::string Quoted(std::string_view value);

/// The UTC stamp of now, ready to stand between single quotes. Taken once per operation.
[[nodiscard]] std::string UtcStampNow();

/// The ids as "1,2,3".
template <class Ids>
[[nodiscard]] std::string CommaList(const Ids& ids) {
  std::string text;
  for (const std::int32_t id : ids) {
    if (!text.empty()) text += ',';
    text += std::to_string(id);
  }
  return text;
}

/// Runs a text on the plugin's pool; the empty one is true and sends nothing.
[[nodiscard]] bool Execute(const std::string& sql);

/// Runs a query; `reader` gets the cursor, which may be null.
[[nodiscard]] bool Query(const std::string& sql, const kelp::IDBManager::RowReader& reader);

/// A reader that calls `on_row` for each row and passes over a null cursor.
template <class OnRow>
[[nodiscard]] kelp::IDBManager::RowReader EachRow(OnRow on_row) {
  return [on_row](kelp::IDBResultSet* rows) {
    if (rows == nullptr) return;
    for (; !rows->IsEof(); rows->Next())
      on_row(*rows);
  };
}

}  // namespace Evidence::Statement
