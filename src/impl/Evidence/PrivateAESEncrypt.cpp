// The stored form is built with the low-level AES calls, which the library keeps for such uses.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "impl/Evidence/PrivateAESEncrypt.h"

#include <openssl/aes.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Common/EvidenceLog.h"
#include "TarnPlatform/Common.h"
#include "impl/Evidence/EvidenceRecords.h"

namespace PrivateEncrypt {
namespace {

using Bytes = std::vector<unsigned char>;
using InitialVector = std::array<unsigned char, AES_BLOCK_SIZE>;

constexpr int kDone = 1;
constexpr int kWrongKey = 0;
constexpr int kNothingToDo = -1;

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Each byte is its own index. The cipher modifies the vector, so every call needs a new one.
InitialVector NewInitialVector() {
  InitialVector vector{};
  for (std::size_t n = 0; n < vector.size(); ++n)
    vector[n] = static_cast<unsigned char>(n);
  return vector;
}

/// The cipher's key schedule, wiped on destruction.
class KeySchedule {
 public:
  using SetKey = int(const unsigned char*, int, AES_KEY*);

  KeySchedule(SetKey* set_key, const std::string& key)
      : valid_(key.size() <= 32 && set_key(reinterpret_cast<const unsigned char*>(key.data()),
                                           static_cast<int>(key.size()) * 8, &schedule_) == 0) {}
  ~KeySchedule() { OPENSSL_cleanse(&schedule_, sizeof(schedule_)); }
  KeySchedule(const KeySchedule&) = delete;
  KeySchedule& operator=(const KeySchedule&) = delete;

  bool IsValid() const { return valid_; }
  const AES_KEY* Get() const { return &schedule_; }

 private:
  AES_KEY schedule_{};
  bool valid_;
};

std::string EncodeBase64(const Bytes& bytes) {
  // The library appends a NUL to the text.
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  const int written =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(written));
  return text;
}

/// Skips characters outside the alphabet and stops at "=".
Bytes DecodeBase64(const std::string& text) {
  Bytes bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) continue;
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<unsigned char>(bits >> static_cast<unsigned>(count)));
  }
  return bytes;
}

using Routine = int(std::string&, const std::string&, const std::string&);

/// Runs a routine on the text and the platform's key, which are kept in one record and wiped afterwards.
bool Run(Routine* routine, std::string& out, const std::string& text,
         Evidence::Operation operation = Evidence::Operation::current()) {
  Evidence::_tag_User_ input{text, TarnPlatform::Common::GetAESKey()};
  out.clear();
  const int result = routine(out, input.name, input.password);
  OPENSSL_cleanse(input.name.data(), input.name.size());
  OPENSSL_cleanse(input.password.data(), input.password.size());
  if (result == kDone) return true;
  EVIDENCE_LOG_OF(operation, Evidence::kLogFailure, "[%s]error is %d[%s(%d)]", result);
  return false;
}

}  // namespace

int EncryptWithKey(std::string& out, const std::string& plain, const std::string& key) {
  if (plain.empty() || key.empty()) return kNothingToDo;
  const KeySchedule schedule(&AES_set_encrypt_key, key);
  if (!schedule.IsValid()) return kWrongKey;
  Bytes buffer(plain.begin(), plain.end());
  const std::size_t padding = AES_BLOCK_SIZE - plain.size() % AES_BLOCK_SIZE;
  buffer.resize(plain.size() + padding, static_cast<unsigned char>(padding));
  Bytes cipher(buffer.size());
  auto vector = NewInitialVector();
  AES_cbc_encrypt(buffer.data(), cipher.data(), buffer.size(), schedule.Get(), vector.data(), AES_ENCRYPT);
  OPENSSL_cleanse(buffer.data(), buffer.size());
  out = EncodeBase64(cipher);
  return kDone;
}

int DecryptWithKey(std::string& out, const std::string& stored, const std::string& key) {
  if (stored.empty() || key.empty()) return kNothingToDo;
  const Bytes cipher = DecodeBase64(stored);
  if (cipher.size() % AES_BLOCK_SIZE != 0) return kNothingToDo;
  const KeySchedule schedule(&AES_set_decrypt_key, key);
  if (!schedule.IsValid()) return kWrongKey;
  Bytes buffer(cipher.size());
  auto vector = NewInitialVector();
  if (!cipher.empty()) {
    AES_cbc_encrypt(cipher.data(), buffer.data(), cipher.size(), schedule.Get(), vector.data(), AES_DECRYPT);
  }
  // Lenient: when the last byte cannot be a padding, the whole text is kept.
  const std::size_t padding = buffer.empty() ? 0 : buffer.back();
  const std::size_t length = padding >= buffer.size() ? buffer.size() : buffer.size() - padding;
  out.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(length));
  OPENSSL_cleanse(buffer.data(), buffer.size());
  return kDone;
}

bool PrivateAESEncrypt(std::string& out, const std::string& plain) {
  if (!plain.empty()) return Run(&EncryptWithKey, out, plain);
  out.clear();
  return true;
}

bool PrivateAESDecrypt(std::string& out, const std::string& stored) {
  if (!stored.empty()) return Run(&DecryptWithKey, out, stored);
  out.clear();
  return true;
}

}  // namespace PrivateEncrypt
