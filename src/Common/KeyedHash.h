#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

struct evp_mac_ctx_st;

namespace Evidence {

/// Hash for texts chosen by clients: SipHash under a random key per process, so that no client can prepare texts that
/// collide. For one thread at a time; copies share their context.
class KeyedHash {
 public:
  KeyedHash();
  [[nodiscard]] std::size_t operator()(std::string_view text) const;

 private:
  /// Null when the library provides none; then std::hash is used.
  std::shared_ptr<evp_mac_ctx_st> context_;
};

}  // namespace Evidence
