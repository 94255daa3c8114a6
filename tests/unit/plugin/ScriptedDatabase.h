#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Common/TextList.h"
#include "KelpPlatform/DBManager.h"
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

/// A statement that the store sends, with columns in braces where values stand, and the call that is noted for it. Of
/// an INSERT the table is enough.
struct Shape {
  const char* statement;
  const char* call;
};

inline constexpr Shape kShapes[] = {
    {"SELECT * FROM evidence.evidence WHERE ID = {id} AND deleted = 0", "read evidence {id}"},
    {"SELECT * FROM evidence.evidence WHERE guid = {guid} AND deleted = 0", "read evidence {guid}"},
    {"SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in ({id});", "read evidences {id}"},
    {"SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ", "count evidences"},
    {"SELECT COUNT(id)  FROM evidence.evidence WHERE deleted = 0", "count evidences"},
    {"SELECT * FROM evidence.evidence WHERE deleted = 0 ORDER BY local_create_time DESC limit {limit} offset {offset};",
     "read page of evidences, {limit} from {offset}"},
    {"INSERT INTO evidence.evidence ", "add evidence {id} {guid} {name}"},
    {"UPDATE evidence.evidence SET guid = {guid}, name = {name}, evidence_type_id = {evidence_type_id}, scene_id = "
     "{scene_id}, outcome_id = {outcome_id}, evidence_desc = {evidence_desc}, evidence_status = {evidence_status}, "
     "update_time_offset = {update_time_offset}, update_time = {update_time}, local_update_time = {local_update_time} "
     ",label = {label} ,evidence_begin_time = {evidence_begin_time} ,evidence_end_time = {evidence_end_time}, cad_id = "
     "{cad_id} WHERE id = {id};",
     "change evidence {id} {guid} {name} status {evidence_status}"},
    {"UPDATE evidence.evidence SET deleted = 1 WHERE id = {id};", "delete evidence {id}"},
    {"UPDATE evidence.evidence SET evidence_type_id = -1, update_time = {update_time}, local_update_time = "
     "{local_update_time} WHERE deleted = 0 AND evidence_type_id IN ({evidence_type_id});",
     "clear type {evidence_type_id} of evidences"},

    {"SELECT * FROM evidence.evidence_type WHERE deleted = 0;", "read types"},
    {"SELECT * FROM evidence.evidence_type WHERE ID = {id}", "read type {id}"},
    {"INSERT INTO evidence.evidence_type ", "add type {id} {name}"},
    {"UPDATE evidence.evidence_type SET name = {name}, update_time = {update_time} WHERE id = {id};",
     "name type {id} {name}"},
    {"UPDATE evidence.evidence_type SET deleted = 1 WHERE id = {id};", "delete type {id}"},

    {"SELECT * FROM evidence.evidence_custom WHERE deleted = 0;", "read customs"},
    {"INSERT INTO evidence.evidence_custom ", "add custom {id} {name} {types}"},
    {"UPDATE evidence.evidence_custom SET name = {name}, types = {types} , update_time = {update_time} WHERE id = "
     "{id};",
     "name custom {id} {name} {types}"},
    {"UPDATE evidence.evidence_custom SET deleted = 1 WHERE id = {id};", "delete custom {id}"},
    {"SELECT * FROM evidence.evidence_option WHERE custom_id = {custom_id} AND deleted = 0;",
     "read options of {custom_id}"},
    {"SELECT * FROM evidence.evidence_option WHERE custom_id = {custom_id} AND deleted = 0",
     "read options of {custom_id}"},
    {"INSERT INTO evidence.evidence_option ", "add option {id} {name} of {custom_id}"},
    {"UPDATE evidence.evidence_option SET name = {name} WHERE ID = {id};", "name option {id} {name}"},
    {"UPDATE evidence.evidence_option SET deleted = 1 WHERE ID = {id};", "delete option {id}"},
    {"UPDATE evidence.evidence_option SET deleted = 1 WHERE custom_id = {custom_id};", "delete options of {custom_id}"},

    {"SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = {evidence_id} AND deleted = 0",
     "read values of {evidence_id}"},
    {"SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN ({evidence_id});",
     "read values of {evidence_id}"},
    {"INSERT INTO evidence.evidence_custom_info ",
     "add value {id} of {evidence_id}: {custom_id} {option_id} {option_text}"},
    {"UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = {evidence_id};",
     "delete values of {evidence_id}"},
    {"UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = {custom_id};",
     "delete values of custom {custom_id}"},

    {"SELECT * FROM evidence.evidence_file WHERE evidence_id = {evidence_id} AND deleted = 0 ",
     "read files of {evidence_id}"},
    {"SELECT * FROM evidence.evidence_file WHERE evidence_id = {evidence_id} AND deleted = 0  AND file_name = "
     "{file_name} ",
     "read files of {evidence_id} {file_name}"},
    {"SELECT id, evidence_id FROM evidence.evidence_file WHERE evidence_id IN ({evidence_id}) AND deleted = 0;",
     "read files of {evidence_id}"},
    {"SELECT ID, evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN ({id});",
     "read links of {id}"},
    {"SELECT count(*) FROM evidence.evidence_file WHERE evidence_id = {evidence_id} AND deleted = 0 ",
     "count files of {evidence_id}"},
    {"INSERT INTO evidence.evidence_file ", "add file {id} {file_name} of {evidence_id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE id = {id};", "delete file {id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE id = {id} AND evidence_id = {evidence_id};",
     "delete file {id} of {evidence_id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE evidence_id = {evidence_id};",
     "delete files of {evidence_id}"},

    {"SELECT * FROM evidence.operation_log WHERE evidence_id = {evidence_id} ", "read history of {evidence_id}"},
    {"INSERT INTO evidence.operation_log ",
     "history {operation_type} of {evidence_id} by {user_name} at {user_ip} on {client_type}: {mod_type} {file_name} "
     "{before_mod} {after_mod}"},

    {"SELECT NEXTVAL('evidence.evidence_id_seq')", "key evidence"},
    {"SELECT NEXTVAL('evidence.evidence_type_id_seq')", "key type"},
    {"SELECT NEXTVAL('evidence.evidence_custom_id_seq')", "key custom"},
    {"SELECT NEXTVAL('evidence.evidence_option_id_seq')", "key option"},
    {"SELECT NEXTVAL('evidence.evidence_custom_info_id_seq')", "key value"},
    {"SELECT NEXTVAL('evidence.evidence_file_id_seq')", "key file"},
    {"SELECT NEXTVAL('evidence.operation_log_id_seq')", "key history"},
};

/// The plugin's tables in memory, for the statements of kShapes. Any other one fails the test and is printed.
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
      auto& statement = statements.emplace_back();
      if (!Recognise(statement, rest)) {
        ADD_FAILURE() << "no shape for the statement that begins with\n" << rest << "\nin the text\n" << text;
        return std::nullopt;
      }
      const std::string call = CallOf(statement);
      NoteCall(calls_, call);
      ok = ok && std::ranges::none_of(failing, [&call](const auto& part) { return call.starts_with(part); });
    }
    std::vector<Row> found;
    for (const auto& statement : statements)
      if (ok) found = Apply(statement);
    return ok ? std::optional(found) : std::nullopt;
  }

 private:
  struct Statement {
    const Shape* shape = nullptr;
    Row values;  ///< as they were sent, texts with their quotes
  };

  /// Takes the first statement off `text`. Blanks count once, and letters are large or small.
  static bool Recognise(Statement& statement, std::string_view& text) {
    for (const Shape& shape : kShapes) {
      auto rest = text;
      statement = {&shape, {}};
      if (!TakeShape(statement.values, rest, shape.statement)) continue;
      const bool whole = text.starts_with("INSERT") ? TakeInserted(statement.values, rest)
                                                    : rest.empty() || std::string_view(shape.statement).ends_with(';');
      if (!whole) continue;
      text = rest;
      return true;
    }
    return false;
  }

  static bool TakeShape(Row& values, std::string_view& text, std::string_view shape) {
    while (!shape.empty()) {
      if (shape.front() == '{') {
        if (!TakeValue(values[std::string(shape.substr(1, shape.find('}') - 1))], text, ",")) return false;
        shape.remove_prefix(shape.find('}') + 1);
      } else {
        if (text.empty() || std::tolower(text.front()) != std::tolower(shape.front())) return false;
        for (auto* side : {&text, &shape}) {
          const auto count = side->front() == ' ' ? side->find_first_not_of(' ') : 1;
          side->remove_prefix(std::min(count, side->size()));
        }
      }
    }
    return true;
  }

  /// The columns and values of an INSERT: "(id, name) VALUES (1, 'x');".
  static bool TakeInserted(Row& values, std::string_view& text) {
    const auto names_end = text.find(')');
    const auto begin = text.find('(', std::min(names_end, text.size()));
    if (!text.starts_with('(') || begin == std::string_view::npos) return false;
    const auto names = Evidence::SplitText(Compact(text.substr(1, names_end - 1)), ',');
    text.remove_prefix(begin + 1);
    for (const auto& name : names) {
      if (!TakeValue(values[name], text, {})) return false;
      text.remove_prefix(std::min(text.find_first_not_of(name == names.back() ? ")" : ", "), text.size()));
    }
    if (text.starts_with(';')) text.remove_prefix(1);
    return text.empty() || text.starts_with("INSERT");
  }

  /// A text between quotes, those within doubled; or a number, or several with `separator` between.
  static bool TakeValue(std::string& value, std::string_view& text, const std::string& separator) {
    auto end = std::min(text.find_first_not_of("-0123456789" + separator), text.size());
    if (text.starts_with('\'')) {
      end = 0;
      do
        end = text.find('\'', end + 1) + 1;
      while (end > 0 && text.substr(end).starts_with('\''));
    } else if (end > 0 && text[end - 1] == ',') {
      --end;
    }
    value = text.substr(0, end);
    text.remove_prefix(end);
    return end > 0;
  }

  static std::string Compact(std::string_view text) {
    std::string small;
    for (const char letter : text)
      if (letter != ' ') small += static_cast<char>(std::tolower(letter));
    return small;
  }

  static std::string Plain(const std::string& value) {
    return value.starts_with('\'') ? Orv::Base::StringUtil::StringReplace(value.substr(1, value.size() - 2), "''", "'")
                                   : value;
  }

  static std::string CallOf(const Statement& statement) {
    std::string call = statement.shape->call;
    for (const auto& [column, value] : statement.values)
      call = Orv::Base::StringUtil::StringReplace(call, "{" + column + "}", value);
    return call;
  }

  /// What a part of a shape equates: columns, and the values that they must have or receive.
  static std::map<std::string, std::set<std::string>> Equations(const Statement& statement, const std::string& part) {
    static const std::regex equation(R"((\w+) (?:=|in|IN) \(?(?:\{(\w+)\}|(-?\d+)))");
    std::map<std::string, std::set<std::string>> equations;
    for (std::sregex_iterator found(part.begin(), part.end(), equation), end; found != end; ++found) {
      auto& values = equations[Compact((*found)[1].str())];
      const auto& sent = (*found)[2].matched ? statement.values.at((*found)[2]) : (*found)[3].str();
      if (sent.starts_with('\'')) {
        values.insert(Plain(sent));
      } else {
        for (const auto& number : Evidence::SplitText(sent, ','))
          values.insert(number);
      }
    }
    return equations;
  }

  std::vector<Row> Apply(const Statement& statement) {
    const std::string shape = statement.shape->statement;
    if (shape.starts_with("SELECT NEXTVAL")) return {{{"nextval", std::to_string(next_key++)}}};
    const auto table_at = shape.find("evidence.") + 9;
    const std::string name = shape.substr(table_at, shape.find(' ', table_at) - table_at);
    auto& table = rows[name];
    if (shape.starts_with("INSERT")) {
      for (auto& row = table.emplace_back(); const auto& [column, value] : statement.values)
        row[column] = Plain(value);
      return {};
    }
    const auto where_at = shape.find(" WHERE ");
    const auto where = Equations(statement, shape.substr(where_at));
    const auto set = Equations(statement, shape.substr(0, where_at));
    std::vector<Row> found;
    for (Row& row : table) {
      if (!std::ranges::all_of(where, [&](const auto& entry) { return entry.second.contains(row[entry.first]); }))
        continue;
      for (const auto& [column, values] : set)
        row[column] = *values.begin();
      found.push_back(row);
    }
    if (statement.values.contains("limit")) {
      const auto offset = std::min<std::size_t>(std::stoul(statement.values.at("offset")), found.size());
      found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(offset));
      found.resize(std::min<std::size_t>(std::stoul(statement.values.at("limit")), found.size()));
    }
    if (Compact(shape).starts_with("selectcount")) return {{{"count", std::to_string(found.size() + others[name])}}};
    return found;
  }

  Calls& calls_;
};

}  // namespace scripted
