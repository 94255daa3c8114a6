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

/// A statement that the store sends, with columns in braces in the place of values, and the call that is noted for it.
/// Of an INSERT the table is enough.
struct Shape {
  const char* statement;
  const char* call;
};

inline constexpr Shape kShapes[] = {
    {"SELECT * FROM evidence.evidence WHERE ID = {} AND deleted = 0", "read evidence {id}"},
    {"SELECT * FROM evidence.evidence WHERE guid = {} AND deleted = 0", "read evidence {guid}"},
    {"SELECT ID, name FROM evidence.evidence WHERE deleted = 0 AND  ID in ({})", "read evidences {id}"},
    {"SELECT count(*) FROM evidence.evidence WHERE deleted = 0 ", "count evidences"},
    {"SELECT COUNT(id)  FROM evidence.evidence WHERE deleted = 0", "count evidences"},
    {"SELECT * FROM evidence.evidence WHERE deleted = 0 ORDER BY local_create_time DESC limit {} offset {}",
     "read page of evidences, {limit} from {offset}"},
    {"INSERT INTO evidence.evidence ", "add evidence {id} {guid} {name}"},
    {"UPDATE evidence.evidence SET guid = {}, name = {}, evidence_type_id = {}, scene_id = {}, outcome_id = {}, "
     "evidence_desc = {}, evidence_status = {}, update_time_offset = {}, update_time = {}, local_update_time = {} "
     ",label = {} ,evidence_begin_time = {} ,evidence_end_time = {}, cad_id = {} WHERE id = {}",
     "change evidence {id} {guid} {name} status {evidence_status}"},
    {"UPDATE evidence.evidence SET deleted = 1 WHERE id = {}", "delete evidence {id}"},
    {"UPDATE evidence.evidence SET evidence_type_id = -1, update_time = {}, local_update_time = {} WHERE deleted = 0 "
     "AND evidence_type_id IN ({})",
     "clear type {evidence_type_id} of evidences"},

    {"SELECT * FROM evidence.evidence_type WHERE deleted = 0", "read types"},
    {"SELECT * FROM evidence.evidence_type WHERE ID = {}", "read type {id}"},
    {"INSERT INTO evidence.evidence_type ", "add type {id} {name}"},
    {"UPDATE evidence.evidence_type SET name = {}, update_time = {} WHERE id = {}", "name type {id} {name}"},
    {"UPDATE evidence.evidence_type SET deleted = 1 WHERE id = {}", "delete type {id}"},

    {"SELECT * FROM evidence.evidence_custom WHERE deleted = 0", "read customs"},
    {"INSERT INTO evidence.evidence_custom ", "add custom {id} {name} {types}"},
    {"UPDATE evidence.evidence_custom SET name = {}, types = {} , update_time = {} WHERE id = {}",
     "name custom {id} {name} {types}"},
    {"UPDATE evidence.evidence_custom SET deleted = 1 WHERE id = {}", "delete custom {id}"},
    {"SELECT * FROM evidence.evidence_option WHERE custom_id = {} AND deleted = 0", "read options of {custom_id}"},
    {"INSERT INTO evidence.evidence_option ", "add option {id} {name} of {custom_id}"},
    {"UPDATE evidence.evidence_option SET name = {} WHERE ID = {}", "name option {id} {name}"},
    {"UPDATE evidence.evidence_option SET deleted = 1 WHERE ID = {}", "delete option {id}"},
    {"UPDATE evidence.evidence_option SET deleted = 1 WHERE custom_id = {}", "delete options of {custom_id}"},

    {"SELECT * FROM evidence.evidence_custom_info WHERE evidence_id = {} AND deleted = 0",
     "read values of {evidence_id}"},
    {"SELECT * FROM evidence.evidence_custom_info WHERE deleted = 0 AND evidence_id IN ({})",
     "read values of {evidence_id}"},
    {"INSERT INTO evidence.evidence_custom_info ",
     "add value {id} of {evidence_id}: {custom_id} {option_id} {option_text}"},
    {"UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE evidence_id = {}", "delete values of {evidence_id}"},
    {"UPDATE evidence.evidence_custom_info SET deleted = 1 WHERE custom_id = {}",
     "delete values of custom {custom_id}"},

    {"SELECT * FROM evidence.evidence_file WHERE evidence_id = {} AND deleted = 0 ", "read files of {evidence_id}"},
    {"SELECT * FROM evidence.evidence_file WHERE evidence_id = {} AND deleted = 0  AND file_name = {} ",
     "read files of {evidence_id} {file_name}"},
    {"SELECT id, evidence_id FROM evidence.evidence_file WHERE evidence_id IN ({}) AND deleted = 0",
     "read files of {evidence_id}"},
    {"SELECT ID, evidence_id, file_name FROM evidence.evidence_file WHERE deleted = 0 AND id IN ({})",
     "read links of {id}"},
    {"SELECT count(*) FROM evidence.evidence_file WHERE evidence_id = {} AND deleted = 0 ",
     "count files of {evidence_id}"},
    {"INSERT INTO evidence.evidence_file ", "add file {id} {file_name} of {evidence_id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE id = {}", "delete file {id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE id = {} AND evidence_id = {}",
     "delete file {id} of {evidence_id}"},
    {"UPDATE evidence.evidence_file SET deleted = 1 WHERE evidence_id = {}", "delete files of {evidence_id}"},

    {"SELECT * FROM evidence.operation_log WHERE evidence_id = {} ", "read history of {evidence_id}"},
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

/// A shape, taken apart.
struct Form {
  explicit Form(const Shape& shape) : statement(shape.statement), call(shape.call) {
    const auto table_at = statement.find("evidence.") + 9;
    table = statement.substr(table_at, statement.find(' ', table_at) - table_at);
    const auto where_at = std::min(statement.find(" WHERE "), statement.size());
    static const std::regex equation(R"((\w+) (?:= |IN \(|in \()?(\{\}|-?\d+))");
    for (std::sregex_iterator found(statement.begin(), statement.end(), equation), end; found != end; ++found) {
      const std::string column = kelp::ToLower((*found)[1].str());
      const std::string value = (*found)[2];
      if (value == "{}") columns.push_back(column);
      if (column == "limit" || column == "offset") continue;
      (static_cast<std::size_t>(found->position()) < where_at ? set : where).emplace_back(column, value);
    }
  }
  [[nodiscard]] bool Begins(const char* word) const { return statement.starts_with(word); }

  std::string statement;
  std::string call;
  std::string table;
  std::vector<std::string> columns;  ///< for each pair of braces
  /// Columns, and the values that they receive or must have; "{}" for those that are sent.
  std::vector<std::pair<std::string, std::string>> set;
  std::vector<std::pair<std::string, std::string>> where;
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
    const Form* form = nullptr;
    Row values;  ///< as they were sent, texts with their quotes

    [[nodiscard]] std::string Sent(const std::string& column, const std::string& value) const {
      return value == "{}" ? values.at(column) : value;
    }
  };

  /// Takes the first statement off `text`. Blanks count once, and letters are large or small.
  static bool Recognise(Statement& statement, std::string_view& text) {
    static const std::vector<Form> forms(std::begin(kShapes), std::end(kShapes));
    for (const Form& form : forms) {
      auto rest = text;
      statement = {&form, {}};
      if (!TakeForm(statement.values, rest, form)) continue;
      if (form.Begins("INSERT") && !TakeInserted(statement.values, rest)) continue;
      if (!rest.empty() && rest.front() != ';') continue;
      rest.remove_prefix(std::min<std::size_t>(1, rest.size()));
      text = rest;
      return true;
    }
    return false;
  }

  static bool TakeForm(Row& values, std::string_view& text, const Form& form) {
    auto column = form.columns.begin();
    for (std::string_view shape = form.statement; !shape.empty();) {
      if (shape.starts_with("{}")) {
        if (!TakeValue(values[*column++], text, ",")) return false;
        shape.remove_prefix(2);
        continue;
      }
      if (text.empty() || std::tolower(text.front()) != std::tolower(shape.front())) return false;
      const bool blank = shape.front() == ' ';
      for (auto* side : {&text, &shape})
        side->remove_prefix(blank ? std::min(side->find_first_not_of(' '), side->size()) : 1);
    }
    return true;
  }

  /// The columns and values of an INSERT: "(id, name) VALUES (1, 'x');".
  static bool TakeInserted(Row& values, std::string_view& text) {
    static constexpr std::string_view kValues = "VALUES (";
    const auto names_end = text.find(')');
    const auto begin = text.find(kValues);
    if (!text.starts_with('(') || begin == std::string_view::npos || names_end > begin) return false;
    const auto listed = Orv::Base::StringUtil::StringReplace(text.substr(1, names_end - 1), " ", "");
    const auto names = Evidence::SplitText(kelp::ToLower(listed), ',');
    text.remove_prefix(begin + kValues.size());
    for (const auto& name : names) {
      if (name != names.front()) text.remove_prefix(std::min(text.find_first_not_of(", "), text.size()));
      if (!TakeValue(values[name], text, {})) return false;
    }
    if (!text.starts_with(')')) return false;
    text.remove_prefix(1);
    return true;
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

  static std::string Plain(const std::string& value) {
    return value.starts_with('\'') ? Orv::Base::StringUtil::StringReplace(value.substr(1, value.size() - 2), "''", "'")
                                   : value;
  }

  static std::string CallOf(const Statement& statement) {
    std::string call = statement.form->call;
    for (const auto& [column, value] : statement.values)
      call = Orv::Base::StringUtil::StringReplace(call, "{" + column + "}", value);
    return call;
  }

  static bool Meets(Row& row, const Statement& statement) {
    return std::ranges::all_of(statement.form->where, [&](const auto& condition) {
      const std::string& value = row[condition.first];
      const std::string sent = statement.Sent(condition.first, condition.second);
      return sent.starts_with('\'') ? Plain(sent) == value
                                    : ("," + sent + ",").find("," + value + ",") != std::string::npos;
    });
  }

  std::vector<Row> Apply(const Statement& statement) {
    const Form& form = *statement.form;
    if (form.Begins("SELECT NEXTVAL")) return {{{"nextval", std::to_string(next_key++)}}};
    auto& table = rows[form.table];
    if (form.Begins("INSERT")) {
      for (auto& row = table.emplace_back(); const auto& [column, value] : statement.values)
        row[column] = Plain(value);
      return {};
    }
    std::vector<Row> found;
    for (Row& row : table) {
      if (!Meets(row, statement)) continue;
      for (const auto& [column, value] : form.set)
        row[column] = Plain(statement.Sent(column, value));
      found.push_back(row);
    }
    if (form.Begins("SELECT count") || form.Begins("SELECT COUNT"))
      return {{{"count", std::to_string(found.size() + others[form.table])}}};
    return statement.values.contains("limit") ? Page(statement.values, found) : found;
  }

  static std::vector<Row> Page(const Row& values, const std::vector<Row>& all) {
    const auto number = [&values](const char* name) { return std::stoull(values.at(name)); };
    const auto begin = std::min<std::size_t>(number("offset"), all.size());
    const auto end = std::min<std::size_t>(begin + number("limit"), all.size());
    return {all.begin() + static_cast<std::ptrdiff_t>(begin), all.begin() + static_cast<std::ptrdiff_t>(end)};
  }

  Calls& calls_;
};

}  // namespace scripted
