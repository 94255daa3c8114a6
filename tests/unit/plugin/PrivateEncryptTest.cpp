// Stored secrets: known values, and texts that nobody enciphered.

#include <gtest/gtest.h>

#include <random>

#include "impl/Evidence/PrivateAESEncrypt.h"

namespace {

using PrivateEncrypt::DecryptWithKey;
using PrivateEncrypt::EncryptWithKey;

const std::string kKey128 = "0123456789abcdef";

TEST(PrivateEncryptTest, KnownValues) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {kKey128, "secret", "wmtGLicqYW09kymlbAkA/w=="},
      {kKey128, "abcdefghijklmnop", "7k69AKbOt74KhsmFrfJuzinq/xF7/AT1wzMMmz3VB3Q="},
      {"0123456789abcdef01234567", "secret", "RCt5YTgfSTzLL2pdkx6WCQ=="},
      {"0123456789abcdef0123456789ABCDEF", "secret", "nRAOxe2O/LbKJBIP9mx9xA=="}};
  for (const auto& [key, plain, stored] : cases) {
    std::string out;
    EXPECT_EQ(EncryptWithKey(out, plain, key), 1);
    EXPECT_EQ(out, stored);
    // Line breaks and blanks inside are passed over.
    for (const auto& text : {stored, "\n " + stored.substr(0, 5) + "\r\n*" + stored.substr(5)}) {
      EXPECT_EQ(DecryptWithKey(out, text, key), 1);
      EXPECT_EQ(out, plain);
    }
  }
}

// Random texts, and whole blocks under a wrong key, which end in any byte.
TEST(PrivateEncryptTest, AnyStoredTextIsReadInBounds) {
  std::string out;
  EXPECT_EQ(EncryptWithKey(out, "", kKey128), -1);
  EXPECT_EQ(EncryptWithKey(out, "secret", ""), -1);
  EXPECT_EQ(EncryptWithKey(out, "secret", std::string(64, 'k')), 0);
  EXPECT_EQ(DecryptWithKey(out, "wmtGLicqYW09kymlbAkA", kKey128), -1) << "15 bytes are no block";
  EXPECT_EQ(DecryptWithKey(out, "wmtGLicqYW09kymlbAkA/w==", "short"), 0);
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string stored(random() % 90, '\0');
    for (char& c : stored)
      c = static_cast<char>(random());
    EXPECT_LE(DecryptWithKey(out, stored, kKey128), 1);
    EXPECT_EQ(EncryptWithKey(stored, std::string(1 + random() % 40, 'x'), kKey128), 1);
    EXPECT_EQ(DecryptWithKey(out, stored, "fedcba9876543210"), 1);
    EXPECT_LE(out.size(), 48U);
  }
}

}  // namespace
