#include "Common/KeyedHash.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <array>
#include <cstring>
#include <functional>

namespace Evidence {
namespace {

using Context = std::unique_ptr<EVP_MAC_CTX, decltype(&EVP_MAC_CTX_free)>;

/// A context with the process's key, to be duplicated; null when the library provides none.
Context MakeKeyedContext() {
  const std::unique_ptr<EVP_MAC, decltype(&EVP_MAC_free)> siphash(EVP_MAC_fetch(nullptr, "SIPHASH", nullptr),
                                                                  &EVP_MAC_free);
  Context context(siphash ? EVP_MAC_CTX_new(siphash.get()) : nullptr, &EVP_MAC_CTX_free);
  std::array<unsigned char, 16> key{};
  std::size_t size = sizeof(std::size_t);
  const std::array params{OSSL_PARAM_construct_size_t(OSSL_MAC_PARAM_SIZE, &size), OSSL_PARAM_construct_end()};
  if (!context || RAND_bytes(key.data(), static_cast<int>(key.size())) != 1 ||
      EVP_MAC_init(context.get(), key.data(), key.size(), params.data()) != 1) {
    context.reset();
  }
  return context;
}

}  // namespace

KeyedHash::KeyedHash() {
  static const Context keyed = MakeKeyedContext();
  if (keyed) context_.reset(EVP_MAC_CTX_dup(keyed.get()), &EVP_MAC_CTX_free);
}

std::size_t KeyedHash::operator()(std::string_view text) const {
  std::size_t hash = 0;
  std::array<unsigned char, sizeof(hash)> digest{};
  std::size_t written = 0;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  // Init without a key resets the context and keeps its key.
  if (!context_ || EVP_MAC_init(context_.get(), nullptr, 0, nullptr) != 1 ||
      EVP_MAC_update(context_.get(), bytes, text.size()) != 1 ||
      EVP_MAC_final(context_.get(), digest.data(), &written, digest.size()) != 1) {
    return std::hash<std::string_view>()(text);
  }
  std::memcpy(&hash, digest.data(), sizeof(hash));
  return hash;
}

}  // namespace Evidence
