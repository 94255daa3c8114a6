#include "accounts/SealedText.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "accounts/Secrets.h"

namespace host {
namespace {

constexpr std::string_view kMagic = "Salted__";
constexpr std::size_t kSaltBytes = 8;
constexpr std::size_t kHeaderBytes = kMagic.size() + kSaltBytes;
constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kBlockBytes = 16;
constexpr int kRounds = 10'000;
/// Padding adds a whole block to text that ends at a block's end.
constexpr std::size_t kMaxBytes = kHeaderBytes + kMaxSealedPlain + kBlockBytes;
constexpr std::size_t kMaxBase64 = (kMaxBytes + 2) / 3 * 4;

const unsigned char* Bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

bool IsBase64Digit(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// The bytes that `text` encodes; "" when it is not base64. Strict, whereas OpenSSL's own functions accept blanks, a
/// minus as the end, and padding in the middle.
std::string FromBase64(std::string text) {
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  if (text.empty() || text.size() % 4 != 0 || text.size() > kMaxBase64) return {};
  const auto digits = static_cast<std::size_t>(std::ranges::find_if_not(text, IsBase64Digit) - text.begin());
  const auto padding = text.size() - digits;
  if (padding > 2 || text.find_first_not_of('=', digits) != std::string::npos) return {};
  std::string bytes(text.size() / 4 * 3, '\0');
  if (EVP_DecodeBlock(Bytes(bytes), Bytes(text), static_cast<int>(text.size())) < 0) return {};
  bytes.resize(bytes.size() - padding);
  return bytes;
}

/// `bytes`, at most kMaxBytes, as base64 in one line.
std::string ToBase64(const std::string& bytes) {
  // The function terminates its text with a NUL.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  text.resize(static_cast<std::size_t>(EVP_EncodeBlock(Bytes(text), Bytes(bytes), static_cast<int>(bytes.size()))));
  return text;
}

/// Derives the cipher's key, followed by its initialization vector, from `password` and the kSaltBytes at `salt`.
bool DeriveKeyAndIv(std::string& key_and_iv, const std::string& password, const unsigned char* salt) {
  key_and_iv.resize(kKeyBytes + kBlockBytes);
  return PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt, kSaltBytes, kRounds, EVP_sha256(),
                           static_cast<int>(key_and_iv.size()), Bytes(key_and_iv)) == 1;
}

using Cipher = std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)>;

Cipher NewCipher() { return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free}; }

/// Encrypts `plain` and appends it to `out`.
bool Encrypt(std::string& out, const std::string& plain, const std::string& key_and_iv) {
  const auto context = NewCipher();
  const auto start = out.size();
  out.resize(start + plain.size() + kBlockBytes);
  int sealed = 0;
  int last = 0;
  if (!context ||
      EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, Bytes(key_and_iv), Bytes(key_and_iv) + kKeyBytes) !=
          1 ||
      EVP_EncryptUpdate(context.get(), Bytes(out) + start, &sealed, Bytes(plain), static_cast<int>(plain.size())) !=
          1 ||
      EVP_EncryptFinal_ex(context.get(), Bytes(out) + start + sealed, &last) != 1) {
    return false;
  }
  out.resize(start + static_cast<std::size_t>(sealed) + static_cast<std::size_t>(last));
  return true;
}

/// Requires room in `plain` for one block more than the `size` bytes of `cipher`; shrinks it to the decrypted text.
bool Decrypt(std::string& plain, const unsigned char* cipher, std::size_t size, const std::string& key_and_iv) {
  const auto context = NewCipher();
  int opened = 0;
  int last = 0;
  if (!context ||
      EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, Bytes(key_and_iv), Bytes(key_and_iv) + kKeyBytes) !=
          1 ||
      EVP_DecryptUpdate(context.get(), Bytes(plain), &opened, cipher, static_cast<int>(size)) != 1 ||
      EVP_DecryptFinal_ex(context.get(), Bytes(plain) + opened, &last) != 1) {
    return false;
  }
  plain.resize(static_cast<std::size_t>(opened) + static_cast<std::size_t>(last));
  return plain.size() <= kMaxSealedPlain;
}

}  // namespace

bool SealText(std::string& sealed, const std::string& plain, const std::string& key) {
  sealed.clear();
  if (plain.size() > kMaxSealedPlain) return false;
  std::string bytes(kMagic);
  bytes.resize(kHeaderBytes);
  std::string key_and_iv;
  const WipeAtEnd wipe_key(key_and_iv);
  if (RAND_bytes(Bytes(bytes) + kMagic.size(), kSaltBytes) != 1 ||
      !DeriveKeyAndIv(key_and_iv, key, Bytes(bytes) + kMagic.size()) || !Encrypt(bytes, plain, key_and_iv)) {
    ERR_clear_error();
    return false;
  }
  sealed = ToBase64(bytes);
  return true;
}

bool OpenSealedText(std::string& plain, const std::string& sealed, const std::string& key) {
  plain.clear();
  // As many line breaks as digits is more than any tool produces.
  if (sealed.size() > 2 * kMaxBase64) return false;
  const auto bytes = FromBase64(sealed);
  if (!bytes.starts_with(kMagic) || bytes.size() <= kHeaderBytes) return false;
  const auto size = bytes.size() - kHeaderBytes;
  if (size % kBlockBytes != 0) return false;
  std::string key_and_iv;
  const WipeAtEnd wipe_key(key_and_iv);
  plain.resize(size + kBlockBytes);
  const bool opened = DeriveKeyAndIv(key_and_iv, key, Bytes(bytes) + kMagic.size()) &&
                      Decrypt(plain, Bytes(bytes) + kHeaderBytes, size, key_and_iv);
  if (!opened) {
    Wipe(plain);
    // A failed final block leaves an entry in the thread's error queue, which other code would take for its own.
    ERR_clear_error();
  }
  return opened;
}

}  // namespace host
