#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "JsonAllocator.h"

namespace host {

/// The object that is the body of a request, read key by key; what is wrong with it is kept as the first fault. On one
/// thread.
class JsonBody {
 public:
  explicit JsonBody(const std::string& text);

  // None for a missing key, and with a fault for any other kind of value.
  [[nodiscard]] std::optional<std::string> Text(const char* key);
  [[nodiscard]] std::optional<bool> Flag(const char* key);
  [[nodiscard]] std::optional<std::set<std::string>> Texts(const char* key);
  /// Of a list of objects with a text `name` and a whole number `number` between 0 and 2147483647 each.
  [[nodiscard]] std::optional<std::set<std::pair<std::string, int>>> Pairs(const char* key, const char* name,
                                                                           const char* number);

  /// "" or a sentence on what is wrong: no object, a value of the wrong kind, a repeated key, or one that nobody asked
  /// for.
  [[nodiscard]] std::string Fault();

 private:
  const kelp::JsonValue* Find(const char* key);
  void Fail(const std::string& fault);

  kelp::JsonDocument document_;
  std::set<std::string> asked_;
  std::string fault_;
};

}  // namespace host
