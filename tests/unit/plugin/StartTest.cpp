// Start and stop of the plugin on a scripted platform: order, failures, and the lines operators search for.

#include <gtest/gtest.h>

#include "impl/Evidence/EvidenceModule.h"
#include "support/ScratchFolder.h"
#include "unit/plugin/ScriptedPlatform.h"

namespace {

using scripted::Calls;

constexpr char kUploadLoop[] = "casefile.s.upload_mobile_task";

constexpr char kLimits[] =
    "<Configs>\n"
    "<HighConfig><MaxConnForConfig>21</MaxConnForConfig><MaxConnForLog>22</MaxConnForLog></HighConfig>\n"
    "<MiddleConfig><MaxConnForConfig>11</MaxConnForConfig><MaxConnForLog>12</MaxConnForLog></MiddleConfig>\n"
    "<LowerConfig><MaxConnForConfig>3</MaxConnForConfig></LowerConfig>\n"
    "</Configs>\n";

/// A platform on which the calls that begin so fail.
auto FailCall(const std::string& call) {
  return [call](scripted::Platform& platform) { platform.db->tables.failing = {call}; };
}

class StartTest : public ::testing::Test {
 protected:
  StartTest() {
    std::filesystem::create_directories(scripts_);
    platform_.system->directory = folder_.path() + "/";
  }

  /// Writes the file; none for a null text.
  void Write(const std::string& name, const char* text) const {
    std::filesystem::remove(scripts_ / name);
    if (text != nullptr) std::ofstream(scripts_ / name, std::ios::binary) << text;
  }
  /// The code with which a manager refuses to read; 0 when it does not.
  static int Refusal(Evidence::CEvidenceManager& manager) {
    std::string name;
    return manager.QueryEvidenceTypeNameById(name, 1) ? 0 : Orv::Base::Error::GetLastError().SubCode();
  }

  scripted::Platform platform_;
  const evidence_test::ScratchFolder folder_;
  const std::filesystem::path scripts_ = folder_.path() + "/META_INFO/casefile.s/runtime_script";
};

TEST_F(StartTest, StartsAndStopsInOrder) {
  Write("ConnsLimit.xml", kLimits);
  Evidence::CEvidenceModule module;
  ASSERT_TRUE(module.Initialize());
  EXPECT_EQ(
      platform_.calls,
      (Calls{"db init casefile.s 21 22 now", "language load casefile.s " + (scripts_ / "locales").string(),
             "language set casefile.s en", "read types", "read customs",
             "multi loop casefile.s.upload_mobile_task 1 25 1", "loop Evidence.Msg", "routes",
             "publish casefile.s /API/Evidence/V1/Evidence", "publish casefile.s /API/Evidence/V1/Evidence/Type"}));
  platform_.calls.clear();
  module.Finalize();
  EXPECT_EQ(platform_.calls, (Calls{"end routes", "recover casefile.s /API/Evidence/V1/Evidence",
                                    "recover casefile.s /API/Evidence/V1/Evidence/Type", "end loop Evidence.Msg",
                                    "end multi loop casefile.s.upload_mobile_task", "db uninit casefile.s"}));
}

TEST_F(StartTest, ConnectionNumbersComeFromTheFileByTheServersSize) {
  constexpr char kOneLine[] = "<Configs><HighConfig><MaxConnForConfig>7</MaxConnForConfig></HighConfig></Configs>";
  constexpr char kCut[] = "<Configs><HighConfig><MaxConnForConfig>7</MaxConnForConfig></HighConfig>\n</Configs>";
  /// Both files, the server's size, and the numbers for settings and for the log.
  using Case = std::tuple<const char*, const char*, std::optional<int>, const char*>;
  for (const auto& [xml, data, standard, numbers] : {
           Case{kLimits, nullptr, 2, "11 12"}, Case{kLimits, nullptr, std::nullopt, "21 22"},
           Case{kLimits, nullptr, 3, "3 10"}, Case{kLimits, nullptr, 4, "5 10"}, Case{kLimits, nullptr, 0, "5 10"},
           Case{"", kLimits, 1, "21 22"},  // the other file replaces a missing or empty one
           Case{nullptr, "", 1, "5 10"}, Case{kOneLine, nullptr, 1, "7 10"},
           Case{kCut, nullptr, 1, "5 10"},  // what follows the last line feed is not part of the text
       }) {
    Write("ConnsLimit.xml", xml);
    Write("ConnsLimit.data", data);
    platform_.system->standard = standard;
    int of_config = 0;
    int of_log = 0;
    const bool read = Evidence::CEvidenceModule().GetDbConnMaxMinNumByServerStandards(of_config, of_log);
    EXPECT_EQ(scripted::Words(of_config, of_log), numbers) << (xml ? xml : "") << standard.value_or(-1);
    EXPECT_EQ(read, xml != nullptr);
  }
}

TEST_F(StartTest, FailuresAreReportedAndLeaveNothingOpen) {
  using scripted::Platform;
  /// The code is that with which a manager refuses to read after its start; 0 when it does not.
  using Case = std::tuple<std::function<void(Platform&)>, bool, int, const char*>;
  for (const auto& [script, starts, manager_code, line] : {
           Case{[](Platform& p) { p.language->load = false; }, true, 0, "]LoadMultiLanguage fail["},
           Case{[](Platform& p) { p.comm->refused = {"/API/Evidence/V1/Evidence"}; }, true, 0,
                "]Register api url to platform failed.["},
           Case{[](Platform& p) { p.db->initialize = false; }, false, 0, "]IDBManager Initialize failed.["},
           Case{FailCall("read types"), false, 9820, "]Get all evidence type failed.["},
           Case{FailCall("read customs"), false, 9820, "]Get all evidence custom failed.["},
           Case{FailCall("read options"), false, 9820, "]Get all evidence custom options failed.["},
           Case{[](Platform& p) { p.adapter->elements = nullptr; }, false, 9820,
                "]Evidence maganger failed to initialize.["},
           Case{[](Platform& p) { p.threads->refused = {kUploadLoop}; }, false, 9820,
                "]CreateMultiMessageLoop failed, key : casefile.s.upload_mobile_task.["},
           Case{[](Platform& p) { p.threads->refused = {"Evidence.Msg"}; }, false, 0,
                "]Evidence module failed to CreateMessageLoop.["},
       }) {
    SCOPED_TRACE(line);
    Platform platform;
    platform.db->tables.Add("evidence_custom", {{"id", "2"}, {"types", "0"}});
    script(platform);
    Evidence::CEvidenceModule module;
    EXPECT_EQ(module.Initialize(), starts);
    EXPECT_TRUE(platform.sink->Has(5, line) || platform.sink->Has(6, line));
    EXPECT_EQ(platform.bus->registrations.empty(), !starts);
    platform.calls.clear();
    module.Finalize();
    EXPECT_EQ(platform.calls.back(), "db uninit casefile.s");
    EXPECT_EQ(std::ranges::count(platform.calls, "end loop Evidence.Msg"), 1);

    Evidence::CEvidenceManager manager;
    EXPECT_EQ(Refusal(manager), 9820) << "before the start";
    EXPECT_EQ(manager.Initialize(), manager_code == 0);
    EXPECT_EQ(Refusal(manager), manager_code);
  }
}

}  // namespace
