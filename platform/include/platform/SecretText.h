#pragma once

#include <string>
#include <string_view>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace platform {

/// While one lasts, the log lines that this thread writes have "…" in place of `text`, whatever their level: for what
/// is part of a statement and must not be read in a log, such as the hash of a password.
class PLATFORM_API SecretText : public Orv::Base::CNoncopyable {
 public:
  /// The text itself outlives this object. An empty one is none.
  explicit SecretText(std::string_view text);
  ~SecretText();

  /// `line` without the secret texts of this thread.
  [[nodiscard]] static std::string LeftOut(std::string line);

 private:
  const std::string_view text_;
  const SecretText* const outer_;
};

}  // namespace platform
