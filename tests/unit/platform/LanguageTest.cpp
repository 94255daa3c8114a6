#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "RealBackends.h"

namespace {

TEST(LanguageTest, AFaultyFileReplacesNoneOfTheTextsThatStand) {
  std::string directory = testing::TempDir() + "platform-locales-XXXXXX";
  ASSERT_NE(mkdtemp(directory.data()), nullptr);
  const auto manager = platform::MakeMultiLanguageMgr();
  const auto load = [&](const std::string& name, const std::string& content) {
    std::ofstream(directory + "/" + name) << content;
    return manager->Load("casefile", directory);
  };
  const auto text = [&](const std::string& key, const std::string& language, const std::string& section) {
    return manager->GetString("casefile", key, language, section);
  };
  EXPECT_FALSE(load("notes.txt", "not a language"));
  ASSERT_TRUE(load("en.json", R"({"Type":{"one":"First"},"Scene":{"one":"Other \u00e9"}})"));
  for (const char* const faulty : {"", "[]", "{", R"({"Type":"text"})", R"({"Type":{"one":1}})"}) {
    EXPECT_FALSE(load("fr.json", faulty)) << faulty;
    EXPECT_EQ(text("one", "en", "Type"), "First");
  }
  ASSERT_TRUE(load("fr.json", R"({"Type":{"one":"Premier"}})"));
  manager->SetLanguage("casefile", "fr");
  EXPECT_EQ(text("one", "", "Type"), "Premier");
  EXPECT_EQ(text("one", "en", "Scene"), "Other \xC3\xA9");
  EXPECT_EQ(text("two", "en", "Type") + text("one", "de", "Type") + text("one", "fr", "Scene"), "");
  std::filesystem::remove_all(directory);
}

}  // namespace
