#pragma once

#include <gtest/gtest.h>

#include <regex>

#include "Common/TextList.h"
#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace evidence_test {

using namespace Evidence;
using scripted::Row;
using Texts = std::vector<std::string>;

/// The beginning of a statement in few words: "read evidence 5", "add type (100, 'new');".
inline std::string Short(std::string sql) {
  static const std::pair<std::regex, const char*> words[] = {
      {std::regex(R"(SELECT NEXTVAL\('evidence\.(?:evidence_)?(\w+)_id_seq'\))"), "key $1"},
      {std::regex(R"('\d{4}-\d\d-\d\d \d\d:\d\d:\d\d')"), "NOW"},
      {std::regex(R"(evidence\.(evidence_)?)"), ""},
      {std::regex(R"(deleted = 0 +AND +)"), ""},
      {std::regex(R"( (AND|WHERE) deleted = 0| +$)"), ""},
      {std::regex(R"(\b(id|ID) = )"), ""},
      {std::regex(R"(SELECT (count|COUNT)\(.*?\) +FROM (\w+)( WHERE)?)"), "count $2"},
      {std::regex(R"(SELECT .*? FROM (\w+)( WHERE)?)"), "read $1"},
      {std::regex(R"(UPDATE (\w+) SET deleted = 1 WHERE)"), "delete $1"},
      {std::regex(R"(UPDATE evidence SET evidence_type_id = -1, .* IN )"), "no type of "},
      {std::regex(R"(UPDATE evidence SET guid = ('.*?').* evidence_status = (\d).*WHERE (\d+))"),
       "change evidence $3 $1 status $2"},
      {std::regex(R"(UPDATE (\w+) SET name = (.*?)(, update_time = NOW)? WHERE (\d+))"), "name $1 $4 $2"},
      {std::regex(R"(INSERT INTO (\w+) \([^)]*\) ?VALUES)"), "add $1"},
      {std::regex(R"((, )types = (\d) (?=;)|, ?NOW, ?0(?=\)))"), "$1$2"},
      {std::regex(R"((add operation_log) \(.*, (-?\d+)\);)"), "$1 by client $2"},
      {std::regex(R"(add evidence \((\d+).*)"), "add evidence $1"},
      {std::regex(R"(add file \((\d+).*?\);)"), "add file $1;"}};
  sql.resize(std::min<std::size_t>(sql.size(), 2'000));
  for (const auto& [text, word] : words)
    sql = std::regex_replace(sql, text, word);
  return sql;
}

/// A reply of the file manager: it refuses one file.
constexpr char kOneRefused[] =
    R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":{"x":1},)"
    R"("LinkFileError":[{"ID":60,"Name":"n","Error":{"ErrorModule":31,"ErrorCode":4}}]}}})";

/// A manager on its store over a scripted database and file manager.
class ManagerTest : public ::testing::Test {
 protected:
  ManagerTest() {
    platform_.db->answer = [this](const std::string& sql) { return Answer(Short(sql)); };
    platform_.comm->answer = [this](const auto&, const auto&, auto& reply) {
      const auto& request = platform_.comm->requests.back();
      Note((request.ends_with("1}}") ? "link " : "unlink ") +
           std::regex_replace(request, std::regex(R"(.*"ID":(-?\d+),"FileIDs":"([^"]*).*)"), "$2 of $1"));
      reply = std::make_shared<plugin_comm::CPluginCommData>(reply_, nullptr, 0);
    };
  }
  void Start() {
    ASSERT_TRUE(manager_.Initialize());
    (void)Did(true);
  }
  /// What was done since the last call, reads aside, the manager's last line of failure, and how it ended.
  std::string Did(bool ok) {
    auto texts = std::exchange(platform_.calls, {});
    std::erase_if(texts, [](const auto& text) { return text.starts_with("read") || text.starts_with("count"); });
    std::string told;
    for (const auto& line : platform_.sink->Texts(5, "casefile.s.evidence")) {
      const auto begin = line.find(']') + 1;
      if (line.starts_with("[Evidence::CEvidenceManager::")) told = "!" + line.substr(begin, line.rfind('[') - begin);
    }
    if (!told.empty()) texts.push_back(told);
    for (const auto& change : std::exchange(platform_.system_and_log->increments, {}))
      texts.push_back("incre " + change);
    platform_.sink->Clear();
    const auto error = Orv::Base::Error::GetLastError();
    texts.push_back(ok ? "ok" : std::to_string(error.MainCode()) + "-" + std::to_string(error.SubCode()));
    Orv::Base::Error::SetLastError({77, 77});
    return Joined(texts);
  }
  void Note(const std::string& call) { platform_.calls.push_back(call); }
  static std::string Joined(const Texts& texts, const std::string& separator = " | ") {
    std::string all;
    for (const auto& text : texts)
      all += (&text == &texts.front() ? "" : separator) + text;
    return all;
  }
  static std::string ErrorTexts(const std::list<ErrorPtr>& errors) {
    Texts texts;
    for (const auto& e : errors)
      texts.push_back(scripted::Words(e->id, e->name, e->main_code) + "-" + std::to_string(e->sub_code));
    return Joined(texts);
  }
  static int LastCode() { return Orv::Base::Error::GetLastError().SubCode(); }

  scripted::Platform platform_;
  /// What reads give, by the last statement of their text.
  std::map<std::string, std::vector<Row>> rows_;
  /// Beginnings of the statements that fail.
  std::set<std::string> failing_;
  std::int32_t next_key_ = 100;
  /// What the file manager says.
  std::string reply_ = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";
  CEvidenceManager manager_;

 private:
  std::optional<std::vector<Row>> Answer(const std::string& text) {
    Note(text);
    if (std::ranges::any_of(failing_, [&](const auto& part) { return text.starts_with(part); })) return std::nullopt;
    if (text.starts_with("key ")) return {{{{"nextval", std::to_string(next_key_++)}}}};
    const auto pieces = SplitText(text, ';');
    const auto found = rows_.find(pieces.empty() ? text : pieces.back());
    return found == rows_.end() ? std::vector<Row>() : found->second;
  }
};

}  // namespace evidence_test
