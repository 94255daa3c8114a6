#include "http/PluginHeaders.h"

#include <algorithm>

#include "http/ResponseStatus.h"
#include "platform/ErrorWords.h"

namespace host {
namespace {

constexpr std::string_view kDictionaries[] = {
    "/TRELL/Halyard/BaseVideo/V0/Evidence/Type",
    "/TRELL/Halyard/Evidence/V1/Evidence/Type",
    "/TRELL/Halyard/Evidence/V1/Evidence/Custom",
};

}  // namespace

bool IsDictionary(std::string_view path) { return std::ranges::find(kDictionaries, path) != std::end(kDictionaries); }

platform::HttpFields PluginHeaders(std::string_view body, std::optional<std::uint64_t> version) {
  platform::HttpFields headers;
  const auto pair = PairOf(body);
  if (pair && (pair->module != 0 || pair->code != 0)) {
    auto error = (pair->module == 0 ? "" : std::to_string(pair->module) + "/") + std::to_string(pair->code);
    if (const auto* const words = platform::FindErrorWords(pair->module, pair->code)) {
      error.append("; \"").append(words->words).append("\"");
    }
    headers.emplace_back("Evidence-Error", std::move(error));
  }
  if (version) headers.emplace_back("Evidence-Version", std::to_string(*version));
  return headers;
}

}  // namespace host
