#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace FileManager {

/// SHA-256 over bytes as they come. Throws std::bad_alloc without memory.
class Digest {
 public:
  Digest();

  void Add(std::string_view bytes);
  /// Of all bytes so far, in 64 lower-case hex digits. More may follow.
  [[nodiscard]] std::string Hex() const;

 private:
  std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st*)> state_;
};

/// Whether `text` is a digest as Hex writes it.
[[nodiscard]] bool IsDigest(std::string_view text);

/// The bytes that lower-case or upper-case hex digits stand for; "" when they are not such.
[[nodiscard]] std::string BytesOfHex(std::string_view hex);

/// In base64, with its padding.
[[nodiscard]] std::string Base64(std::string_view bytes);
/// Bytes of base64 with its padding; "" also for what is not such.
[[nodiscard]] std::string BytesOfBase64(std::string_view text);

}  // namespace FileManager
