#pragma once

#include <gtest/gtest.h>

#include "Common/TextList.h"
#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace evidence_test {

using namespace Evidence;
using scripted::Row;
using Texts = std::vector<std::string>;

inline std::string Joined(const Texts& texts, const std::string& separator) {
  std::string all;
  for (const auto& text : texts)
    all += (&text == &texts.front() ? "" : separator) + text;
  return all;
}
/// One text a line, so that a failed comparison is a diff.
inline std::string Lines(const Texts& texts) { return Joined(texts, "\n"); }

/// Replies of the file manager: it did it; it refuses file 60.
constexpr char kLinked[] = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";
constexpr char kOneRefused[] =
    R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0,"Data":{"LinkFileErrorList":{"x":1},)"
    R"("LinkFileError":[{"ID":60,"Name":"n","Error":{"ErrorModule":31,"ErrorCode":4}}]}}})";

/// A manager on its store over scripted tables and a scripted file manager.
class ManagerTest : public ::testing::Test {
 protected:
  ManagerTest() {
    platform_.comm->answer = [this](const auto&, const auto&, auto& reply) {
      NoteLink(platform_.comm->requests.back());
      reply = std::make_shared<plugin_comm::CPluginCommData>(reply_, nullptr, 0);
    };
  }
  void Start() {
    ASSERT_TRUE(manager_.Initialize());
    (void)Did(true);
  }
  /// There is an evidence "n" with this guid and fields of its own.
  void PutEvidence(std::int32_t id, const std::string& guid, Row fields = {}) {
    fields.insert({{"id", std::to_string(id)}, {"guid", guid}, {"name", "n"}, {"evidence_status", "1"}});
    tables_.Put("evidence", fields);
  }
  /// The attribute 8, "colour", with the options 1 and 2.
  void PutColour(const std::string& option_1) {
    tables_.Put("evidence_custom", {{"id", "8"}, {"name", "colour"}});
    tables_.Put("evidence_option", {{"id", "1"}, {"custom_id", "8"}, {"name", option_1}});
    tables_.Put("evidence_option", {{"id", "2"}, {"custom_id", "8"}, {"name", "blue"}});
  }
  void AddValue(std::int32_t evidence_id, std::int32_t custom_id, std::int32_t option_id, const std::string& text) {
    tables_.Add("evidence_custom_info", {{"evidence_id", std::to_string(evidence_id)},
                                         {"custom_id", std::to_string(custom_id)},
                                         {"option_id", std::to_string(option_id)},
                                         {"option_text", text}});
  }
  void Note(const std::string& call) { scripted::NoteCall(platform_.calls, call); }

  /// The calls since this was asked last, without reads and the drawing of keys.
  Texts TakeCalls() {
    auto calls = std::exchange(platform_.calls, {});
    std::erase_if(calls, [](const auto& call) {
      return call.starts_with("read ") || call.starts_with("count ") || call.starts_with("key ");
    });
    return calls;
  }
  /// Those calls, the manager's last line of failure, the changes for clients, how it ended, and the entries refused.
  std::string Did(bool ok, const std::list<ErrorPtr>& refused = {}) {
    auto texts = TakeCalls();
    std::string failure;
    for (const auto& line : platform_.sink->Texts(5, "casefile.s.evidence")) {
      const auto begin = line.find(']') + 1;
      if (line.starts_with("[Evidence::CEvidenceManager::"))
        failure = "!" + line.substr(begin, line.rfind('[') - begin);
    }
    if (!failure.empty()) texts.push_back(failure);
    for (const auto& change : std::exchange(platform_.system_and_log->increments, {}))
      texts.push_back("incre " + change);
    platform_.sink->Clear();
    const auto error = Orv::Base::Error::GetLastError();
    texts.push_back(ok ? "ok" : std::to_string(error.MainCode()) + "-" + std::to_string(error.SubCode()));
    Orv::Base::Error::SetLastError({77, 77});
    for (const auto& e : refused)
      texts.push_back(scripted::Words("refused", e->id, e->name, e->main_code) + "-" + std::to_string(e->sub_code));
    return Lines(texts);
  }
  /// What a change of an evidence leaves in its history: "type id/text id/text", before and after.
  static Texts ItemTexts(const operation_record& record) {
    Texts texts;
    for (const auto& item : record.change_items) {
      texts.push_back(std::to_string(item.mod_type) + " " + std::to_string(item.before_id) + "/" + item.before_mod +
                      " " + std::to_string(item.after_id) + "/" + item.after_mod);
    }
    return texts;
  }
  static int LastCode() { return Orv::Base::Error::GetLastError().SubCode(); }

  scripted::Platform platform_;
  scripted::Tables& tables_ = platform_.db->tables;
  /// What the file manager answers.
  std::string reply_ = kLinked;
  const std::shared_ptr<CEvidenceManager> shared_manager_ = std::make_shared<CEvidenceManager>();
  CEvidenceManager& manager_ = *shared_manager_;

 private:
  /// "link 1,2 of 5" for a request to the file manager.
  void NoteLink(const std::string& request) {
    const auto after = [&request](const std::string& key, const char* end) {
      const auto begin = request.find(key) + key.size();
      return request.substr(begin, request.find_first_of(end, begin) - begin);
    };
    const std::string word = after(R"("OperationType":)", "}") == "1" ? "link " : "unlink ";
    Note(word + after(R"("FileIDs":")", "\"") + " of " + after(R"("ID":)", ","));
  }
};

}  // namespace evidence_test
