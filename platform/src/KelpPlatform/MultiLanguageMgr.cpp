#include "KelpPlatform/MultiLanguageMgr.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <utility>

#include "JsonText.h"
#include "RealBackends.h"

namespace platform {
namespace {

/// Texts of one language by section and key.
using Texts = std::map<std::pair<std::string, std::string>, std::string>;
using Languages = std::map<std::string, Texts>;

/// Deepest nesting of a language file: sections in one object.
constexpr int kFileDepth = 2;

std::string TextOf(const kelp::JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

std::optional<std::string> ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return content;
}

/// None when the text is not an object of objects of texts.
std::optional<Texts> ParseTexts(const std::string& json) {
  kelp::JsonDocument document;
  if (!kelp::ParseJsonText(json, {kFileDepth}, document) || !document.IsObject()) return std::nullopt;
  Texts texts;
  // Comparing iterators of a non-const document is ambiguous.
  for (const auto& section : std::as_const(document).GetObject()) {
    if (!section.value.IsObject()) return std::nullopt;
    for (const auto& entry : section.value.GetObject()) {
      if (!entry.value.IsString()) return std::nullopt;
      texts.emplace(std::pair(TextOf(section.name), TextOf(entry.name)), TextOf(entry.value));
    }
  }
  return texts;
}

std::optional<Languages> ReadLanguages(const std::string& directory) {
  Languages languages;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() != ".json") continue;
    const auto content = ReadFile(entry.path());
    auto texts = content ? ParseTexts(*content) : std::nullopt;
    if (!texts) return std::nullopt;
    languages.emplace(entry.path().stem().string(), std::move(*texts));
  }
  if (languages.empty()) return std::nullopt;
  return languages;
}

class MultiLanguageMgr final : public kelp::IMultiLanguageMgr {
 public:
  bool Load(const std::string& module, const std::string& directory) override {
    try {
      auto languages = ReadLanguages(directory);
      if (!languages) return false;
      const std::unique_lock lock(mutex_);
      modules_[module].languages = std::move(*languages);
      return true;
    } catch (const std::exception&) {
      // The directory cannot be listed.
      return false;
    }
  }

  void SetLanguage(const std::string& module, const std::string& language) override {
    const std::unique_lock lock(mutex_);
    modules_[module].current = language;
  }

  std::string GetString(const std::string& module, const std::string& key, const std::string& language,
                        const std::string& section) override {
    const std::shared_lock lock(mutex_);
    const auto found = modules_.find(module);
    if (found == modules_.end()) return {};
    const auto texts = found->second.languages.find(language.empty() ? found->second.current : language);
    if (texts == found->second.languages.end()) return {};
    const auto text = texts->second.find({section, key});
    return text == texts->second.end() ? std::string() : text->second;
  }

 private:
  struct Module {
    Languages languages;
    std::string current;
  };

  std::shared_mutex mutex_;
  std::map<std::string, Module> modules_;
};

}  // namespace

std::shared_ptr<kelp::IMultiLanguageMgr> MakeMultiLanguageMgr() { return std::make_shared<MultiLanguageMgr>(); }

}  // namespace platform
