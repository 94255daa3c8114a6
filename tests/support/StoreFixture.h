#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "Backends.h"
#include "Common/PluginConstants.h"
#include "OrvBase/StringUtil.h"
#include "OrvBase/TimeUtil.h"
#include "RealBackends.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "support/ElementsStub.h"
#include "support/LogRecorder.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {

/// The parts of the platform below the evidence plugin over the environment's PostgreSQL, with tables as the set-up
/// makes them, in a time zone of +05:30.
class StoreFixture : public testing::Test {
 protected:
  StoreFixture() {
    setenv("TZ", "XXX-5:30", 1);
    tzset();
    ResetTables();
    platform::SetLogThreshold(1);
    for (const char* const id : {Evidence::kPluginId, platform::kPlatformDbId})
      EXPECT_TRUE(kelp::IDBManager::Instance()->Initialize(id, 4, 4, true));
  }
  ~StoreFixture() override { platform::SetLogThreshold(3); }

  /// What the database got since the last call, a text a line, with the times of now as UTC or LOCAL.
  std::string Sent() {
    using Orv::Base::StringUtil::StringReplace;
    std::string all;
    for (const auto& text : log_->Texts(1, "db_layer"))
      all += (all.empty() ? "" : "\n") + text;
    log_->Clear();
    int offset = 0;
    for (std::time_t time = began_; time <= std::time(nullptr); ++time) {
      all = StringReplace(all, Orv::Base::TimeUtil::TimeT2StrUTCTimeStamp(time), "UTC");
      all = StringReplace(all, Orv::Base::TimeUtil::TimeT2LocalTime(time, offset), "LOCAL");
    }
    return all;
  }

  const std::shared_ptr<LogRecorder> log_ = std::make_shared<LogRecorder>();

 private:
  const std::time_t began_ = std::time(nullptr);
  platform::ScopedBackend<platform::ILogSink> log_slot_{log_};
  platform::ScopedBackend<kelp::IDBManager> db_slot_{
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()})};
  platform::ScopedBackend<kelp::IThreadManager> threads_slot_{platform::MakeThreadManager()};
  platform::ScopedBackend<kelp::IMultiLanguageMgr> language_slot_{platform::MakeMultiLanguageMgr()};
  platform::ScopedBackend<platform::IIncreResourceBackend> incre_slot_{platform::MakeIncreResourceBackend()};
  platform::ScopedBackend<platform::ISystemBackend> system_slot_{host::MakeSystem(1, "/", "0123456789abcdef")};
  platform::ScopedBackend<kelp::IPlatformAdapterInterface> adapter_slot_{
      host::MakeAdapter({{}, {}, std::make_shared<ElementsStub>(), {}, platform::MakeSystemAndLogApi()})};
};

}  // namespace evidence_test
