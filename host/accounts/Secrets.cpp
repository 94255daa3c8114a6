#include "accounts/Secrets.h"

#include <crypt.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "Hex.h"
#include "HostLog.h"
#include "OrvBase/StringUtil.h"

namespace host {
namespace {

static_assert(kMaxPasswordBytes < CRYPT_MAX_PASSPHRASE_SIZE);

/// "" when `setting` is not a hash or salt known to crypt(3).
std::string Crypt(const std::string& password, const char* setting) {
  // Too large for a worker's stack; retains traces of the password.
  const auto data = std::make_unique<crypt_data>();
  const char* const hash = crypt_r(password.c_str(), setting, data.get());
  std::string result = hash == nullptr || hash[0] == '*' ? "" : hash;
  OPENSSL_cleanse(data.get(), sizeof(crypt_data));
  return result;
}

std::string NewSalt() {
  constexpr char kYescrypt[] = "$y$";
  const std::unique_ptr<char, void (*)(void*)> salt(crypt_gensalt_ra(kYescrypt, 0, nullptr, 0), &std::free);
  return salt ? salt.get() : "";
}

}  // namespace

std::string RandomHex(std::size_t bytes) {
  std::vector<unsigned char> random(bytes);
  if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
    // Continuing would hand out secrets that can be guessed.
    LogHost(kLogFatal, "the system gives no random bytes");
    std::abort();
  }
  return ToHex(random.data(), random.size());
}

bool IsPassword(const std::string& password) {
  return !password.empty() && password.size() <= kMaxPasswordBytes &&
         !Orv::Base::StringUtil::ContainsIllegalCharacters(password);
}

std::optional<std::string> HashPassword(const std::string& password) {
  if (!IsPassword(password)) return std::nullopt;
  auto hash = Crypt(password, NewSalt().c_str());
  if (hash.empty()) return std::nullopt;
  return hash;
}

bool PasswordMatches(const std::string& password, const std::string& hash) {
  if (!IsPassword(password)) return false;
  const std::string expected = hash.empty() ? NewSalt() : hash;
  const std::string found = Crypt(password, expected.c_str());
  return !hash.empty() && found.size() == expected.size() && !found.empty() &&
         CRYPTO_memcmp(found.data(), expected.data(), found.size()) == 0;
}

void Wipe(std::string& text) {
  text.resize(text.capacity());
  OPENSSL_cleanse(text.data(), text.size());
  text.clear();
}

}  // namespace host
