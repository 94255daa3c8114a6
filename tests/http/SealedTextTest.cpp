// Texts that the openssl command made, and texts that it did not.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SealedText.h"
#include "http/OpensslCommand.h"

namespace evidence_test {
namespace {

constexpr char kKey[] = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";
const std::string kRefused = "refused";

std::string Open(const std::string& sealed, const std::string& key = kKey) {
  std::string plain = "left from before";
  if (host::OpenSealedText(plain, sealed, key)) return plain;
  return plain.empty() ? kRefused : "refused, and left " + plain;
}

TEST(SealedTextTest, TheCommandAndTheHostOpenEachOthersTexts) {
  // Around the size of a block, beyond ASCII, with a NUL, the longest.
  for (const auto& plain :
       {std::string(), std::string("fifteen letters"), std::string("sixteen letters."), std::string("пароль'$\"\\"),
        std::string("a\0b", 3), std::string(host::kMaxSealedPlain, 'x')}) {
    EXPECT_EQ(Open(Openssl("-A", plain, kKey)), plain);
    EXPECT_EQ(Open(Openssl("", plain, kKey)), plain) << "in lines of 64";
    std::string sealed = "left from before";
    std::string again;
    ASSERT_TRUE(host::SealText(sealed, plain, kKey));
    ASSERT_TRUE(host::SealText(again, plain, kKey));
    EXPECT_EQ(Openssl("-d -A", sealed, kKey), plain);
    EXPECT_NE(again, sealed) << "no salt of its own";
  }
  const std::string over(host::kMaxSealedPlain + 1, 'x');
  std::string sealed = "left from before";
  EXPECT_FALSE(host::SealText(sealed, over, kKey));
  EXPECT_EQ(sealed, "");
  EXPECT_EQ(Open(Openssl("-A", over, kKey)), kRefused);
}

TEST(SealedTextTest, OtherTextsAreRefused) {
  const std::string plain = "correct horse battery staple";
  const auto sealed = Openssl("-A", plain, kKey);
  // Whole blocks of a wrong text open by chance now and then, but never to this one.
  EXPECT_NE(Open(sealed, std::string(64, '0')), plain);
  EXPECT_NE(Open(Openssl("-A -iter 9999", plain, kKey)), plain);
  for (std::size_t length = 0; length < sealed.size(); ++length)
    EXPECT_TRUE(length % 4 == 0 ? Open(sealed.substr(0, length)) != plain : Open(sealed.substr(0, length)) == kRefused);
  std::vector<std::string> texts = {"\n",
                                    "=",
                                    "A===",
                                    "AA=A",
                                    "U2FsdGVkX18AAAAAAAAAAA==",                  // no text behind the salt
                                    "U2FsdGVkX18AAAAAAAAAAAAAAAAAAAAAAAAAAAAA",  // no whole block
                                    Openssl("-A -S 0011223344556677", plain, kKey),
                                    std::string(1 << 20, '\n'),
                                    "U2FsdGVkX18" + std::string((1 << 20) + 1, 'A')};
  for (const char bad : {'-', ' ', '\0', '=', '\x80'}) {
    texts.push_back(sealed);
    texts.back()[sealed.size() / 2] = bad;
  }
  for (const auto& text : texts)
    EXPECT_EQ(Open(text), kRefused) << text.substr(0, 60);
}

}  // namespace
}  // namespace evidence_test
