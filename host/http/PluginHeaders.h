#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/HttpRoutes.h"

namespace host {

/// Whether a read of `path` gives a dictionary that clients follow by its changes.
[[nodiscard]] bool IsDictionary(std::string_view path);

/// What headers tell of a plugin's answer beside its body: `Evidence-Error` the error pair in words
/// (`9804; "no such evidence"`, with its module when that is not 0: `31/3; …`), `Evidence-Version`
/// the version after which a client that has this answer asks for changes.
[[nodiscard]] platform::HttpFields PluginHeaders(std::string_view body, std::optional<std::uint64_t> version);

}  // namespace host
