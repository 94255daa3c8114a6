#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Texts by module, language, section and key, read from `<directory>/<language>.json`: an object of
/// sections, each an object of key and text.
class IMultiLanguageMgr {
 public:
  virtual ~IMultiLanguageMgr() = default;

  /// The process's table; never null. One that refuses everything stands in until one is installed.
  PLATFORM_API static std::shared_ptr<IMultiLanguageMgr> Instance();

  /// Reads every language file of `directory` for `module`, replacing what stood. False, with nothing
  /// replaced, when the directory holds none or one cannot be read.
  [[nodiscard]] virtual bool Load(const std::string& module, const std::string& directory) = 0;

  /// The language that `GetString` uses when it is called with an empty language.
  virtual void SetLanguage(const std::string& module, const std::string& language) = 0;

  /// The text; "" when there is none.
  [[nodiscard]] virtual std::string GetString(const std::string& module, const std::string& key,
                                              const std::string& language, const std::string& section) = 0;
};

}  // namespace kelp
