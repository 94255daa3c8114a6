#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/AuthenticationStub.h"
#include "unit/plugin/ManagerTest.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDU.h"

/// What the tests of the request service share: accounts that note what is asked of them, and bodies.
namespace service_test {

using namespace Evidence;
using namespace TarnPlatform::Authentication;
using scripted::Calls;
using scripted::Row;
using scripted::Words;

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

template <class Record>
std::shared_ptr<Record> New(Record record) {
  return std::make_shared<Record>(std::move(record));
}
inline ErrorPtr Refused(std::int32_t id, const std::string& name, int main_code, int sub_code) {
  return New(_tag_Error_{id, name, main_code, sub_code});
}

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
    EXPECT_EQ(Words(request.GetValEncryptionType(), request.GetValClientAddress(), request.GetValSessionIdSecurity()),
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
    EXPECT_EQ(Words(id, name), "7 " + login_name);
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

/// The service over evidences 7, 8, 9 and 11, "Seven" to "Eleven", and types 0, 6 and, deleted, 9.
class ServiceTest : public evidence_test::ManagerTest {
 protected:
  void SetUp() override {
    for (const auto& [id, name] : {std::pair(7, "Seven"), {8, "Eight"}, {9, "Nine"}, {11, "Eleven"}}) {
      PutEvidence(id, "G" + std::to_string(id),
                  {{"name", name}, {"evidence_type_id", "-1"}, {"scene_id", "-1"}, {"outcome_id", "-1"}});
    }
    tables_.Add("evidence_type", {{"id", "0"}, {"name", "Other"}});
    tables_.Add("evidence_type", {{"id", "6"}, {"name", "Burglary"}});
    tables_.Add("evidence_type", {{"id", "9"}, {"name", "Deleted type"}, {"deleted", "1"}});
    Start();
    Orv::Base::Error::SetLastError({});
  }
  /// A file "f<id>" of an evidence.
  void AddFile(std::int32_t id, std::int32_t evidence_id) {
    const std::string text = std::to_string(id);
    tables_.Add("evidence_file",
                {{"id", text}, {"evidence_id", std::to_string(evidence_id)}, {"file_name", "f" + text}});
  }
  /// What was written into `response_` is the body `name`.
  void ExpectAnswer(const std::string& name, bool encoded, const std::string& word = "Scene") const {
    EXPECT_TRUE(encoded) << name;
    EXPECT_EQ(response_, Answer(name, word));
  }

  std::string response_;
  const std::shared_ptr<Accounts> accounts_ = std::make_shared<Accounts>();
  const platform::ScopedBackend<platform::IAuthenticationBackend> accounts_slot_{accounts_};
  std::shared_ptr<CEvidenceUserInterface> user_interface_ = std::make_shared<CEvidenceUserInterface>(shared_manager_);
  CEvidencePduJson pdu_{user_interface_};
  CUsrServiceEvidence service_;
};

}  // namespace service_test
