#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/AuthenticationStub.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDU.h"

/// What the tests of the request service share: a store and accounts that note what is asked of them, and bodies.
namespace service_test {

using namespace Evidence;
using namespace TarnPlatform::Authentication;
using scripted::Calls;

/// The text of tests/bodies/<name>.json, without the line end that files have. Bodies of scenes serve for the other
/// dictionaries with their `word` put in; the word of error entries is misspelt.
inline std::string Body(const std::string& name, const std::string& word) {
  std::ostringstream text;
  text << std::ifstream(std::string(EVIDENCE_BODIES) + "/" + name + ".json").rdbuf();
  EXPECT_FALSE(text.str().empty()) << name;
  const std::string body = text.str().substr(0, text.str().find_last_not_of('\n') + 1);
  return word == "Scene" ? body : std::regex_replace(body, std::regex("Scen(ce|e)"), word);
}
inline std::string Request(const std::string& name, const std::string& word = "Scene") {
  return Body(name + ".request", word);
}
inline std::string Answer(const std::string& name, const std::string& word = "Scene") {
  return Body(name + ".answer", word);
}

/// The fields of a record as one text.
template <class... Values>
std::string Fields(const Values&... values) {
  std::ostringstream text;
  ((text << values << ' '), ...);
  return text.str().substr(0, text.str().size() - 1);
}

template <class Record>
std::shared_ptr<Record> New(Record record) {
  return std::make_shared<Record>(std::move(record));
}
inline ErrorPtr Refused(std::int32_t id, const std::string& name, int main_code, int sub_code) {
  return New(_tag_Error_{id, name, main_code, sub_code});
}

/// Some evidences and the files linked to them. Calls that begin with `refused` fail.
class Store final : public evidence_test::StoreStub {
 public:
  explicit Store(Calls& calls) : calls_(calls) {}
  std::string refused;
  const std::map<std::int32_t, std::string> names{{7, "Seven"}, {8, "Eight"}, {9, "Nine"}, {11, "Eleven"}};
  std::set<std::pair<std::int32_t, std::int32_t>> links;  ///< file and evidence
  std::map<std::string, operation_record> history;

  bool ReadAllEvidenceTypes(std::list<EvidenceTypePtr>& types) override {
    types = {New(_tag_EvidenceType_{0, "Other"}), New(_tag_EvidenceType_{6, "Burglary"})};
    return true;
  }
  bool ReadAllEvidenceCustoms(std::list<EvidenceCustomPtr>&) override { return true; }
  bool ReadAllCustomOptions(std::list<EvidenceCustomPtr>&) override { return true; }
  bool GetEvidenceCustomByID(std::list<EvidenceCustomPtr>&, std::int32_t) override { return true; }
  bool GetEvidenceCustomInfo(std::map<std::int32_t, std::vector<tag_EvidenceCustom_>>&, const IdVector&) override {
    return true;
  }
  bool UpdateEvidenceCustomInfo(const EvidencePtr&) override { return true; }
  bool DeleteEvidenceCustomInfo(const IdList&) override { return true; }
  bool QueryEvidenceTypeNameById(std::string& name, std::int32_t id) override {
    return name = id == 9 ? "Deleted type" : "", true;
  }
  bool GetEvidencesCount(std::int32_t& count) override { return count = 2, true; }
  bool GetEvidenceFilesCount(std::int32_t& count, std::int32_t) override { return count = 0, true; }
  std::int32_t QueryEvidenceSeqID() override { return 9; }

  bool GetEvidenceByID(EvidencePtr& evidence, std::int32_t id) override {
    if (!names.contains(id)) return Refuse();
    evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = id;
    evidence->guid = "G" + std::to_string(id);
    evidence->name = names.at(id);
    return true;
  }
  bool GetEvidenceByIDs(std::list<EvidencePtr>& evidences, const IdList& ids) override {
    for (const auto id : ids)
      if (EvidencePtr evidence; GetEvidenceByID(evidence, id)) evidences.push_back(evidence);
    return Note(With("read", ids));
  }
  bool GetEvidenceByGuid(EvidencePtr&, const std::string&) override { return false; }
  bool InsertEvidence(const EvidencePtr& evidence) override { return Note("insert", evidence->name); }
  bool UpdateEvidence(const EvidencePtr& evidence) override { return Note("update", evidence->id); }
  bool DeleteEvidences(const IdList& ids) override { return Note(With("delete", ids)); }

  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<EvidenceFilePtr>>& files, const IdVector& ids) override {
    for (const auto id : ids)
      AppendFiles(files[id], [id](std::int32_t, std::int32_t evidence) { return evidence == id; });
    return Note(With("files", ids));
  }
  bool QueryEvidenceFiles(std::list<EvidenceFilePtr>& files, std::int32_t evidence_id, const std::string&,
                          const std::string&) override {
    AppendFiles(files, [&](std::int32_t, std::int32_t evidence) { return evidence == evidence_id; });
    return refused != "files" || Refuse();
  }
  bool GetEvidenceFileByFileID(std::list<EvidenceFilePtr>& files, const IdVector& ids) override {
    if (refused == "links of " + std::to_string(ids.front())) return Refuse();
    AppendFiles(files, [&](std::int32_t file, std::int32_t) { return std::ranges::find(ids, file) != ids.end(); });
    return true;
  }
  bool InsertEvidenceFiles(const std::list<EvidenceFilePtr>& files) override {
    return Note("link", std::to_string(files.front()->id) + ">" + std::to_string(files.front()->evidence_id));
  }
  bool UpdateEvidenceFiles(const IdVector& ids, std::int32_t evidence_id) override {
    return Note("unlink", std::to_string(ids.front()) + ">" + std::to_string(evidence_id));
  }
  bool DeleteEvidenceFiles(const IdList& ids) override { return Note(With("unlink", ids)); }
  bool DeleteEvidenceFilesByEvidenceId(std::int32_t) override { return true; }

  /// "history type:evidence", " by" whom unless it is alice, and "[type file:before>after]" for each item.
  bool WriteEvidenceLog(const std::vector<operation_record>& records, std::int32_t) override {
    std::string call = "history";
    for (const auto& record : records) {
      call += " " + std::to_string(record.operation_type) + ":" + std::to_string(record.evidence_id);
      const std::string user = record.user_name + "@" + record.user_ip;
      if (user != "alice@10.0.0.7") call += " by " + user;
      for (const auto& item : record.change_items)
        call += " [" + (item.mod_type == -1 ? "" : std::to_string(item.mod_type) + " ") + item.file_name + ":" +
                item.before_mod + ">" + item.after_mod + "]";
    }
    return Note(call);
  }
  bool GetEvidenceLog(std::map<std::string, operation_record>& records, IdList&, std::int32_t) override {
    records = history;
    return refused != "read history" || Refuse();
  }

 private:
  template <class Wanted>
  void AppendFiles(std::list<EvidenceFilePtr>& files, const Wanted& wanted) const {
    for (const auto& [id, evidence_id] : links) {
      if (!wanted(id, evidence_id)) continue;
      files.push_back(std::make_shared<_tag_EvidenceFile_>());
      files.back()->id = id;
      files.back()->evidence_id = evidence_id;
      files.back()->file_name = "f" + std::to_string(id);
    }
  }
  template <class... Words>
  bool Note(const Words&... words) {
    calls_.push_back(Fields(words...));
    return refused.empty() || !calls_.back().starts_with(refused) || Refuse();
  }
  template <class Ids>
  static std::string With(std::string call, const Ids& ids) {
    for (const auto id : ids)
      call += " " + std::to_string(id);
    return call;
  }

  Calls& calls_;
};

/// Session "s" of the account 7. The password of a user is "right", "nobody" (right, but of no account), "silent" (no
/// answer at all), or the code of its refusal. Carol is account 4 and may not delete. Account 8 is of a directory.
class Accounts final : public evidence_test::AuthenticationStub {
 public:
  std::string login_name = "alice";
  std::string address = "10.0.0.7";
  bool super_user = false;
  std::string frozen;  ///< "client", "user", both, or "count": the client from the first counted try on
  bool client_freeze_enabled = true;
  int client_left = 5;
  int user_left = 2;
  Calls tried;  ///< "name type" of each password that was checked, "count" for each try that was counted

  std::shared_ptr<CUserSession> FindSession(const std::string& session) override {
    if (session != "s") return nullptr;
    return std::make_shared<CUserSession>(7, login_name, address, 1);
  }
  bool IsSuperUser(const std::string&) override { return super_user; }
  bool CheckPassword(std::shared_ptr<CLoginResponse>& out, const CLoginRequest& request) override {
    tried.push_back(request.GetValUserName() + " " + std::to_string(request.GetValLoginAccountType()));
    EXPECT_EQ(Fields(request.GetValEncryptionType(), request.GetValClientAddress(), request.GetValSessionIdSecurity()),
              "2 " + address + " s");
    const std::string& password = request.GetValPassword();
    const bool right = password == "right" || password == "nobody";
    const int id = password == "nobody" ? -1 : request.GetValUserName() == "carol" ? 4 : 7;
    if (password == "silent") return false;
    out = std::make_shared<CLoginResponse>(right ? 0 : std::stoi(password), id);
    return right;
  }
  void AddLoginFailCount(const std::string& client) override { tried.push_back(client == address ? "count" : client); }
  bool IsClientFreeze(const std::string& client) override {
    EXPECT_EQ(client, address);
    return frozen.starts_with("client") || (!frozen.empty() && frozen == tried.back());
  }
  bool IsUserFreeze(int id, const std::string& name) override {
    EXPECT_EQ(Fields(id, name), "7 " + login_name);
    return frozen.ends_with("user");
  }
  int ClientTriesLeft(const std::string& client) override { return client == address ? client_left : -9; }
  int UserTriesLeft(int id, const std::string&) override { return id == 7 ? user_left : -9; }
  bool IsEnableClientFreeze() override { return client_freeze_enabled; }
  bool HaveControlClientPermission(int code, int id) override { return code == 43 && id == 7; }
  int QueryUser(std::shared_ptr<CUserInfo>& user, int id) override {
    if (id != 7 && id != 8) return 202;
    user = std::make_shared<CUserInfo>(id, "account", id == 8 ? 3 : 1);
    return 0;
  }
  bool AESEncryptClient(std::string& cipher, const std::string& plain, const std::string& session) override {
    if (session == "s") cipher = plain + " by " + session;
    return session == "s";
  }
  bool AESDecrypt(std::string& plain, const std::string& cipher, const std::string& session) override {
    if (session == "s" && cipher == "sealed") plain = "opened";
    return session == "s" && cipher == "sealed";
  }
};

class ServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(manager_->Initialize());
    Orv::Base::Error::SetLastError({});
  }
  /// What was written into `response_` is the body `name`.
  void ExpectAnswer(const std::string& name, bool encoded, const std::string& word = "Scene") const {
    EXPECT_TRUE(encoded) << name;
    EXPECT_EQ(response_, Answer(name, word));
  }

  std::string response_;
  scripted::Platform platform_;
  Calls calls_;
  const std::shared_ptr<Accounts> accounts_ = std::make_shared<Accounts>();
  const platform::ScopedBackend<platform::IAuthenticationBackend> accounts_slot_{accounts_};
  const std::shared_ptr<Store> store_ = std::make_shared<Store>(calls_);
  const std::shared_ptr<CEvidenceManager> manager_ = std::make_shared<CEvidenceManager>(store_);
  std::shared_ptr<CEvidenceUserInterface> user_interface_ = std::make_shared<CEvidenceUserInterface>(manager_);
  CEvidencePduJson pdu_{user_interface_};
  CUsrServiceEvidence service_;
};

}  // namespace service_test
