#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "OrvBase/Export.h"

namespace platform {

/// One JSON value as it is, for callers to whom a missing member, null, 1, 1.0 and "1" are different things.
class Json {
 public:
  using List = std::vector<Json>;
  /// In the order of the text. A parsed object has no name twice.
  using Object = std::vector<std::pair<std::string, Json>>;

  /// null.
  Json() = default;
  Json(bool value) : value_(value) {}
  Json(std::int32_t value) : value_(std::int64_t{value}) {}
  Json(std::int64_t value) : value_(value) {}
  explicit Json(double value) : value_(value) {}
  Json(const char* value) : value_(std::string(value)) {}
  Json(std::string_view value) : value_(std::string(value)) {}
  Json(std::string value) : value_(std::move(value)) {}
  Json(List value) : value_(std::move(value)) {}
  Json(Object value) : value_(std::move(value)) {}

  /// None, with a sentence in `fault`, when `text` is not exactly one JSON value in UTF-8, is nested deeper or has more
  /// values than kelp::CRapidJsonProto accepts, or an object has a name twice. Counts its memory for the call of this
  /// thread; throws std::bad_alloc when there is none.
  [[nodiscard]] PLATFORM_API static std::optional<Json> Parse(const std::string& text, std::string& fault);

  /// As compact JSON.
  [[nodiscard]] PLATFORM_API std::string Text() const;

  [[nodiscard]] bool IsNull() const { return std::holds_alternative<std::nullptr_t>(value_); }
  // Null when the value is of another kind. A number with a fraction or an exponent, or beyond 64 bits, is no integer.
  [[nodiscard]] const std::int64_t* Integer() const { return std::get_if<std::int64_t>(&value_); }
  [[nodiscard]] const std::string* String() const { return std::get_if<std::string>(&value_); }
  [[nodiscard]] const List* Elements() const { return std::get_if<List>(&value_); }
  [[nodiscard]] const Object* Members() const { return std::get_if<Object>(&value_); }

  /// The member of that name; null when there is none, or this is no object.
  [[nodiscard]] PLATFORM_API const Json* Find(std::string_view name) const;

  /// Calls `visitor` with the value as what it is.
  template <class Visitor>
  void Visit(const Visitor& visitor) const {
    std::visit(visitor, value_);
  }

  bool operator==(const Json&) const = default;

 private:
  std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, List, Object> value_ = nullptr;
};

}  // namespace platform
