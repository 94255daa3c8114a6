#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "RealBackends.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace {

using evidence_test::Eventually;
using evidence_test::Postgres;
using evidence_test::Session;
using kelp::IDBManager;
using kelp::IDBResultSet;
using namespace std::chrono_literals;

constexpr int kClass = IDBManager::kConfigClass;
constexpr char kSqlPassGate[] = "SELECT pg_advisory_xact_lock(1)";

std::shared_ptr<IDBManager> MakeManager(std::chrono::milliseconds bound = 30s) {
  return platform::MakePostgresDBManager(
      {.connection = Postgres().OwnerConnection() + " application_name=pool", .acquire_timeout = bound});
}

/// How many server processes the pools under test have.
std::string Connections() {
  return Postgres().Value("SELECT count(*) FROM pg_stat_activity WHERE application_name = 'pool'");
}

/// Holds up every text that passes the gate.
class Gate {
 public:
  Gate() : session_(Postgres().OwnerConnection()) { session_.Query("SELECT pg_advisory_lock(1)"); }
  void Open() { session_.Query("SELECT pg_advisory_unlock(1)"); }
  [[nodiscard]] bool HasWaiter() const {
    return Eventually([this] {
      return session_.Query("SELECT 1 FROM pg_locks WHERE locktype = 'advisory' AND NOT granted").size() == 1;
    });
  }

 private:
  Session session_;
};

class DBManagerFailureTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(manager_->Initialize("plugin", 1, 1, true)); }

  bool Execute(const std::string& sql) { return manager_->ExecuteNoQuery("plugin", kClass, sql); }
  std::future<bool> ExecuteBehind() {
    return std::async(std::launch::async, [this] { return Execute(kSqlPassGate); });
  }

  const std::shared_ptr<IDBManager> manager_ = MakeManager();
};

TEST_F(DBManagerFailureTest, AConnectionClosedWhileIdleIsRenewedUnseen) {
  std::string process;
  ASSERT_TRUE(manager_->ExecuteQuery("plugin", kClass, "SELECT pg_backend_pid() AS process",
                                     [&](IDBResultSet* rows) { process = rows->GetString("process"); }));
  ASSERT_EQ(Postgres().Value("SELECT pg_terminate_backend(" + process + ", 20000)"), "t");
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerFailureTest, ATextThatEndsItsConnectionFailsAndIsNotSentAgain) {
  Postgres().Query("CREATE SEQUENCE public.sends");
  // A drawn number stays drawn when all else is undone, so the sequence counts the sends.
  EXPECT_FALSE(Execute("SELECT nextval('sends'); SELECT pg_terminate_backend(pg_backend_pid()); SELECT pg_sleep(60)"));
  EXPECT_EQ(Postgres().Value("SELECT last_value FROM public.sends"), "1");
  EXPECT_TRUE(Execute("SELECT 1"));
  Postgres().Query("DROP SEQUENCE public.sends");
}

TEST_F(DBManagerFailureTest, ARestartOfTheServerIsSurvived) {
  Postgres().Stop();
  EXPECT_FALSE(Execute("SELECT 1"));
  EXPECT_FALSE(Execute("SELECT 1"));
  Postgres().Start();
  EXPECT_TRUE(Execute("SELECT 1"));
  Postgres().Stop();
  Postgres().Start();
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerFailureTest, ACallerWaitsNoLongerThanTheBoundAndClassesDoNotShare) {
  const auto hasty = MakeManager(20ms);
  ASSERT_TRUE(hasty->Initialize("plugin", 1, 1, true));
  Gate gate;
  auto running = std::async(std::launch::async, [&] { return hasty->ExecuteNoQuery("plugin", kClass, kSqlPassGate); });
  ASSERT_TRUE(gate.HasWaiter());
  EXPECT_FALSE(hasty->ExecuteNoQuery("plugin", kClass, "SELECT 1"));
  EXPECT_TRUE(hasty->ExecuteNoQuery("plugin", IDBManager::kLogClass, "SELECT 1"));
  gate.Open();
  EXPECT_TRUE(running.get());
  EXPECT_TRUE(hasty->ExecuteNoQuery("plugin", kClass, "SELECT 1"));
}

TEST_F(DBManagerFailureTest, EndingThePoolsLetsARunningTextFinishAndClosesEverything) {
  Gate gate;
  auto running = ExecuteBehind();
  ASSERT_TRUE(gate.HasWaiter());
  auto waiting = std::async(std::launch::async, [this] { return Execute("SELECT 1"); });
  manager_->UnInitialize("plugin");
  EXPECT_FALSE(waiting.get());
  EXPECT_FALSE(Execute("SELECT 1"));
  EXPECT_FALSE(Execute(""));
  gate.Open();
  EXPECT_TRUE(running.get());
  EXPECT_TRUE(Eventually([] { return Connections() == "0"; }));
  manager_->UnInitialize("plugin");
  ASSERT_TRUE(manager_->Initialize("plugin", 1, 1, true));
  EXPECT_TRUE(Execute("SELECT 1"));
}

TEST_F(DBManagerFailureTest, ConnectionsAreOpenedWhenNeeded) {
  manager_->UnInitialize("plugin");
  ASSERT_TRUE(Eventually([] { return Connections() == "0"; }));
  ASSERT_TRUE(manager_->Initialize("plugin", 5, 5, true));
  EXPECT_EQ(Connections(), "1");
  Gate gate;
  auto running = ExecuteBehind();
  ASSERT_TRUE(gate.HasWaiter());
  EXPECT_TRUE(Execute("SELECT 1"));
  EXPECT_TRUE(Execute("SELECT 1"));
  EXPECT_EQ(Connections(), "2");
  gate.Open();
  EXPECT_TRUE(running.get());
}

TEST_F(DBManagerFailureTest, InitializeRefusesWhatCannotWork) {
  const auto away = platform::MakePostgresDBManager({.connection = "host=/nonexistent dbname=evidence"});
  EXPECT_FALSE(away->Initialize("plugin", 1, 1, true));
  EXPECT_FALSE(away->ExecuteNoQuery("plugin", kClass, ""));
  for (const auto& [config, log] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {2147483647, 1}}) {
    EXPECT_FALSE(manager_->Initialize("other", config, log, true)) << config << ' ' << log;
  }
  EXPECT_FALSE(manager_->Initialize("plugin", 1, 1, true));
  EXPECT_TRUE(Execute("SELECT 1"));
  EXPECT_FALSE(manager_->ExecuteNoQuery("plugin", 3, "SELECT 1"));
  EXPECT_FALSE(manager_->ExecuteNoQuery("other", kClass, "SELECT 1"));
}

TEST_F(DBManagerFailureTest, SeveralHostsAreTriedInTurn) {
  std::string connection = Postgres().OwnerConnection();
  connection.insert(connection.find('=') + 1, "/nonexistent,");
  const auto manager = platform::MakePostgresDBManager({.connection = connection});
  EXPECT_TRUE(manager->Initialize("plugin", 1, 1, true));
}

}  // namespace
