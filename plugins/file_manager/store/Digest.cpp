#include "store/Digest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <new>

namespace FileManager {
namespace {

constexpr std::size_t kDigestDigits = 64;
constexpr char kDigits[] = "0123456789abcdef";

using State = std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st*)>;

State NewState() {
  State state(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!state) throw std::bad_alloc();
  return state;
}

/// The library fails for want of memory only.
void Require(int done) {
  if (done != 1) throw std::bad_alloc();
}

const unsigned char* Raw(std::string_view bytes) { return reinterpret_cast<const unsigned char*>(bytes.data()); }

}  // namespace

Digest::Digest() : state_(NewState()) { Require(EVP_DigestInit_ex(state_.get(), EVP_sha256(), nullptr)); }

void Digest::Add(std::string_view bytes) { Require(EVP_DigestUpdate(state_.get(), bytes.data(), bytes.size())); }

std::string Digest::Hex() const {
  const auto copy = NewState();
  std::array<unsigned char, kDigestDigits / 2> bytes;
  Require(EVP_MD_CTX_copy_ex(copy.get(), state_.get()));
  Require(EVP_DigestFinal_ex(copy.get(), bytes.data(), nullptr));
  std::string text;
  for (const auto byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

bool IsDigest(std::string_view text) {
  return text.size() == kDigestDigits && text.find_first_not_of(kDigits) == std::string_view::npos;
}

std::string BytesOfHex(std::string_view hex) {
  std::string bytes;
  if (hex.size() % 2 != 0) return bytes;
  for (; !hex.empty(); hex.remove_prefix(2)) {
    unsigned char byte = 0;
    const auto [stop, fault] = std::from_chars(hex.data(), hex.data() + 2, byte, 16);
    if (fault != std::errc() || stop != hex.data() + 2) return {};
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

std::string Base64(std::string_view bytes) {
  // With a NUL at its end.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), Raw(bytes), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

std::string BytesOfBase64(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
  const bool is_plain = text.substr(0, text.size() - padding).find_first_not_of(kAlphabet) == std::string_view::npos;
  if (text.empty() || text.size() % 4 != 0 || padding > 2 || !is_plain) return {};
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), Raw(text), static_cast<int>(text.size()));
  if (size < 0) return {};
  bytes.resize(static_cast<std::size_t>(size) - padding);
  return bytes;
}

}  // namespace FileManager
