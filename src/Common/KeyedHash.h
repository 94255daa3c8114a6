#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

struct evp_mac_ctx_st;

namespace Evidence {

/// Hash of texts that clients choose: SipHash under a key that the process draws once, so that nobody can
/// prepare texts that all fall together. For one thread at a time; copies share their working state.
class KeyedHash {
 public:
  KeyedHash();
  [[nodiscard]] std::size_t operator()(std::string_view text) const;

 private:
  /// Null when the library gives none; then a plain hash serves.
  std::shared_ptr<evp_mac_ctx_st> context_;
};

}  // namespace Evidence
