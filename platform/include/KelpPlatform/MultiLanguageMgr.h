#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"

namespace kelp {

/// Texts by module, language, section and key, read from `<directory>/<language>.json`: an object of sections, each an
/// object that maps keys to texts.
class IMultiLanguageMgr {
 public:
  virtual ~IMultiLanguageMgr() = default;

  /// The process's table; never null. Until one is installed, a placeholder refuses every call.
  PLATFORM_API static std::shared_ptr<IMultiLanguageMgr> Instance();

  /// Loads every language file in `directory` for `module`, replacing the module's texts. False, with nothing replaced,
  /// when there is none or one cannot be read.
  [[nodiscard]] virtual bool Load(const std::string& module, const std::string& directory) = 0;

  /// The language that `GetString` uses when it is called with an empty language.
  virtual void SetLanguage(const std::string& module, const std::string& language) = 0;

  /// The text; "" when there is none.
  [[nodiscard]] virtual std::string GetString(const std::string& module, const std::string& key,
                                              const std::string& language, const std::string& section) = 0;
};

}  // namespace kelp
