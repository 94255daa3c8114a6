#pragma once

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace evidence_test {

using Texts = std::vector<std::string>;

inline Evidence::_tag_EvidenceFile_ FileRow(std::int32_t id, const std::string& name, std::int32_t evidence_id) {
  Evidence::_tag_EvidenceFile_ file;
  file.id = id;
  file.file_name = name;
  file.evidence_id = evidence_id;
  return file;
}

/// Evidences with values and files in memory. Notes what it is asked for, and refuses what a test names.
class EvidencesInMemory final : public StoreStub {
 public:
  std::map<std::int32_t, Evidence::_tag_Evidence_> rows;
  std::map<std::int32_t, std::vector<Evidence::tag_EvidenceCustom_>> values;
  /// Options by attribute, as the table has them.
  std::map<std::int32_t, std::vector<Evidence::tag_EvidenceOption_>> options;
  std::map<std::int32_t, std::list<Evidence::_tag_EvidenceFile_>> files;
  /// Attributes and types loaded at the start.
  std::vector<Evidence::tag_EvidenceCustom_> customs;
  std::vector<Evidence::_tag_EvidenceType_> types;
  std::int32_t next_id = 100;
  std::int32_t count = 0;
  std::int32_t file_count = 0;
  std::set<std::string> failing;

  Texts TakeCalls() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
  }

  bool ReadAllEvidenceTypes(std::list<Evidence::EvidenceTypePtr>& out) override {
    for (const auto& type : types)
      out.push_back(std::make_shared<Evidence::_tag_EvidenceType_>(type));
    return true;
  }
  bool ReadAllEvidenceCustoms(std::list<Evidence::EvidenceCustomPtr>& out) override {
    for (const auto& custom : customs)
      out.push_back(std::make_shared<Evidence::tag_EvidenceCustom_>(custom));
    return true;
  }
  bool ReadAllCustomOptions(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  std::int32_t QueryEvidenceSeqID() override { return Note("key") ? next_id++ : -1; }
  std::int32_t QueryEvidenceFileSeqID() override { return Note("file key") ? next_id++ : -1; }
  bool InsertEvidence(const Evidence::EvidencePtr& evidence) override { return Note("insert", evidence->id); }
  bool InsertEvidenceCustomInfo(const Evidence::EvidencePtr& evidence) override {
    return Note("insert values", evidence->id);
  }
  bool UpdateEvidence(const Evidence::EvidencePtr& evidence) override {
    if (!Note("update", evidence->id)) return false;
    rows[evidence->id] = *evidence;
    return true;
  }
  bool UpdateEvidenceCustomInfo(const Evidence::EvidencePtr& evidence) override {
    return Note("update values", evidence->id);
  }
  bool DeleteEvidences(const Evidence::IdList& ids) override { return Note("delete" + Joined(ids)); }
  bool DeleteEvidenceCustomInfo(const Evidence::IdList& ids) override { return Note("delete values" + Joined(ids)); }
  bool QueryEvidences(std::list<Evidence::EvidencePtr>& out, Evidence::page_info& page, bool& has_more,
                      const Evidence::EvidenceFilterPtr&) override {
    for (const auto& [id, row] : rows)
      out.push_back(std::make_shared<Evidence::_tag_Evidence_>(row));
    page.total = 99;
    has_more = true;
    return Note("query");
  }
  bool GetEvidenceByID(Evidence::EvidencePtr& out, std::int32_t id) override {
    return Note("read", id) && Found(out, [id](const auto& row) { return row.id == id; });
  }
  bool GetEvidenceByIDs(std::list<Evidence::EvidencePtr>& out, const Evidence::IdList& ids) override {
    for (const auto id : ids)
      if (rows.contains(id)) out.push_back(std::make_shared<Evidence::_tag_Evidence_>(rows[id]));
    return Note("read" + Joined(ids));
  }
  bool GetEvidenceByGuid(Evidence::EvidencePtr& out, const std::string& guid) override {
    return Note("guid " + guid) && Found(out, [&guid](const auto& row) { return row.guid == guid; });
  }
  bool GetEvidencesCount(std::int32_t& out) override {
    out = count;
    return Note("count");
  }
  bool GetEvidenceCustomByID(std::list<Evidence::EvidenceCustomPtr>& out, std::int32_t id) override {
    for (const auto& value : values[id])
      out.push_back(std::make_shared<Evidence::tag_EvidenceCustom_>(value));
    return Note("values", id);
  }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<Evidence::tag_EvidenceCustom_>>& out,
                             const Evidence::IdVector& ids) override {
    for (const auto id : ids)
      if (values.contains(id)) out[id] = values[id];
    return Note("values" + Joined(ids));
  }
  bool GetOptionsByCustom(std::vector<Evidence::tag_EvidenceOption_>& out,
                          const Evidence::EvidenceCustomPtr& custom) override {
    out = options[custom->custom_id];
    return Note("options", custom->custom_id);
  }
  bool QueryEvidenceFiles(std::list<Evidence::EvidenceFilePtr>& out, std::int32_t id, const std::string& name,
                          const std::string& guid) override {
    for (const auto& file : files[id]) {
      if ((name.empty() || name == file.file_name) && (guid.empty() || guid == file.guid)) {
        out.push_back(std::make_shared<Evidence::_tag_EvidenceFile_>(file));
      }
    }
    return Note("files", id);
  }
  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<Evidence::EvidenceFilePtr>>&,
                          const Evidence::IdVector& ids) override {
    return Note("files" + Joined(ids));
  }
  bool GetEvidenceFilesCount(std::int32_t& out, std::int32_t id) override {
    out = file_count;
    return Note("file count", id);
  }
  bool InsertEvidenceFiles(const std::list<Evidence::EvidenceFilePtr>& added) override {
    Evidence::IdList ids;
    for (const auto& file : added)
      ids.push_back(file->id);
    return Note("insert files" + Joined(ids));
  }
  bool DeleteEvidenceFiles(const Evidence::IdList& ids) override { return Note("delete files" + Joined(ids)); }
  bool UpdateEvidenceFiles(const Evidence::IdVector& ids, std::int32_t id) override {
    return Note("take off" + Joined(ids) + " of", id);
  }
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t id) override { return Note("delete files of", id); }

 private:
  template <class Matches>
  bool Found(Evidence::EvidencePtr& out, Matches matches) {
    out.reset();
    for (const auto& [id, row] : rows)
      if (matches(row)) out = std::make_shared<Evidence::_tag_Evidence_>(row);
    return out != nullptr;
  }
  template <class Ids>
  static std::string Joined(const Ids& ids) {
    std::string text;
    for (const auto id : ids)
      text += " " + std::to_string(id);
    return text;
  }
  bool Note(const std::string& call, std::int32_t id) { return Note(call + " " + std::to_string(id)); }
  /// Refused when a test names the call, with its ids or without.
  bool Note(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
    const std::string word = call.substr(0, call.find_first_of("-0123456789"));
    const bool refused = failing.contains(call) || failing.contains(word.substr(0, word.find_last_not_of(' ') + 1));
    return !refused || Refuse();
  }

  std::mutex mutex_;
  Texts calls_;  ///< guarded by mutex_
};

/// A running manager over evidences in memory and a scripted platform.
class EvidenceManagerFixture : public ::testing::Test {
 protected:
  void Start() {
    ASSERT_TRUE(manager_.Initialize());
    Forget();
  }
  void Forget() {
    Orv::Base::Error::SetLastError({77, 77});
    store_->TakeCalls();
    platform_.sink->Clear();
    platform_.comm->requests.clear();
  }
  /// The file manager replies with `text` from here on.
  void FileManagerReplies(const std::string& text) {
    platform_.comm->answer = [text](const auto&, const auto&, auto& reply) {
      reply = std::make_shared<plugin_comm::CPluginCommData>(text, nullptr, 0);
    };
  }
  /// What the file manager was asked, as "ids of evidence link|unlink".
  Texts Links() const {
    Texts texts;
    for (const auto& request : platform_.comm->requests)
      texts.push_back(request.substr(request.find(' ') + 1));
    return texts;
  }
  static int LastCode() { return Orv::Base::Error::GetLastError().SubCode(); }
  bool Logged(const std::string& text, int level = 5) const { return platform_.sink->Has(level, text); }

  static constexpr char kDone[] = R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})";

  scripted::Platform platform_;
  std::shared_ptr<EvidencesInMemory> store_ = std::make_shared<EvidencesInMemory>();
  Evidence::CEvidenceManager manager_{store_};
};

}  // namespace evidence_test
