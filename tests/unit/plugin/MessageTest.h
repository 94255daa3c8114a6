#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/AuthenticationStub.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidencePDU.h"

/// What the tests of messages share: bodies kept as files, and a system behind the message object.
namespace messages {

/// The text of tests/bodies/<name>.json, without the line end that files have.
inline std::string Body(const std::string& name) {
  std::ifstream file(std::string(EVIDENCE_BODIES) + "/" + name + ".json");
  std::ostringstream text;
  text << file.rdbuf();
  EXPECT_FALSE(text.str().empty()) << name;
  return text.str().substr(0, text.str().find_last_not_of('\n') + 1);
}

inline std::string Request(const std::string& name) { return Body(name + ".request"); }
inline std::string Answer(const std::string& name) { return Body(name + ".answer"); }

/// The fields of a record as one text.
template <class... Values>
std::string Fields(const Values&... values) {
  std::ostringstream text;
  ((text << values << ' '), ...);
  return text.str().substr(0, text.str().size() - 1);
}

class Store final : public evidence_test::StoreStub {
 public:
  bool files_readable = true;
  std::vector<Evidence::IdVector> asked;  ///< ids of each query for files

  bool ReadAllEvidenceTypes(std::list<Evidence::EvidenceTypePtr>& types) override {
    types.push_back(std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{0, "Other"}));
    types.push_back(std::make_shared<Evidence::_tag_EvidenceType_>(Evidence::_tag_EvidenceType_{6, "Burglary"}));
    return true;
  }
  bool ReadAllEvidenceCustoms(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  bool ReadAllCustomOptions(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  bool GetEvidenceCustomByID(std::list<Evidence::EvidenceCustomPtr>&, std::int32_t) override { return true; }
  bool QueryEvidenceTypeNameById(std::string& name, std::int32_t id) override {
    name = id == 9 ? "Deleted type" : "";
    return true;
  }
  bool GetEvidenceByID(Evidence::EvidencePtr& evidence, std::int32_t id) override {
    if (id != 11) return Refuse();
    evidence = std::make_shared<Evidence::_tag_Evidence_>();
    evidence->name = "eleven";
    return true;
  }
  bool QueryEvidenceFiles(std::map<std::int32_t, std::list<Evidence::EvidenceFilePtr>>& files,
                          const Evidence::IdVector& ids) override {
    asked.push_back(ids);
    files[11] = Files();
    return files_readable || Refuse();
  }
  bool QueryEvidenceFiles(std::list<Evidence::EvidenceFilePtr>& files, std::int32_t id, const std::string& name,
                          const std::string& guid) override {
    EXPECT_EQ(Fields(id, name, guid), "11  ");
    files = Files();
    return files_readable || Refuse();
  }

  static std::list<Evidence::EvidenceFilePtr> Files() {
    std::list<Evidence::EvidenceFilePtr> files;
    for (const std::int32_t id : {31, 32}) {
      files.push_back(std::make_shared<Evidence::_tag_EvidenceFile_>());
      files.back()->id = id;
    }
    return files;
  }
};

/// Session "s" is alice's; 7 is an account of the platform, 8 one of a directory.
class Accounts final : public evidence_test::AuthenticationStub {
 public:
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) override {
    if (session != "s") return nullptr;
    return std::make_shared<TarnPlatform::Authentication::CUserSession>(7, "alice", "10.0.0.7", 1);
  }
  int QueryUser(std::shared_ptr<TarnPlatform::Authentication::CUserInfo>& user, int id) override {
    if (id != 7 && id != 8) return 202;
    user = std::make_shared<TarnPlatform::Authentication::CUserInfo>(id, "account", id == 8 ? 3 : 1);
    return 0;
  }
};

class MessageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(manager_->Initialize());
    Orv::Base::Error::SetLastError({0, 0});
  }

  scripted::Platform platform_;
  platform::ScopedBackend<platform::IAuthenticationBackend> accounts_{std::make_shared<Accounts>()};
  std::shared_ptr<Store> store_ = std::make_shared<Store>();
  std::shared_ptr<Evidence::CEvidenceManager> manager_ = std::make_shared<Evidence::CEvidenceManager>(store_);
  std::shared_ptr<Evidence::CEvidenceUserInterface> user_interface_ =
      std::make_shared<Evidence::CEvidenceUserInterface>(manager_);
  Evidence::CEvidencePduJson pdu_{user_interface_};
  std::string response_;
};

}  // namespace messages
