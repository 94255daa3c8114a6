// Start and stop of the plugin on a scripted platform: order, failures, and the lines operators search for.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "impl/Evidence/EvidenceModule.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"

namespace {

using Evidence::CEvidenceModule;
using scripted::Calls;

class StartTest : public ::testing::Test {
 protected:
  StartTest() {
    char pattern[] = "/tmp/evidence-start-XXXXXX";
    root_ = mkdtemp(pattern);
    scripts_ = root_ / "META_INFO/casefile.s/runtime_script";
    std::filesystem::create_directories(scripts_);
    platform_.system->directory = root_.string() + "/";
  }
  ~StartTest() override { std::filesystem::remove_all(root_); }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(scripts_ / name, std::ios::binary) << text;
  }

  scripted::Platform platform_;
  CEvidenceModule module_;
  std::filesystem::path root_;
  std::filesystem::path scripts_;
};

constexpr char kLimits[] =
    "<Configs>\n"
    "<HighConfig><MaxConnForConfig>21</MaxConnForConfig><MaxConnForLog>22</MaxConnForLog></HighConfig>\n"
    "<MiddleConfig><MaxConnForConfig>11</MaxConnForConfig><MaxConnForLog>12</MaxConnForLog></MiddleConfig>\n"
    "<LowerConfig><MaxConnForConfig>3</MaxConnForConfig></LowerConfig>\n"
    "</Configs>\n";

TEST_F(StartTest, StartsAndStopsInOrder) {
  Write("ConnsLimit.xml", kLimits);
  ASSERT_TRUE(module_.Initialize());
  EXPECT_EQ(platform_.calls,
            (Calls{"db init casefile.s 21 22 now", "language load casefile.s " + (scripts_ / "locales").string(),
                   "language set casefile.s en", "multi loop casefile.s.upload_mobile_task 1 25 1", "loop Evidence.Msg",
                   "routes", "publish casefile.s /API/Evidence/V1/Evidence",
                   "publish casefile.s /API/Evidence/V1/Evidence/Type"}));
  EXPECT_EQ(platform_.db->sent,
            (std::vector<std::string>{"SELECT * FROM evidence.evidence_type WHERE deleted = 0;",
                                      "SELECT * FROM evidence.evidence_custom WHERE deleted = 0;"}));
  for (const char* line : {"]IDBManager Finish.[", "]Initial Evidence system guid : SYSTEM-GUID.[",
                           "]Initial Evidence Mgr Module Success.[", "]Register url to platform succeed.[",
                           "]Register api url to platform succeed.["}) {
    EXPECT_TRUE(platform_.sink->Has(3, line)) << line;
  }
  EXPECT_TRUE(platform_.sink->Has(3, "[Evidence::CEvidenceModule::Initialize]IDBManager Finish.[src/impl/"));

  platform_.calls.clear();
  module_.Finalize();
  EXPECT_EQ(platform_.calls, (Calls{"end routes", "recover casefile.s /API/Evidence/V1/Evidence",
                                    "recover casefile.s /API/Evidence/V1/Evidence/Type", "end loop Evidence.Msg",
                                    "end multi loop casefile.s.upload_mobile_task", "db uninit casefile.s"}));
}

struct LimitsCase {
  const char* name;
  const char* xml;   // null: no file
  const char* data;  // null: no file
  std::optional<int> standard;
  bool read;
  int config;
  int log;
};

class LimitsTest : public StartTest, public ::testing::WithParamInterface<LimitsCase> {};

TEST_P(LimitsTest, GivesConnectionNumbers) {
  const LimitsCase& limits = GetParam();
  if (limits.xml) Write("ConnsLimit.xml", limits.xml);
  if (limits.data) Write("ConnsLimit.data", limits.data);
  platform_.system->standard = limits.standard;
  int config = 0;
  int log = 0;
  EXPECT_EQ(module_.GetDbConnMaxMinNumByServerStandards(config, log), limits.read);
  EXPECT_EQ(config, limits.config);
  EXPECT_EQ(log, limits.log);
  EXPECT_EQ(platform_.sink->Has(5, "]ReadFile fail ConnsLimit.xml, path = " + (scripts_ / "ConnsLimit.xml").string()),
            !limits.read);
  EXPECT_EQ(platform_.sink->Has(3, "ConfigNum:[" + std::to_string(config) + "], LogNum:[" + std::to_string(log) + "]"),
            limits.read);
  const bool known = limits.standard.value_or(1) >= 1 && limits.standard.value_or(1) <= 3;
  EXPECT_EQ(platform_.sink->Has(5, "]server_standard error , server_standard = "), limits.read && !known);
}

INSTANTIATE_TEST_SUITE_P(
    Files, LimitsTest,
    ::testing::Values(LimitsCase{"Xml", kLimits, nullptr, 2, true, 11, 12},
                      LimitsCase{"DataStandsInForMissing", nullptr, kLimits, 1, true, 21, 22},
                      LimitsCase{"DataStandsInForEmpty", "", kLimits, 1, true, 21, 22},
                      LimitsCase{"NeitherFile", nullptr, nullptr, 1, false, 5, 10},
                      LimitsCase{"BothEmpty", "", "", 1, false, 5, 10},
                      // What follows the last line feed is not part of the text: here the closing tag.
                      LimitsCase{"TailIsCut",
                                 "<Configs><HighConfig><MaxConnForConfig>7</MaxConnForConfig></HighConfig>\n</Configs>",
                                 nullptr, 1, true, 5, 10},
                      LimitsCase{"WithoutLineFeedStaysWhole",
                                 "<Configs><HighConfig><MaxConnForConfig>7</MaxConnForConfig></HighConfig></Configs>",
                                 nullptr, 1, true, 7, 10},
                      LimitsCase{"MissingKeyIsDefault", kLimits, nullptr, 3, true, 3, 10},
                      LimitsCase{"UnknownStandard", kLimits, nullptr, 4, true, 5, 10},
                      LimitsCase{"StandardZero", kLimits, nullptr, 0, true, 5, 10},
                      LimitsCase{"StandardNotGivenIsHigh", kLimits, nullptr, std::nullopt, true, 21, 22}),
    [](const auto& param) { return param.param.name; });

struct FailureCase {
  const char* name;
  std::function<void(scripted::Platform&)> script;
  bool starts;
  int level;
  std::vector<std::string> lines;
};

class StartFailureTest : public StartTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(StartFailureTest, IsLoggedAndStopsInOrder) {
  GetParam().script(platform_);
  EXPECT_EQ(module_.Initialize(), GetParam().starts);
  for (const auto& line : GetParam().lines)
    EXPECT_TRUE(platform_.sink->Has(GetParam().level, line)) << line;
  if (!GetParam().starts) {
    EXPECT_TRUE(platform_.bus->registrations.empty());
  }

  platform_.calls.clear();
  module_.Finalize();
  EXPECT_EQ(platform_.calls.back(), "db uninit casefile.s");
  EXPECT_EQ(std::ranges::count(platform_.calls, "end loop Evidence.Msg"), 1);
}

auto FailStatement(const std::string& part) {
  return [part](scripted::Platform& platform) {
    platform.db->answer = [part](const std::string& sql) -> std::optional<std::vector<scripted::Row>> {
      if (sql.find(part) != std::string::npos) return std::nullopt;
      return std::vector<scripted::Row>{{{"ID", "2"}, {"name", "x"}, {"types", "0"}}};
    };
  };
}

INSTANTIATE_TEST_SUITE_P(
    Stages, StartFailureTest,
    ::testing::Values(
        FailureCase{"LimitsFile",
                    [](auto&) {},
                    true,
                    5,
                    {"]ReadFile fail ConnsLimit.xml, path = ", "]GetDbConnMaxMinNumByServerStandards Failed. ["}},
        FailureCase{"Database",
                    [](auto& platform) { platform.db->initialize = false; },
                    false,
                    5,
                    {"]IDBManager Initialize failed.["}},
        FailureCase{"Language",
                    [](auto& platform) { platform.language->load = false; },
                    true,
                    5,
                    {"]LoadMultiLanguage Failed, path:", "]LoadMultiLanguage fail["}},
        FailureCase{"Types",
                    FailStatement("evidence_type"),
                    false,
                    5,
                    {"]Get all evidence type failed.[",
                     "]Read all evidences from DB failed, sql[SELECT * FROM evidence.evidence_type WHERE deleted = "
                     "0;].["}},
        FailureCase{"Customs", FailStatement("evidence_custom"), false, 5, {"]Get all evidence custom failed.["}},
        FailureCase{"Options",
                    FailStatement("evidence_option"),
                    false,
                    5,
                    {"]Get all evidence custom options failed.[",
                     "]Get custom option failed, sqls[SELECT * FROM evidence.evidence_option WHERE custom_id = 2 AND "
                     "deleted = 0;].["}},
        FailureCase{"Manager", FailStatement("evidence_type"), false, 6, {"]Evidence maganger failed to initialize.["}},
        FailureCase{"Elements",
                    [](auto& platform) { platform.adapter->elements = nullptr; },
                    false,
                    6,
                    {"]Evidence maganger failed to initialize.["}},
        FailureCase{"UploadLoop",
                    [](auto& platform) { platform.threads->refused = {"casefile.s.upload_mobile_task"}; },
                    false,
                    5,
                    {"]CreateMultiMessageLoop failed, key : casefile.s.upload_mobile_task.["}},
        FailureCase{"MessageLoop",
                    [](auto& platform) { platform.threads->refused = {"Evidence.Msg"}; },
                    false,
                    6,
                    {"]Evidence module failed to CreateMessageLoop.["}},
        FailureCase{
            "FirstApi",
            [](auto& platform) { platform.comm->refused = {"/API/Evidence/V1/Evidence"}; },
            true,
            5,
            {"]Publish api failed, url[/API/Evidence/V1/Evidence], err[", "]Register api url to platform failed.["}}),
    [](const auto& param) { return param.param.name; });

TEST_F(StartTest, WithoutBusStartsWithoutRoutes) {
  platform_.adapter->bus = nullptr;
  EXPECT_TRUE(module_.Initialize());
  EXPECT_TRUE(platform_.sink->Has(6, "]ptr_msg_bus is null.["));
  EXPECT_TRUE(platform_.sink->Has(5, "]Register url to platform failed.["));
  EXPECT_TRUE(platform_.sink->Has(5, "]Get msg bus mgr api obj is empty.["));
  EXPECT_EQ(std::ranges::count_if(platform_.calls, [](const auto& call) { return call.starts_with("publish"); }), 0);

  platform_.calls.clear();
  module_.Finalize();
  EXPECT_EQ(platform_.calls.front(), "end loop Evidence.Msg") << "without a bus the APIs stay published";
  platform_.adapter->bus = platform_.bus;
  Evidence::CUsrServiceEvidence::Instance()->UnInit();
}

TEST_F(StartTest, FailedStartRefusesCallsAndKeepsTheLoop) {
  FailStatement("evidence_custom")(platform_);
  Evidence::CEvidenceManager manager;
  EXPECT_FALSE(manager.Initialize());
  EXPECT_EQ(platform_.calls, (Calls{"multi loop casefile.s.upload_mobile_task 1 25 1"}));
  EXPECT_TRUE(platform_.sink->Has(3, "]Initial Evidence Mgr Module False.["));
  std::list<Evidence::EvidenceTypePtr> types;
  Evidence::page_info page;
  EXPECT_FALSE(manager.GetEvidenceTypes(types, page, nullptr));
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 9820));
}

TEST_F(StartTest, FailedLoopLeavesTheManagerClosed) {
  platform_.threads->refused = {"casefile.s.upload_mobile_task"};
  Evidence::CEvidenceManager manager;
  EXPECT_FALSE(manager.Initialize());
  std::string name;
  EXPECT_FALSE(manager.QueryEvidenceTypeNameById(name, 1));
  EXPECT_EQ(Orv::Base::Error::GetLastError(), Orv::Base::Error::ErrorCode(0, 9820));
}

TEST_F(StartTest, WithoutElementsNothingFollowsTheLoad) {
  platform_.adapter->elements = nullptr;
  Evidence::CEvidenceManager manager;
  EXPECT_FALSE(manager.Initialize());
  EXPECT_TRUE(platform_.calls.empty()) << "no loop";
  EXPECT_FALSE(platform_.sink->Has(3, "Initial Evidence"));
}

TEST_F(StartTest, StoppedManagerKeepsNoNamesAndStartsAgain) {
  platform_.language->texts["casefile.s/en/update_src_name/evidence_update_theft"] = "Theft";
  Evidence::CEvidenceManager manager;
  ASSERT_TRUE(manager.Initialize());
  EXPECT_EQ(manager.GetDataByKey(0, 1), "Theft");
  EXPECT_TRUE(manager.Finalize());
  EXPECT_EQ(platform_.calls.back(), "end multi loop casefile.s.upload_mobile_task");
  EXPECT_EQ(manager.GetDataByKey(0, 1), "");
  EXPECT_TRUE(manager.Initialize());
  EXPECT_TRUE(manager.Initialize()) << "a second start on a running manager leaves it running";
  std::list<Evidence::EvidenceTypePtr> types;
  Evidence::page_info page;
  EXPECT_TRUE(manager.GetEvidenceTypes(types, page, nullptr));
}

TEST_F(StartTest, SecondInitializeReloadsNothingAndAsksForTheLoopAgain) {
  Evidence::CEvidenceManager manager;
  ASSERT_TRUE(manager.Initialize());
  platform_.db->sent.clear();
  platform_.threads->refused = {"casefile.s.upload_mobile_task"};
  EXPECT_FALSE(manager.Initialize());
  EXPECT_TRUE(platform_.db->sent.empty());
  EXPECT_TRUE(platform_.sink->Has(3, "]It's initialized.["));
  std::list<Evidence::EvidenceTypePtr> types;
  Evidence::page_info page;
  EXPECT_TRUE(manager.GetEvidenceTypes(types, page, nullptr)) << "the manager runs on";
}

}  // namespace
