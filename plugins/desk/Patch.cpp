#include "Patch.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "rest/Times.h"

namespace desk {
namespace {

using platform::Json;
using Result = std::optional<Fault>;

/// As many values as an evidence may have: what is checked here takes time that grows with their square.
constexpr std::size_t kMostValues = 5000;

Result WrongType(const std::string& path, const char* expected) {
  return Fault{"wrong_type", "The field " + path + " must be " + expected + "."};
}
Result Unknown(const std::string& path) {
  constexpr std::size_t kMostShown = 100;
  return Fault{"unknown_field",
               path.size() > kMostShown ? "There is no such field." : "There is no field " + path + "."};
}
Result Fixed(const std::string& path) {
  return Fault{"fixed_field", "The field " + path + " cannot be set, or only at the creation."};
}

Result TooManyValues() {
  return Fault{"too_many_values", "An evidence may have " + std::to_string(kMostValues) + " values of attributes."};
}

/// False when it is no number of 32 bits. null is -1.
bool ReadNumber(std::int32_t& number, const Json& json) {
  if (json.IsNull()) {
    number = -1;
    return true;
  }
  const auto* const value = json.Integer();
  using Limits = std::numeric_limits<std::int32_t>;
  if (value == nullptr || *value < Limits::min() || *value > Limits::max()) return false;
  number = static_cast<std::int32_t>(*value);
  return true;
}

Result SetText(Record& record, const Field<std::string>& field, const Json& json) {
  auto& text = record.*field.member;
  if (json.IsNull()) {
    text.clear();
    return std::nullopt;
  }
  const auto* const value = json.String();
  if (value == nullptr) return WrongType(field.name, "a text");
  // A time that is stored in another form stays allowed.
  if (field.is_time && *value != text && !rest::IsTime(*value)) {
    return Fault{"no_time", "The field " + std::string(field.name) +
                                " must be a time with its zone, such as 2026-11-22T21:40:00+00:00."};
  }
  text = *value;
  return std::nullopt;
}

Result SetNumber(Record& record, const Field<std::int32_t>& field, const Json& json) {
  return ReadNumber(record.*field.member, json) ? std::nullopt : WrongType(field.name, "a number");
}

Result SetEntry(Record& record, const Field<std::int32_t>& field, const Json& json) {
  const std::string name = field.name;
  if (json.IsNull()) {
    record.*field.member = -1;
    return std::nullopt;
  }
  if (json.Members() == nullptr) return WrongType(name, "an object with an id");
  for (const auto& [member, value] : *json.Members()) {
    if (member == "id") {
      if (!ReadNumber(record.*field.member, value)) return WrongType(name + "/id", "a number");
    } else if (member != "name") {
      return Unknown(name + "/" + member);
    }
  }
  return std::nullopt;
}

Result ReadValue(Value& value, const Json& json, const std::string& path) {
  if (json.Members() == nullptr) return WrongType(path, "a list of objects");
  bool has_value = false;
  for (const auto& [member, part] : *json.Members()) {
    if (member == "option_id") {
      if (part.IsNull() || !ReadNumber(value.option_id, part)) return WrongType(path + "/option_id", "a number");
    } else if (member == "text") {
      if (part.String() == nullptr) return WrongType(path + "/text", "a text");
      value.text = *part.String();
    } else if (member != "option_name") {
      return Unknown(path + "/" + member);
    }
    has_value = has_value || member != "option_name";
  }
  return has_value ? std::nullopt : WrongType(path, "a list of objects with option_id or text");
}

Result ReadValues(std::vector<Value>& values, std::int32_t attribute_id, const Json& json, const std::string& path) {
  if (json.IsNull()) return std::nullopt;
  if (json.Elements() == nullptr) return WrongType(path, "a list");
  for (const auto& element : *json.Elements()) {
    Value value{attribute_id, -1, {}};
    if (auto fault = ReadValue(value, element, path)) return fault;
    values.push_back(std::move(value));
  }
  return std::nullopt;
}

/// Replaces the values of one attribute where its first one is.
void Replace(std::vector<Value>& values, std::int32_t attribute_id, std::vector<Value> by) {
  const auto first = std::ranges::find(values, attribute_id, &Value::attribute_id);
  const auto place = first - values.begin();
  std::erase_if(values, [attribute_id](const Value& value) { return value.attribute_id == attribute_id; });
  values.insert(values.begin() + place, std::move_iterator(by.begin()), std::move_iterator(by.end()));
}

/// `name` is an id as it is written in a record.
bool ReadAttributeId(std::int32_t& id, std::string_view name) {
  const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), id);
  return fault == std::errc() && end == name.data() + name.size() && std::to_string(id) == name;
}

Result SetAttribute(Record& record, const std::string& name, const Json& json) {
  const std::string path = std::string(kAttributes) + "/" + name;
  std::int32_t id = -1;
  if (!ReadAttributeId(id, name)) return Unknown(path);
  if (json.IsNull()) {
    Replace(record.values, id, {});
    return std::nullopt;
  }
  if (json.Members() == nullptr) return WrongType(path, "an object with values");
  for (const auto& [member, part] : *json.Members()) {
    if (member == "name") continue;
    if (member != "values") return Unknown(path + "/" + member);
    std::vector<Value> values;
    if (auto fault = ReadValues(values, id, part, path + "/values")) return fault;
    Replace(record.values, id, std::move(values));
  }
  return std::nullopt;
}

Result SetAttributes(Record& record, const Json& json) {
  if (json.IsNull()) record.values.clear();
  if (json.IsNull()) return std::nullopt;
  if (json.Members() == nullptr) return WrongType(kAttributes, "an object of attributes by their ids");
  if (json.Members()->size() > kMostValues) return TooManyValues();
  for (const auto& [name, attribute] : *json.Members()) {
    if (auto fault = SetAttribute(record, name, attribute)) return fault;
    if (record.values.size() > kMostValues) return TooManyValues();
  }
  return std::nullopt;
}

bool MayBeSet(Settable settable, Settable allowed) {
  return settable == Settable::kAlways || (settable == Settable::kAtCreation && allowed == Settable::kAtCreation);
}

template <class Type, std::size_t kCount>
const Field<Type>* FindField(const Field<Type> (&fields)[kCount], const std::string& name) {
  const auto* const found = std::ranges::find(fields, name, &Field<Type>::name);
  return found == std::end(fields) ? nullptr : found;
}

Result SetMember(Record& record, const std::string& name, const Json& value, Settable allowed) {
  if (name == kAttributes) return SetAttributes(record, value);
  if (const auto* const entry = FindField(kEntries, name)) return SetEntry(record, *entry, value);
  if (const auto* const text = FindField(kTexts, name)) {
    return MayBeSet(text->settable, allowed) ? SetText(record, *text, value) : Fixed(name);
  }
  if (const auto* const number = FindField(kNumbers, name)) {
    return MayBeSet(number->settable, allowed) ? SetNumber(record, *number, value) : Fixed(name);
  }
  return std::ranges::find(kDerived, name) == std::end(kDerived) ? Unknown(name) : Fixed(name);
}

/// null, and what stands for it where a record says that something is not there.
bool IsNone(const Json* json) {
  if (json == nullptr || json->IsNull()) return true;
  if (json->Integer() != nullptr) return *json->Integer() == -1;
  if (json->String() != nullptr) return json->String()->empty();
  if (json->Elements() != nullptr) return json->Elements()->empty();
  return json->Members() != nullptr && json->Members()->empty();
}

std::string Joined(const std::string& path, const std::string& name) { return path.empty() ? name : path + "/" + name; }

bool Agree(const Json& asked, const Json* described, const std::string& path, std::string& where);

bool MembersAgree(const Json::Object& asked, const Json* described, const std::string& path, std::string& where) {
  return std::ranges::all_of(asked, [&](const auto& member) {
    const auto* const found = described == nullptr ? nullptr : described->Find(member.first);
    return Agree(member.second, found, Joined(path, member.first), where);
  });
}

bool ElementsAgree(const Json::List& asked, const Json::List& described, const std::string& path, std::string& where) {
  if (asked.size() != described.size()) where = path;
  if (asked.size() != described.size()) return false;
  for (std::size_t n = 0; n < asked.size(); ++n)
    if (!Agree(asked[n], &described[n], path, where)) return false;
  return true;
}

bool Agree(const Json& asked, const Json* described, const std::string& path, std::string& where) {
  if (asked.Members() != nullptr) return MembersAgree(*asked.Members(), described, path, where);
  if (IsNone(&asked) && IsNone(described)) return true;
  if (asked.Elements() != nullptr && described != nullptr && described->Elements() != nullptr) {
    return ElementsAgree(*asked.Elements(), *described->Elements(), path, where);
  }
  if (described != nullptr && asked == *described) return true;
  where = path;
  return false;
}

}  // namespace

std::optional<Fault> Apply(Record& record, const Json& body, Settable allowed) {
  if (body.Members() == nullptr) return Fault{"wrong_type", "The body must be an object."};
  for (const auto& [name, value] : *body.Members())
    if (auto fault = SetMember(record, name, value, allowed)) return fault;
  if (AreStorable(record.values)) return std::nullopt;
  return Fault{"single_quote", "A text of an attribute must not have a single quote."};
}

std::string Disagreement(const Json& body, const Json& described) {
  std::string where;
  return Agree(body, &described, {}, where) ? std::string() : where;
}

bool AreStorable(const std::vector<Value>& values) {
  return std::ranges::none_of(values, [](const Value& value) { return value.text.find('\'') != std::string::npos; });
}

}  // namespace desk
