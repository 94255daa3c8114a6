#pragma once

#include <string>
#include <string_view>

#include "platform/HttpRoutes.h"

/// The headers of a request that decide what becomes of it.
namespace rest {

/// A strong entity tag, with its quotes.
[[nodiscard]] std::string ETagOf(const std::string& digest);

/// Whether the text of an If-Match header names `tag`, or is "*". A weak tag never matches.
[[nodiscard]] bool IsMatched(std::string_view header, std::string_view tag);

/// Whether that of If-None-Match does, where a weak tag matches like a strong one.
[[nodiscard]] bool IsNoneMatched(std::string_view header, std::string_view tag);

/// Whether the request says that its body is of one of these media types.
[[nodiscard]] bool HasMediaType(const platform::HttpRequest& request, std::initializer_list<std::string_view> types);

}  // namespace rest
