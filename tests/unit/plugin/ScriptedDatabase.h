#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelpUtils/StringFunctions.h"
#include "OrvBase/StringUtil.h"

namespace scripted {

/// The calls of all scripted objects in the order in which they came.
using Calls = std::vector<std::string>;

/// Notes a call; those of several threads all come.
inline void NoteCall(Calls& calls, std::string call) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  calls.push_back(std::move(call));
}

/// The values of a row by their columns, in small letters.
using Row = std::map<std::string, std::string>;

/// The statements that are known, by what they do and their table, and what is noted for each, with columns in braces:
/// the first whose columns were all sent. The drawing of a key is noted as "key <table>".
inline constexpr std::pair<std::string_view, std::string_view> kCalls[] = {
    {"read evidence", "read evidence {guid}"},
    {"read evidence", "read evidence {id}"},
    {"read evidence", "read page of evidences, {limit} from {offset}"},
    {"count evidence", "count evidences"},
    {"add evidence", "add evidence {id} {guid} {name}"},
    {"change evidence", "change evidence {id} {guid} {name} status {evidence_status}"},
    {"change evidence", "clear type {evidence_type_id} of evidences"},
    {"delete evidence", "delete evidence {id}"},
    {"read evidence_type", "read types"},
    {"add evidence_type", "add type {id} {name}"},
    {"change evidence_type", "name type {id} {name}"},
    {"delete evidence_type", "delete type {id}"},
    {"read evidence_custom", "read customs"},
    {"add evidence_custom", "add custom {id} {name} {types}"},
    {"change evidence_custom", "name custom {id} {name} {types}"},
    {"delete evidence_custom", "delete custom {id}"},
    {"read evidence_option", "read options of {custom_id}"},
    {"add evidence_option", "add option {id} {name} of {custom_id}"},
    {"change evidence_option", "name option {id} {name}"},
    {"delete evidence_option", "delete option {id}"},
    {"delete evidence_option", "delete options of {custom_id}"},
    {"read evidence_custom_info", "read values of {evidence_id}"},
    {"add evidence_custom_info", "add value {id} of {evidence_id}: {custom_id} {option_id} {option_text}"},
    {"delete evidence_custom_info", "delete values of {evidence_id}"},
    {"delete evidence_custom_info", "delete values of custom {custom_id}"},
    {"read evidence_file", "read files of {evidence_id}"},
    {"read evidence_file", "read links of {id}"},
    {"count evidence_file", "count files of {evidence_id}"},
    {"add evidence_file", "add file {id} {file_name} of {evidence_id}"},
    {"delete evidence_file", "delete file {id} of {evidence_id}"},
    {"delete evidence_file", "delete file {id}"},
    {"delete evidence_file", "delete files of {evidence_id}"},
    {"read operation_log", "read history of {evidence_id}"},
    {"add operation_log",
     "history {operation_type} of {evidence_id} by {user_name} at {user_ip} on {client_type}: {mod_type} {file_name} "
     "{before_mod} {after_mod}"},
};

/// The words of a statement in small letters, numbers, texts with their quotes, and signs.
using Tokens = std::vector<std::string>;

/// Takes the first statement off `text`.
inline Tokens TakeStatement(std::string_view& text) {
  Tokens tokens;
  while (!text.empty() && text.front() != ';') {
    auto end = text.find_first_of(" ',;()=<>");
    if (text.front() == '\'') {
      do
        end = text.find('\'', end + 1) + 1;
      while (end > 0 && text.substr(end).starts_with('\''));
    }
    end = std::clamp<std::size_t>(end, 1, text.size());
    const std::string token(text.substr(0, end));
    if (token != " ") tokens.push_back(token.front() == '\'' ? token : kelp::ToLower(token));
    text.remove_prefix(end);
  }
  text.remove_prefix(std::min<std::size_t>(1, text.size()));
  return tokens;
}

/// A statement taken apart. Values are as they were sent, texts with their quotes, lists with commas between.
struct Statement {
  explicit Statement(const Tokens& tokens) {
    const auto has = [&tokens](const char* word) { return std::ranges::find(tokens, word) != tokens.end(); };
    /// What stands in the parentheses at `at`.
    const auto list = [&tokens](std::size_t at) {
      Tokens items;
      while (++at < tokens.size() && tokens[at] != ")")
        if (tokens[at] != ",") items.push_back(tokens[at]);
      return items;
    };
    Row* part = &set;
    Tokens columns;
    for (std::size_t at = 0; at + 1 < tokens.size(); ++at) {
      const std::string& token = tokens[at];
      const std::string& next = tokens[at + 1];
      if (token == "from" || token == "into" || token == "update") table = next.substr(next.find('.') + 1);
      if (token == "into") columns = list(at + 2);
      if (token == "where") part = &where;
      if (token == "limit" || token == "offset") page[token] = next;
      if (token == "=") (*part)[tokens[at - 1]] = next;
      for (const auto& item : token == "in" ? list(at + 1) : Tokens())
        (where[tokens[at - 1]] += where[tokens[at - 1]].empty() ? "" : ",") += item;
      if (token == "values") {
        const auto values = list(at + 1);
        for (std::size_t n = 0; n < std::min(columns.size(), values.size()); ++n)
          set[columns[n]] = values[n];
      }
    }
    const bool is_known = !has("or") && !has("ilike") && !has("<") && !has(">");
    for (const auto& [name, is_meant] : {std::pair("add", has("insert")),
                                         {"key", has("nextval")},
                                         {"count", has("count")},
                                         {"read", has("select")},
                                         {"delete", set.contains("deleted")},
                                         {"change", true}})
      if (kind.empty() && is_known && is_meant) kind = name;
    // As in NEXTVAL('evidence.evidence_type_id_seq').
    if (kind == "key") table = tokens.at(3).substr(10, tokens[3].find("_id_seq") - 10);
  }

  /// How it is noted; "" when it is not known.
  [[nodiscard]] std::string Call() const {
    Row sent = where;
    for (const auto* more : {&page, &set})
      sent.insert(more->begin(), more->end());
    std::string call = kind == "key" ? "key " + table : "";
    for (auto known = std::begin(kCalls); call.empty() && known != std::end(kCalls); ++known)
      if (known->first == kind + " " + table) call = Filled(known->second, sent);
    return call;
  }

  std::string kind;  ///< "read", "count", "key", "add", "change" or "delete"
  std::string table;
  Row set;
  Row where;
  Row page;

 private:
  static std::string Filled(std::string_view call, const Row& sent) {
    std::string text;
    for (;;) {
      const auto begin = std::min(call.find('{'), call.size());
      text += call.substr(0, begin);
      call.remove_prefix(begin);
      if (call.empty()) return text;
      const auto column = sent.find(std::string(call.substr(1, call.find('}') - 1)));
      if (column == sent.end()) return {};
      text += column->second;
      call.remove_prefix(call.find('}') + 1);
    }
  }
};

/// The plugin's tables in memory, for the statements of kCalls. Any other one fails the test and is printed.
class Tables {
 public:
  explicit Tables(Calls& calls) : calls_(calls) {}

  std::map<std::string, std::vector<Row>> rows;  ///< by table
  std::map<std::string, std::size_t> others;     ///< rows by table that only its counts see
  std::set<std::string> failing;                 ///< beginnings of the calls that fail
  std::int32_t next_key = 100;                   ///< of every sequence

  /// Adds a row; it is not deleted unless it says so.
  void Add(const std::string& table, Row row) {
    row.try_emplace("deleted", "0");
    rows[table].push_back(std::move(row));
  }

  /// Adds a row in the place of that with the same id.
  void Put(const std::string& table, const Row& row) {
    std::erase_if(rows[table], [&row](const Row& other) { return other.at("id") == row.at("id"); });
    Add(table, row);
  }

  /// Runs the statements of a text, all or none, and gives the rows of the last; none when a call fails.
  std::optional<std::vector<Row>> Run(const std::string& text) {
    std::vector<Statement> statements;
    bool ok = true;
    for (std::string_view rest = text; !rest.empty();) {
      const std::string call = statements.emplace_back(TakeStatement(rest)).Call();
      if (call.empty()) {
        ADD_FAILURE() << "no call for a statement of\n" << text;
        return std::nullopt;
      }
      NoteCall(calls_, call);
      ok = ok && std::ranges::none_of(failing, [&call](const auto& part) { return call.starts_with(part); });
    }
    std::vector<Row> found;
    for (const auto& statement : statements)
      if (ok) found = Apply(statement);
    return ok ? std::optional(found) : std::nullopt;
  }

 private:
  /// A value without its quotes.
  static std::string Plain(const std::string& value) {
    return value.starts_with('\'') ? Orv::Base::StringUtil::StringReplace(value.substr(1, value.size() - 2), "''", "'")
                                   : value;
  }

  std::vector<Row> Apply(const Statement& statement) {
    if (statement.kind == "key") return {{{"nextval", std::to_string(next_key++)}}};
    auto& table = rows[statement.table];
    if (statement.kind == "add") table.emplace_back();
    std::vector<Row> found;
    for (Row& row : table) {
      const auto meets = [&row](const auto& condition) {
        const auto& [column, sent] = condition;
        return sent.starts_with('\'') ? Plain(sent) == row[column]
                                      : ("," + sent + ",").find("," + row[column] + ",") != std::string::npos;
      };
      if (!std::ranges::all_of(statement.where, meets) || (statement.kind == "add" && &row != &table.back())) continue;
      for (const auto& [column, sent] : statement.set)
        row[column] = Plain(sent);
      found.push_back(row);
    }
    if (statement.kind == "count") return {{{"count", std::to_string(found.size() + others[statement.table])}}};
    if (statement.page.empty()) return found;
    const auto number = [&](const char* name) { return std::stoull(statement.page.at(name)); };
    found.erase(found.begin(),
                found.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(number("offset"), found.size())));
    found.resize(std::min<std::size_t>(number("limit"), found.size()));
    return found;
  }

  Calls& calls_;
};

}  // namespace scripted
