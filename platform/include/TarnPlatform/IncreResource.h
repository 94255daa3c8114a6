#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "OrvBase/Export.h"

namespace TarnPlatform::IncreResource {

/// One change of a resource.
class CIncreResourceStructInterface {
 public:
  CIncreResourceStructInterface(int method, std::uint64_t id) : method_(method), id_(id) {}

  /// 0 add, 1 modify, 2 delete; other values are possible.
  int GetValEnumMethodType() const { return method_; }
  std::uint64_t GetValIdResource() const { return id_; }

 private:
  int method_;
  std::uint64_t id_;
};

/// The changes of `source_type` after `version`, oldest first; each pair of method and id once, at its latest version.
/// False with the last error (0, 15) when the list cannot be read, (0, 1) when no backend is installed.
[[nodiscard]] PLATFORM_API bool GetIncreResourceBySourceType(
    std::vector<std::shared_ptr<CIncreResourceStructInterface>>& out, std::uint32_t version, int source_type);

}  // namespace TarnPlatform::IncreResource
