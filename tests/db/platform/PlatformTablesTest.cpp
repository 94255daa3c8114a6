#include <gtest/gtest.h>

#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "RealBackends.h"
#include "support/AuthenticationStub.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Eventually;
using evidence_test::Postgres;
using evidence_test::Rows;
using evidence_test::Session;
using namespace std::string_literals;
using TarnPlatform::Authentication::CUserSession;
using TarnPlatform::IncreResource::CIncreResourceStructInterface;

constexpr int kTypes = 13001;
constexpr int kCustoms = 13005;

/// Knows the session "known".
struct OneSession final : evidence_test::AuthenticationStub {
  std::shared_ptr<CUserSession> FindSession(const std::string& session) override {
    return session == "known" ? std::make_shared<CUserSession>(7, "O'Brien\\", "10.0.0.7", 1) : nullptr;
  }
};

class PlatformTablesTest : public testing::Test {
 protected:
  void SetUp() override {
    Postgres().Query(
        "DELETE FROM platform.incre_resource; DELETE FROM platform.operation_log;"
        "ALTER SEQUENCE platform.incre_resource_version_seq RESTART");
    ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 8, 2, true));
  }

  /// "method:id" of each change.
  static std::string ChangesAfter(std::uint32_t version, int source_type) {
    std::vector<std::shared_ptr<CIncreResourceStructInterface>> changes;
    if (!TarnPlatform::IncreResource::GetIncreResourceBySourceType(changes, version, source_type)) return "failed";
    std::string texts;
    for (const auto& change : changes)
      texts += std::to_string(change->GetValEnumMethodType()) + ":" + std::to_string(change->GetValIdResource()) + " ";
    return texts;
  }

  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  const platform::ScopedBackend<platform::IAuthenticationBackend> sessions_{std::make_shared<OneSession>()};
  const platform::ScopedBackend<platform::IIncreResourceBackend> increments_{platform::MakeIncreResourceBackend()};
  const platform::ScopedBackend<platform::ILogBackend> log_{platform::MakeLogBackend()};
  const std::shared_ptr<kelp::ISystemAndLogAPI> api_ = platform::MakeSystemAndLogApi();
};

TEST_F(PlatformTablesTest, ChangesAreReadAfterAVersionEachWhereItCameLast) {
  constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
  EXPECT_TRUE(api_->AddIncreResouce(kTypes, 9, 2));
  EXPECT_TRUE(api_->AddIncreResouce(kCustoms, 5, 1));
  EXPECT_TRUE(api_->AddIncreResouce(kTypes, kLargest, 1));
  EXPECT_TRUE(api_->AddIncreResouce(kTypes, 9, 2));
  EXPECT_FALSE(api_->AddIncreResouce(kTypes, kLargest + 1, 0));
  EXPECT_EQ(ChangesAfter(0, kTypes), "1:9223372036854775807 2:9 ");
  EXPECT_EQ(ChangesAfter(3, kTypes), "2:9 ");
  EXPECT_EQ(ChangesAfter(0, kCustoms), "1:5 ");
  EXPECT_EQ(ChangesAfter(std::numeric_limits<std::uint32_t>::max(), kTypes), "");
  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_EQ(ChangesAfter(0, kTypes), "failed");
  EXPECT_FALSE(api_->AddIncreResouce(kTypes, 1, 0));
}

TEST_F(PlatformTablesTest, ALaterVersionIsNotSeenBeforeAnEarlierOne) {
  // Holds up the commit of a change of type 1 until the gate opens, after its version has been drawn.
  const Session gate(Postgres().OwnerConnection());
  gate.Query(
      "CREATE FUNCTION public.hold() RETURNS trigger LANGUAGE plpgsql AS "
      "'BEGIN IF NEW.source_type = 1 THEN PERFORM pg_advisory_xact_lock(77); END IF; RETURN NEW; END';"
      "CREATE TRIGGER hold AFTER INSERT ON platform.incre_resource FOR EACH ROW EXECUTE FUNCTION public.hold();"
      "SELECT pg_advisory_lock(77)");
  const auto held = [&gate] {
    return gate.Query("SELECT 1 FROM pg_locks WHERE locktype = 'advisory' AND NOT granted").size();
  };
  const auto add = [this](int type) {
    return std::async(std::launch::async, [=, this] { return api_->AddIncreResouce(type, 1, 0); });
  };
  auto slow = add(1);
  EXPECT_TRUE(Eventually([&] { return held() == 1; }));
  auto quick = add(2);
  // The quick one either waits for the slow one, or is wrongly visible ahead of it.
  EXPECT_TRUE(Eventually([&] { return held() == 2 || !ChangesAfter(0, 2).empty(); }));
  EXPECT_EQ(ChangesAfter(0, 2), "");
  gate.Query("SELECT pg_advisory_unlock(77)");
  EXPECT_TRUE(slow.get());
  EXPECT_TRUE(quick.get());
  EXPECT_EQ(gate.Query("SELECT version, source_type FROM platform.incre_resource ORDER BY version"),
            (Rows{{"1", "1"}, {"2", "2"}}));
  gate.Query("DROP TRIGGER hold ON platform.incre_resource; DROP FUNCTION public.hold()");
}

TEST_F(PlatformTablesTest, TheLogKeepsWhoDidWhatAndRefusesStrangers) {
  TarnPlatform::Log::COperationLogStruct record;
  record.SetVallog_type(306017);
  record.SetValelement_name("it's 100%s");
  record.SetValdescription("back\\slash");
  EXPECT_TRUE(TarnPlatform::Log::WriteLog("known", record));
  EXPECT_TRUE(TarnPlatform::Log::WriteLog("", record));
  EXPECT_FALSE(TarnPlatform::Log::WriteLog("stranger", record));
  EXPECT_EQ(api_->WriteOperatorLog("known", 306019, 4294967296, "a\0b\xff"s, -1, "", 0, 9808), 0)
      << "what the database cannot hold is replaced, not refused";
  EXPECT_NE(api_->WriteOperatorLog("stranger", 306019, 1, "name", -1, "", 0, 15), 0);
  EXPECT_EQ(Postgres().Query("SELECT concat_ws('|', user_name, client_address, log_type, object_id, object_name, "
                             "description, main_code, sub_code) FROM platform.operation_log ORDER BY id"),
            (Rows{{"O'Brien\\|10.0.0.7|306017|-1|it's 100%s|back\\slash|0|0"},
                  {"||306017|-1|it's 100%s|back\\slash|0|0"},
                  {"O'Brien\\|10.0.0.7|306019|4294967296|a\uFFFD"
                   "b\uFFFD||0|9808"}}));
}

}  // namespace
