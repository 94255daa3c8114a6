#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace host {

/// Makes and checks the tokens by which clients name their sessions: 32 random bytes and 16 of a MAC over them, in
/// lower-case hex. The MAC is HMAC-SHA256 under a key derived from the site's, so that a text of somebody else's making
/// is known for one without a look at any session. The other half of the MAC is the session's handle: nobody can make a
/// token of it. Thread-safe.
class SessionTokens {
 public:
  static constexpr std::size_t kHandleBytes = 16;
  using Handle = std::array<unsigned char, kHandleBytes>;

  explicit SessionTokens(std::string_view site_key);

  struct Made {
    std::string token;
    Handle handle;
  };
  [[nodiscard]] Made Make() const;

  /// The handle that belongs to a token; none for a text that Make gave under no such key. Takes well below a
  /// microsecond, and the same time wherever the MAC is wrong.
  [[nodiscard]] std::optional<Handle> Check(std::string_view token) const;

 private:
  static constexpr std::size_t kRandomBytes = 32;
  static constexpr std::size_t kMacBytes = 16;
  static constexpr std::size_t kTokenBytes = kRandomBytes + kMacBytes;
  using Digest = std::array<unsigned char, kMacBytes + kHandleBytes>;
  using State = std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st*)>;

  static State NewState();
  /// The digest after the block that HMAC makes of `key` and one of its two paddings.
  static State Begun(const std::string& key, unsigned char padding);
  static Digest Finish(const State& begun, const unsigned char* bytes, std::size_t size);
  Digest MacOf(const unsigned char* random) const;

  // HMAC's two digests, each after the block that its key makes: what is the same for all tokens.
  State inner_ = NewState();
  State outer_ = NewState();
};

}  // namespace host
