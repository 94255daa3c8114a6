#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "RealBackends.h"

namespace {

namespace fs = std::filesystem;

class LanguageTest : public testing::Test {
 protected:
  LanguageTest() {
    std::string name = (fs::temp_directory_path() / "platform-locales-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_ = name;
  }
  ~LanguageTest() override { fs::remove_all(directory_); }

  void Write(const char* name, const std::string& content) const { std::ofstream(directory_ / name) << content; }
  bool Load() const { return manager_->Load("casefile", directory_.string()); }
  std::string Text(const std::string& key, const std::string& language, const std::string& section) const {
    return manager_->GetString("casefile", key, language, section);
  }

  fs::path directory_;
  const std::shared_ptr<kelp::IMultiLanguageMgr> manager_ = platform::MakeMultiLanguageMgr();
};

TEST_F(LanguageTest, TextsAreFoundByLanguageSectionAndKey) {
  Write("en.json", R"({"Type":{"one":"First","empty":""},"Scene":{"one":"Other \u00e9"}})");
  Write("fr.json", R"({"Type":{"one":"Premier"}})");
  Write("notes.txt", "not a language");
  manager_->SetLanguage("casefile", "fr");
  ASSERT_TRUE(Load());
  EXPECT_EQ(Text("one", "en", "Type"), "First");
  EXPECT_EQ(Text("one", "en", "Scene"), "Other \xC3\xA9");
  EXPECT_EQ(Text("one", "", "Type"), "Premier");
  manager_->SetLanguage("casefile", "en");
  EXPECT_EQ(Text("one", "", "Type"), "First");
  EXPECT_EQ(Text("empty", "en", "Type"), "");
  EXPECT_EQ(Text("two", "en", "Type"), "");
  EXPECT_EQ(Text("one", "de", "Type"), "");
  EXPECT_EQ(manager_->GetString("other", "one", "en", "Type"), "");
}

TEST_F(LanguageTest, AFaultyFileReplacesNothing) {
  EXPECT_FALSE(Load());
  EXPECT_FALSE(manager_->Load("casefile", (directory_ / "missing").string()));
  Write("en.json", R"({"Type":{"one":"First"}})");
  ASSERT_TRUE(Load());
  Write("en.json", R"({"Type":{"one":"Changed"}})");
  for (const char* const faulty :
       {"", "[]", "{", R"({"Type":"text"})", R"({"Type":{"one":1}})", R"({"Type":{"one":{"two":"x"}}})"}) {
    Write("zz.json", faulty);
    EXPECT_FALSE(Load()) << faulty;
    EXPECT_EQ(Text("one", "en", "Type"), "First");
  }
  Write("zz.json", "{}");
  EXPECT_TRUE(Load());
  EXPECT_EQ(Text("one", "en", "Type"), "Changed");
}

}  // namespace
