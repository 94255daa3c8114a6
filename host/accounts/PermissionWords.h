#pragma once

#include <string_view>

#include "accounts/Sessions.h"

namespace host {

struct PermissionWords {
  ClientKind kind;
  int code;
  std::string_view words;
};

/// What the plugins ask for, sorted like UserRecord::permissions.
inline constexpr PermissionWords kPermissionWords[] = {
    {ClientKind::kWeb, 1423, "add evidence types"},        {ClientKind::kWeb, 1424, "change evidence types"},
    {ClientKind::kWeb, 1425, "delete evidence types"},     {ClientKind::kWeb, 1427, "add custom attributes"},
    {ClientKind::kWeb, 1428, "change custom attributes"},  {ClientKind::kWeb, 1429, "delete custom attributes"},
    {ClientKind::kCs, 41, "change evidences, link files"}, {ClientKind::kCs, 44, "create evidences"},
    {ClientKind::kControl, 43, "confirm deletions"},
};

/// "" for a permission that no plugin of this system asks for.
constexpr std::string_view WordsFor(ClientKind kind, int code) {
  for (const auto& known : kPermissionWords) {
    if (known.kind == kind && known.code == code) return known.words;
  }
  return "";
}

constexpr std::string_view NameOf(ClientKind kind) {
  switch (kind) {
    case ClientKind::kWeb:
      return "web";
    case ClientKind::kCs:
      return "cs";
    case ClientKind::kControl:
      return "control";
  }
  return "";
}

}  // namespace host
