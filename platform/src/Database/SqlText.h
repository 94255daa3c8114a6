#pragma once

#include <string>
#include <string_view>

namespace platform::database {

/// `text` as it stands between the single quotes of a statement. Every text value goes through here.
[[nodiscard]] std::string Quoted(std::string_view text);

}  // namespace platform::database
