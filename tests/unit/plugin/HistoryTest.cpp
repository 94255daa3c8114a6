// Writing and reading an evidence's history through the manager.

#include <gtest/gtest.h>

#include "OrvBase/Error.h"
#include "impl/Evidence/EvidenceManager.h"
#include "support/AuthenticationStub.h"
#include "support/StoreStub.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using Evidence::operation_record;
using Orv::Base::Error::ErrorCode;
using Orv::Base::Error::GetLastError;
using Texts = std::vector<std::string>;
using Records = std::map<std::string, operation_record>;

class HistoryStore final : public evidence_test::StoreStub {
 public:
  bool works = true;
  Texts calls;  ///< "write client_type evidence..." or "read evidence"

  bool ReadAllEvidenceTypes(std::list<Evidence::EvidenceTypePtr>&) override { return true; }
  bool ReadAllEvidenceCustoms(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  bool ReadAllCustomOptions(std::list<Evidence::EvidenceCustomPtr>&) override { return true; }
  bool WriteEvidenceLog(const std::vector<operation_record>& records, std::int32_t client_type) override {
    std::string call = "write " + std::to_string(client_type);
    for (const auto& record : records)
      call += " " + std::to_string(record.evidence_id);
    calls.push_back(call);
    return works || Refuse();
  }
  bool GetEvidenceLog(Records& records, Evidence::IdList& reserved, std::int32_t evidence_id) override {
    calls.push_back("read " + std::to_string(evidence_id));
    if (!works) return Refuse();
    records["key"].evidence_id = evidence_id;
    reserved.push_back(evidence_id);
    return true;
  }
};

class Sessions final : public evidence_test::AuthenticationStub {
 public:
  std::map<std::string, int> client_types;
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) override {
    const auto found = client_types.find(session);
    if (found == client_types.end()) return nullptr;
    return std::make_shared<TarnPlatform::Authentication::CUserSession>(7, "alice", "10.0.0.7", found->second);
  }
};

class HistoryTest : public ::testing::Test {
 protected:
  bool Write(const std::string& session) {
    std::vector<operation_record> records(2);
    records[0].evidence_id = 4;
    records[1].evidence_id = 5;
    return manager_.WriteEvidenceLog(records, session);
  }

  scripted::Platform platform_;
  std::shared_ptr<Sessions> sessions_ = std::make_shared<Sessions>();
  platform::ScopedBackend<platform::IAuthenticationBackend> authentication_{sessions_};
  std::shared_ptr<HistoryStore> store_ = std::make_shared<HistoryStore>();
  Evidence::CEvidenceManager manager_{store_};
};

TEST_F(HistoryTest, EntriesCarryTheClientTypeOfTheirSession) {
  ASSERT_TRUE(manager_.Initialize());
  // The empty text is a caller inside the system, also when somebody could be found under it.
  sessions_->client_types = {{"", 9}, {"web", 1}, {"control", 0}};
  EXPECT_TRUE(Write("web"));
  EXPECT_TRUE(Write("control"));
  EXPECT_TRUE(Write(""));
  EXPECT_EQ(store_->calls, (Texts{"write 1 4 5", "write 0 4 5", "write -1 4 5"}));
  EXPECT_FALSE(Write("ended"));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 200));
  EXPECT_EQ(store_->calls.size(), 3U) << "nothing is written for an unknown session";
}

TEST_F(HistoryTest, ReadsThroughTheStore) {
  ASSERT_TRUE(manager_.Initialize());
  Records records;
  Evidence::IdList reserved{1};
  EXPECT_TRUE(manager_.GetEvidenceLog(records, reserved, 7));
  EXPECT_EQ(records["key"].evidence_id, 7);
  EXPECT_EQ(reserved, (Evidence::IdList{1, 7})) << "passed through";
}

TEST_F(HistoryTest, StoreFailuresKeepTheirPairAndLeaveALine) {
  ASSERT_TRUE(manager_.Initialize());
  store_->works = false;
  platform_.sink->Clear();
  EXPECT_FALSE(Write(""));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(platform_.sink->Has(5, "[Evidence::CEvidenceManager::WriteEvidenceLog]WriteEvidenceLog failed.["));
  Orv::Base::Error::SetLastError({});
  Records records;
  Evidence::IdList reserved;
  EXPECT_FALSE(manager_.GetEvidenceLog(records, reserved, 7));
  EXPECT_EQ(GetLastError(), ErrorCode(0, 15));
  EXPECT_TRUE(records.empty());
  EXPECT_TRUE(
      platform_.sink->Has(5, "[Evidence::CEvidenceManager::GetEvidenceLog]WriteEvidenceLog failed, evidenece_id[7].["));
}

TEST_F(HistoryTest, OutsideTheRunningTimeNothingReachesTheStore) {
  const auto refused = [this] {
    Records records;
    Evidence::IdList reserved;
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(Write("ended"));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 9820)) << "the session is looked for later";
    Orv::Base::Error::SetLastError({});
    EXPECT_FALSE(manager_.GetEvidenceLog(records, reserved, 7));
    EXPECT_EQ(GetLastError(), ErrorCode(0, 9820));
  };
  refused();
  ASSERT_TRUE(manager_.Initialize());
  EXPECT_TRUE(manager_.Finalize());
  refused();
  EXPECT_EQ(store_->calls, Texts{});
}

}  // namespace
