// Texts that the openssl command made, and texts that it did not.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SealedText.h"
#include "http/OpensslCommand.h"

namespace evidence_test {
namespace {

constexpr char kKey[] = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";

struct Opened {
  bool ok;
  std::string plain;
  bool operator==(const Opened&) const = default;
};

Opened Open(const std::string& sealed, const std::string& key = kKey) {
  std::string plain = "left from before";
  const bool ok = host::OpenSealedText(plain, sealed, key);
  return {ok, plain};
}

const Opened kRefused{false, ""};

/// Around the size of a block, beyond ASCII, with a NUL, the longest.
const std::vector<std::string> kPlains = {"",
                                          "a",
                                          "fifteen letters",
                                          "sixteen letters.",
                                          "correct horse",
                                          "пароль'$\"\\",
                                          std::string("a\0b", 3),
                                          std::string(host::kMaxSealedPlain, 'x')};

TEST(SealedTextTest, TheCommandOpensWhatIsSealed) {
  for (const auto& plain : kPlains) {
    std::string sealed = "left from before";
    ASSERT_TRUE(host::SealText(sealed, plain, kKey));
    EXPECT_EQ(sealed.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(OpenedByOpenssl(sealed, kKey), plain) << plain.size();
    EXPECT_EQ(Open(sealed), (Opened{true, plain})) << plain.size();
    std::string again;
    EXPECT_TRUE(host::SealText(again, plain, kKey));
    EXPECT_NE(again, sealed) << "no salt of its own";
  }
  std::string sealed = "left from before";
  EXPECT_FALSE(host::SealText(sealed, std::string(host::kMaxSealedPlain + 1, 'x'), kKey));
  EXPECT_EQ(sealed, "");
}

TEST(SealedTextTest, OpensWhatTheCommandMakes) {
  for (const auto& plain : kPlains) {
    EXPECT_EQ(Open(SealedByOpenssl(plain, kKey)), (Opened{true, plain})) << plain.size();
    const auto in_lines = SealedByOpenssl(plain, kKey, "");
    EXPECT_EQ(Open(in_lines), (Opened{true, plain})) << plain.size() << ", in lines of 64";
  }
  EXPECT_EQ(Open(SealedByOpenssl(std::string(host::kMaxSealedPlain + 1, 'x'), kKey)), kRefused);
}

TEST(SealedTextTest, RefusesOtherKeysAndOtherFormsOfTheCommand) {
  // The padding of a wrong key fits by chance now and then; the text behind it never does.
  EXPECT_NE(Open(SealedByOpenssl("secret", kKey), std::string(64, '0')).plain, "secret");
  EXPECT_NE(Open(SealedByOpenssl("secret", kKey), "").plain, "secret");
  EXPECT_NE(Open(SealedByOpenssl("secret", kKey, "-A -iter 9999")).plain, "secret");
  EXPECT_NE(Open(SealedByOpenssl("secret", kKey, "-A -md sha512")).plain, "secret");
  EXPECT_EQ(Open(SealedByOpenssl("secret", kKey, "-A -S 0011223344556677")), kRefused) << "no salt in the text";
}

TEST(SealedTextTest, RefusesEveryCutAndBadDigit) {
  const auto sealed = SealedByOpenssl("correct horse battery staple", kKey);
  for (std::size_t length = 0; length < sealed.size(); ++length) {
    // Whole blocks may open by chance to bytes without meaning.
    EXPECT_NE(Open(sealed.substr(0, length)).plain, "correct horse battery staple") << length;
    if (length % 4 != 0) {
      EXPECT_EQ(Open(sealed.substr(0, length)), kRefused) << length;
    }
  }
  for (const char bad : {'-', ' ', '\t', '\0', '=', '\x80', '_'}) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{5}, sealed.size() / 2}) {
      auto text = sealed;
      text[at] = bad;
      EXPECT_EQ(Open(text), kRefused) << at << ": " << static_cast<int>(bad);
    }
  }
}

TEST(SealedTextTest, RefusesHostileTexts) {
  const std::vector<std::string> texts = {"",
                                          "=",
                                          "==",
                                          "====",
                                          "A===",
                                          "AA=A",
                                          "AAAA",
                                          "\n",
                                          "\r\n\r\n",
                                          "secret",
                                          std::string(4, '\0'),
                                          "U2FsdGVkX18=",                              // "Salted__"
                                          "U2FsdGVkX18AAAAAAAAAAA==",                  // and a salt
                                          "U2FsdGVkX18AAAAAAAAAAAA=",                  // and a byte more
                                          "U2FsdGVkX18AAAAAAAAAAAAAAAAAAAAAAAAAAAAA",  // no whole block
                                          std::string(1 << 20, 'A'),
                                          std::string(1 << 20, '='),
                                          std::string(1 << 20, '\n'),
                                          "U2FsdGVkX18" + std::string((1 << 20) + 1, 'A')};
  for (const auto& text : texts)
    EXPECT_EQ(Open(text), kRefused) << text.substr(0, 60) << ", " << text.size();
}

}  // namespace
}  // namespace evidence_test
