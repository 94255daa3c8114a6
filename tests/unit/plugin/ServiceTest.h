#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/AuthenticationStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDU.h"

/// What the tests of the request service share: tables and accounts that note what is asked of them, and bodies.
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

/// The plugin's tables as a database answers from them; each statement that counts is noted in few words.
class Tables {
 public:
  explicit Tables(Calls& calls) : calls_(calls) {
    for (const auto& [id, name] : {std::pair("7", "Seven"), {"8", "Eight"}, {"9", "Nine"}, {"11", "Eleven"}})
      Add("evidence", {{"ID", id}, {"name", name}, {"guid", "G" + std::string(id)}, {"evidence_status", "1"}});
    for (Row& row : rows["evidence"])
      row.insert({{"evidence_type_id", "-1"}, {"scene_id", "-1"}, {"outcome_id", "-1"}});
    Add("evidence_type", {{"ID", "0"}, {"name", "Other"}});
    Add("evidence_type", {{"ID", "6"}, {"name", "Burglary"}});
    Add("evidence_type", {{"ID", "9"}, {"name", "Deleted type"}, {"deleted", "1"}});
  }

  std::string refused;  ///< how the calls begin that fail
  std::map<std::string, std::vector<Row>> rows;

  void Add(const std::string& table, Row row) {
    row["id"] = row["ID"];
    row.try_emplace("deleted", "0");
    rows[table].push_back(std::move(row));
  }
  /// Files "f<id>", each linked to an evidence: "1>7,2>8".
  void Link(const std::string& links) {
    static const std::regex link(R"((\d+)>(-?\d+))");
    rows["evidence_file"].clear();
    for (std::sregex_iterator found(links.begin(), links.end(), link), end; found != end; ++found)
      Add("evidence_file", {{"ID", (*found)[1]}, {"evidence_id", (*found)[2]}, {"file_name", found->format("f$1")}});
  }

  std::optional<std::vector<Row>> Answer(const std::string& sql) {
    // A call that begins with "?" can be refused, but is not noted.
    static const std::pair<std::regex, const char*> calls[] = {
        {std::regex(R"(SELECT ID, name FROM evidence\.evidence .*\((.*)\))"), "read $1"},
        {std::regex(R"(INSERT INTO evidence\.evidence \(.*VALUES \(\d+, '.*?', '(.*?)')"), "insert $1"},
        {std::regex(R"(UPDATE evidence\.evidence SET guid .*id = (-?\d+);)"), "update $1"},
        {std::regex(R"(UPDATE evidence\.evidence SET deleted = 1 WHERE id = (\d+);)"), "delete $1"},
        {std::regex(R"(SELECT id, evidence_id FROM .*\((.*)\))"), "files $1"},
        {std::regex(R"(SELECT \* FROM evidence\.evidence_file )"), "?files"},
        {std::regex(R"(file_name FROM evidence\.evidence_file .*\((.*)\))"), "?links of $1"},
        {std::regex(R"(evidence_file \([^)]*\) VALUES \((\d+), [^)]*, (\d+), '[^)]*\);)"), "link $1>$2"},
        {std::regex(R"(evidence_file SET deleted = 1 WHERE id = (\d+) AND evidence_id = (\d+);)"), "unlink $1>$2"},
        {std::regex(R"(evidence_file SET deleted = 1 WHERE id = (\d+);)"), "unlink $1"},
        {std::regex(R"(evidence_type SET name = '(.*)', .*id = (\d+);)"), "type $2 $1"},
        {std::regex(R"(operation_log .*VALUES \(\d+, (-?\d+), '(.*?)', '(.*?)', (-?\d+), '(.*?)', .*, )"
                    R"((-?\d+), '(.*?)', '(.*?)')"),
         "history $4:$1 by $2@$3 [$6 $5:$7>$8]"},
        {std::regex(R"(FROM evidence\.operation_log)"), "?history"}};
    const std::string text = sql.substr(0, 2'000);
    for (const auto& [statement, words] : calls) {
      for (std::sregex_iterator found(text.begin(), text.end(), statement), end; found != end; ++found) {
        static const std::regex usual(R"( by alice@10\.0\.0\.7| \[-1 :>\]|(\[)-1 |:>(?=\]))");
        const std::string call = std::regex_replace(found->format(words), usual, "$1");
        const bool unnoted = call.starts_with('?');
        if (!unnoted) calls_.push_back(call);
        if (!refused.empty() && call.substr(unnoted).starts_with(refused)) return std::nullopt;
      }
    }
    return Rows(text);
  }

 private:
  [[nodiscard]] std::vector<Row> Rows(const std::string& sql) const {
    static const std::regex query(
        R"(SELECT (.*) FROM evidence\.(\w+) WHERE (?:deleted = 0 AND +)?(\w+) (?:=|in|IN) \(?([-\d,]+))");
    std::vector<Row> found;
    std::smatch part;
    if (sql.starts_with("SELECT NEXTVAL")) return {{{"nextval", "9"}}};
    if (!std::regex_search(sql, part, query) || !rows.contains(part[2])) return {};
    const std::string column = part[3];
    for (const Row& row : rows.at(part[2]))
      if (("," + part[4].str() + ",").find("," + row.at(column) + ",") != std::string::npos) found.push_back(row);
    if (part[1] == "count(*)") return {{{"count", std::to_string(found.size())}}};
    return found;
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

class ServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform_.db->answer = [this](const std::string& sql) { return tables_.Answer(sql); };
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
  Tables tables_{platform_.calls};
  const std::shared_ptr<Accounts> accounts_ = std::make_shared<Accounts>();
  const platform::ScopedBackend<platform::IAuthenticationBackend> accounts_slot_{accounts_};
  const std::shared_ptr<CEvidenceManager> manager_ = std::make_shared<CEvidenceManager>();
  std::shared_ptr<CEvidenceUserInterface> user_interface_ = std::make_shared<CEvidenceUserInterface>(manager_);
  CEvidencePduJson pdu_{user_interface_};
  CUsrServiceEvidence service_;
};

}  // namespace service_test
