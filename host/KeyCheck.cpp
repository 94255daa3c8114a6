#include "KeyCheck.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <string_view>

#include "Database.h"
#include "Hex.h"
#include "platform/SqlText.h"

namespace host {
namespace {

constexpr std::string_view kKnownText = "evidence-host: the key of this database";

/// HMAC-SHA256 of kKnownText under `key` in hex; "" when the library fails.
std::string ValueOf(const std::string& key) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  const auto* const text = reinterpret_cast<const unsigned char*>(kKnownText.data());
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), text, kKnownText.size(), digest.data(), &size) ==
      nullptr) {
    return {};
  }
  return ToHex(digest.data(), size);
}

constexpr char kSqlValue[] = "SELECT value FROM platform.key_check";
constexpr char kSqlRecord[] = "INSERT INTO platform.key_check (value) VALUES (";
constexpr char kSqlUnlessThere[] = ") ON CONFLICT DO NOTHING";

bool ReadValue(std::string& value) {
  return Query(kSqlValue, [&value](kelp::IDBResultSet* rows) { value = rows->GetString("value"); });
}

}  // namespace

std::string CheckKey(const std::string& key, const std::string& file) {
  const auto value = ValueOf(key);
  if (value.empty()) return file + ": the key cannot be used";
  std::string recorded;
  bool answered = ReadValue(recorded);
  if (answered && recorded.empty()) {
    // Another host may be first: what counts is what stands there afterwards.
    answered = Execute(kSqlRecord + platform::SqlText::Literal(value) + kSqlUnlessThere) && ReadValue(recorded);
  }
  if (!answered) return std::string("the key of the database cannot be checked: ") + kNoAnswer;
  if (recorded.size() == value.size() && CRYPTO_memcmp(recorded.data(), value.data(), value.size()) == 0) return {};
  return file +
         ": not the key of this database, whose stored passwords it cannot decrypt; bring back the aes.key that "
         "belongs to the database";
}

}  // namespace host
