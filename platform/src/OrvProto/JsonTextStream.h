#pragma once

#include <rapidjson/writer.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "JsonAllocator.h"
#include "platform/Call.h"

namespace xmlpacket {

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
    const auto written = static_cast<std::size_t>(next_ - text_.data());
    text_.resize(bytes);
    next_ = text_.data() + written;
    end_ = text_.data() + bytes;
  }

  void Put(char c) {
    if (next_ == end_) Expect(std::max(kFirst, text_.size() + text_.size() / 2));
    *next_++ = c;
  }
  void Flush() {}

  std::string Take() {
    text_.resize(static_cast<std::size_t>(next_ - text_.data()));
    return std::move(text_);
  }

 private:
  static constexpr std::size_t kFirst = 256;
  /// Smaller texts are in what a request takes at its admission.
  static constexpr std::size_t kCounted = 64UL * 1024;

  /// What is written, and room.
  std::string text_;
  char* next_ = text_.data();
  const char* end_ = text_.data();
  std::size_t counted_ = 0;
};

using JsonTextWriter = rapidjson::Writer<JsonTextStream, rapidjson::UTF8<>, rapidjson::UTF8<>, kelp::JsonAllocator>;

}  // namespace xmlpacket
