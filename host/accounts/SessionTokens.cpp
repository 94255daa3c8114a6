#include "accounts/SessionTokens.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "Hex.h"
#include "HostLog.h"
#include "accounts/Secrets.h"

namespace host {
namespace {

constexpr std::string_view kLabel = "evidence-host: the tokens of sessions";
constexpr std::size_t kBlockBytes = 64;

const unsigned char* Bytes(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// The library fails for want of memory only.
void Require(int done) {
  if (done != 1) throw std::bad_alloc();
}

std::string DerivedKey(std::string_view site_key) {
  std::string key(EVP_MAX_MD_SIZE, '\0');
  unsigned size = 0;
  const auto* const done = HMAC(EVP_sha256(), site_key.data(), static_cast<int>(site_key.size()), Bytes(kLabel),
                                kLabel.size(), reinterpret_cast<unsigned char*>(key.data()), &size);
  Require(done != nullptr ? 1 : 0);
  key.resize(size);
  return key;
}

}  // namespace

SessionTokens::SessionTokens(std::string_view site_key) {
  auto key = DerivedKey(site_key);
  const WipeAtEnd wipe_key(key);
  inner_ = Begun(key, 0x36);
  outer_ = Begun(key, 0x5c);
}

SessionTokens::State SessionTokens::NewState() {
  State state(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!state) throw std::bad_alloc();
  return state;
}

SessionTokens::State SessionTokens::Begun(const std::string& key, unsigned char padding) {
  std::string block(kBlockBytes, static_cast<char>(padding));
  const WipeAtEnd wipe_block(block);
  std::ranges::transform(key, block.begin(), [padding](char c) { return static_cast<char>(c ^ padding); });
  auto state = NewState();
  Require(EVP_DigestInit_ex(state.get(), EVP_sha256(), nullptr));
  Require(EVP_DigestUpdate(state.get(), block.data(), block.size()));
  return state;
}

SessionTokens::Digest SessionTokens::Finish(const State& begun, const unsigned char* bytes, std::size_t size) {
  // Kept, as making one takes longer than its use.
  thread_local const State copy = NewState();
  Digest digest;
  Require(EVP_MD_CTX_copy_ex(copy.get(), begun.get()));
  Require(EVP_DigestUpdate(copy.get(), bytes, size));
  Require(EVP_DigestFinal_ex(copy.get(), digest.data(), nullptr));
  return digest;
}

SessionTokens::Digest SessionTokens::MacOf(const unsigned char* random) const {
  const auto inside = Finish(inner_, random, kRandomBytes);
  return Finish(outer_, inside.data(), inside.size());
}

SessionTokens::Made SessionTokens::Make() const {
  std::array<unsigned char, kTokenBytes> bytes;
  if (RAND_bytes(bytes.data(), kRandomBytes) != 1) {
    // Continuing would hand out tokens that can be guessed.
    LogHost(kLogFatal, "the system gives no random bytes");
    std::abort();
  }
  const auto mac = MacOf(bytes.data());
  std::copy_n(mac.begin(), kMacBytes, bytes.begin() + kRandomBytes);
  Made made{ToHex(bytes.data(), bytes.size()), {}};
  std::copy_n(mac.begin() + kMacBytes, kHandleBytes, made.handle.begin());
  OPENSSL_cleanse(bytes.data(), bytes.size());
  return made;
}

std::optional<SessionTokens::Handle> SessionTokens::Check(std::string_view token) const {
  std::array<unsigned char, kTokenBytes> bytes;
  if (!FromHex(token, bytes.data(), bytes.size())) return std::nullopt;
  const auto mac = MacOf(bytes.data());
  if (CRYPTO_memcmp(mac.data(), bytes.data() + kRandomBytes, kMacBytes) != 0) return std::nullopt;
  Handle handle;
  std::copy_n(mac.begin() + kMacBytes, kHandleBytes, handle.begin());
  return handle;
}

}  // namespace host
