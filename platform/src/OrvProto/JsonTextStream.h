#pragma once

#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "JsonAllocator.h"
#include "platform/Call.h"

namespace xmlpacket {

namespace json_escapes {

/// What follows the backslash, for each character that must be escaped: 'u' for one without a letter of its own.
constexpr auto kLetters = [] {
  std::array<char, 256> letters{};
  std::fill_n(letters.begin(), ' ', 'u');
  for (const auto& [character, letter] :
       {std::pair('"', '"'), {'\\', '\\'}, {'\b', 'b'}, {'\f', 'f'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}})
    letters.at(static_cast<unsigned char>(character)) = letter;
  return letters;
}();

/// NUL for a character that needs none.
constexpr char Of(char c) { return kLetters[static_cast<unsigned char>(c)]; }

/// Whether one of eight characters may have to be escaped; a character beyond ASCII next to one may count, too.
constexpr bool HasAny(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  const std::uint64_t quotes = word ^ ('"' * kOnes);
  const std::uint64_t backslashes = word ^ ('\\' * kOnes);
  const std::uint64_t borrowed = (word - ' ' * kOnes) | (quotes - kOnes) | (backslashes - kOnes);
  return (borrowed & ~word & kHighBits) != 0;
}

/// How many characters precede the first that must be escaped.
inline std::size_t PlainLength(std::string_view text) {
  std::size_t at = 0;
  for (std::uint64_t word = 0; text.size() - at >= sizeof(word); at += sizeof(word)) {
    std::memcpy(&word, text.data() + at, sizeof(word));
    if (HasAny(word)) break;
  }
  while (at < text.size() && Of(text[at]) == '\0')
    ++at;
  return at;
}

}  // namespace json_escapes

/// The text that a JSON writer writes, counted for the thread's call as it grows. Throws std::bad_alloc.
class JsonTextStream {
 public:
  JsonTextStream() = default;
  JsonTextStream(const JsonTextStream&) = delete;
  JsonTextStream& operator=(const JsonTextStream&) = delete;

  using Ch = char;

  /// Makes room for a text of about `bytes`.
  void Expect(std::size_t bytes) {
    if (bytes >= kCounted) {
      platform::NeedMemory(bytes - counted_);
      counted_ = bytes;
    }
    const auto written = Written();
    text_.resize(bytes);
    next_ = text_.data() + written;
    end_ = text_.data() + bytes;
  }

  void Put(char c) {
    if (next_ == end_) Grow(1);
    *next_++ = c;
  }
  void Flush() {}

  /// Valid UTF-8 as a JSON string. Only what must be escaped is.
  void PutString(std::string_view text) {
    Put('"');
    for (;;) {
      const auto plain = json_escapes::PlainLength(text);
      PutText(text.substr(0, plain));
      if (plain == text.size()) break;
      PutEscaped(text[plain]);
      text.remove_prefix(plain + 1);
    }
    Put('"');
  }

  /// As it is.
  void PutText(std::string_view text) {
    if (text.empty()) return;
    if (text.size() > static_cast<std::size_t>(end_ - next_)) Grow(text.size());
    std::memcpy(next_, text.data(), text.size());
    next_ += text.size();
  }

  std::string Take() {
    text_.resize(Written());
    return std::move(text_);
  }

 private:
  static constexpr std::size_t kFirst = 256;
  /// Smaller texts are in what a request takes at its admission.
  static constexpr std::size_t kCounted = 64UL * 1024;

  void PutEscaped(char c) {
    const char letter = json_escapes::Of(c);
    Put('\\');
    Put(letter);
    if (letter != 'u') return;
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    PutText("00");
    Put(kDigits[static_cast<unsigned char>(c) / 16]);
    Put(kDigits[static_cast<unsigned char>(c) % 16]);
  }

  [[nodiscard]] std::size_t Written() const { return static_cast<std::size_t>(next_ - text_.data()); }
  void Grow(std::size_t bytes) { Expect(std::max({kFirst, text_.size() + text_.size() / 2, Written() + bytes})); }

  /// What is written, and room.
  std::string text_;
  char* next_ = text_.data();
  const char* end_ = text_.data();
  std::size_t counted_ = 0;
};

/// Writes strings as a whole, where the library's own writer puts each character by itself.
class JsonTextWriter
    : public rapidjson::Writer<JsonTextStream, rapidjson::UTF8<>, rapidjson::UTF8<>, kelp::JsonAllocator> {
 public:
  using Writer::Writer;

  bool Key(std::string_view text) { return String(text); }
  bool String(std::string_view text) {
    Prefix(rapidjson::kStringType);
    os_->PutString(text);
    return EndValue(true);
  }

  // As a document hands itself to a writer.
  bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) { return Key({text, length}); }
  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) { return String({text, length}); }
};

}  // namespace xmlpacket
