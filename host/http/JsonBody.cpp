#include "http/JsonBody.h"

#include <limits>
#include <string_view>

#include "JsonText.h"

namespace host {
namespace {

constexpr kelp::JsonBounds kBounds{4, 10'000};

std::string TextOf(const kelp::JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

bool IsNumber(const kelp::JsonValue& value) {
  return value.IsUint() && value.GetUint() <= static_cast<unsigned>(std::numeric_limits<int>::max());
}

}  // namespace

JsonBody::JsonBody(const std::string& text) {
  if (kelp::ParseJsonText(text, kBounds, document_) && document_.IsObject()) return;
  document_.SetObject();
  Fail("The body is no JSON object.");
}

void JsonBody::Fail(const std::string& fault) {
  if (fault_.empty()) fault_ = fault;
}

const kelp::JsonValue* JsonBody::Find(const char* key) {
  asked_.insert(key);
  const auto found = document_.FindMember(key);
  return found == document_.MemberEnd() ? nullptr : &found->value;
}

std::optional<std::string> JsonBody::Text(const char* key) {
  const auto* const value = Find(key);
  if (value == nullptr) return std::nullopt;
  if (value->IsString()) return TextOf(*value);
  Fail(std::string(key) + " is not a text.");
  return std::nullopt;
}

std::optional<bool> JsonBody::Flag(const char* key) {
  const auto* const value = Find(key);
  if (value == nullptr) return std::nullopt;
  if (value->IsBool()) return value->GetBool();
  Fail(std::string(key) + " is neither true nor false.");
  return std::nullopt;
}

std::optional<std::set<std::string>> JsonBody::Texts(const char* key) {
  const auto* const value = Find(key);
  if (value == nullptr) return std::nullopt;
  std::set<std::string> texts;
  bool are_texts = value->IsArray();
  for (rapidjson::SizeType at = 0; are_texts && at < value->Size(); ++at) {
    are_texts = (*value)[at].IsString();
    if (are_texts) texts.insert(TextOf((*value)[at]));
  }
  if (are_texts) return texts;
  Fail(std::string(key) + " is not a list of texts.");
  return std::nullopt;
}

std::optional<std::set<std::pair<std::string, int>>> JsonBody::Pairs(const char* key, const char* name,
                                                                     const char* number) {
  const auto* const value = Find(key);
  if (value == nullptr) return std::nullopt;
  std::set<std::pair<std::string, int>> pairs;
  bool are_pairs = value->IsArray();
  for (rapidjson::SizeType at = 0; are_pairs && at < value->Size(); ++at) {
    const auto& pair = (*value)[at];
    are_pairs = pair.IsObject() && pair.MemberCount() == 2 && pair.HasMember(name) && pair[name].IsString() &&
                pair.HasMember(number) && IsNumber(pair[number]);
    if (are_pairs) pairs.emplace(TextOf(pair[name]), pair[number].GetInt());
  }
  if (are_pairs) return pairs;
  Fail(std::string(key) + " is not a list of objects with " + name + " and " + number + ".");
  return std::nullopt;
}

std::string JsonBody::Fault() {
  std::set<std::string> seen;
  for (const auto& member : document_.GetObject()) {
    const auto name = TextOf(member.name);
    if (!asked_.contains(name)) Fail("The body has a key that is not known here.");
    if (!seen.insert(name).second) Fail(name + " is repeated.");
  }
  return fault_;
}

}  // namespace host
