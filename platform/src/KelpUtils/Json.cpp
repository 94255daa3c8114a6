#include "platform/Json.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <set>

#include "JsonText.h"
#include "KelpUtils/RapidJsonProto.h"
#include "platform/Call.h"

namespace platform {
namespace {

using kelp::CRapidJsonProto;
using kelp::JsonValue;
using rapidjson::SizeType;
using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, kelp::JsonAllocator>;
using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, kelp::JsonAllocator>;

/// A value, its place in a growing list, and the parser's own.
constexpr std::size_t kBytesOfValue = 192;

std::string_view TextOf(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

/// Goes as deep as the parsed text. False when an object has a name twice, which is then in `twice`.
bool Convert(Json& out, const JsonValue& value, std::string& twice);

bool ConvertList(Json& out, const JsonValue& value, std::string& twice) {
  Json::List list(value.Size());
  for (SizeType n = 0; n < value.Size(); ++n)
    if (!Convert(list[n], value[n], twice)) return false;
  out = std::move(list);
  return true;
}

bool ConvertObject(Json& out, const JsonValue& value, std::string& twice) {
  Json::Object object;
  object.reserve(value.MemberCount());
  std::set<std::string_view> names;
  for (const auto& member : value.GetObject()) {
    auto& [name, child] = object.emplace_back(TextOf(member.name), Json());
    if (!names.insert(TextOf(member.name)).second) {
      twice = name;
      return false;
    }
    if (!Convert(child, member.value, twice)) return false;
  }
  out = std::move(object);
  return true;
}

bool Convert(Json& out, const JsonValue& value, std::string& twice) {
  if (value.IsArray()) return ConvertList(out, value, twice);
  if (value.IsObject()) return ConvertObject(out, value, twice);
  if (value.IsString()) out = TextOf(value);
  if (value.IsBool()) out = value.GetBool();
  if (value.IsInt64()) {
    out = std::int64_t{value.GetInt64()};
  } else if (value.IsNumber()) {
    out = Json(value.GetDouble());
  }
  return true;
}

struct Render {
  Writer& writer;

  void operator()(std::nullptr_t) const { writer.Null(); }
  void operator()(bool value) const { writer.Bool(value); }
  void operator()(std::int64_t value) const { writer.Int64(value); }
  void operator()(double value) const { writer.Double(value); }
  void operator()(const std::string& value) const { writer.String(value.data(), static_cast<SizeType>(value.size())); }
  void operator()(const Json::List& list) const {
    writer.StartArray();
    for (const auto& element : list)
      element.Visit(*this);
    writer.EndArray();
  }
  void operator()(const Json::Object& object) const {
    writer.StartObject();
    for (const auto& [name, value] : object) {
      writer.Key(name.data(), static_cast<SizeType>(name.size()));
      value.Visit(*this);
    }
    writer.EndObject();
  }
};

}  // namespace

std::optional<Json> Json::Parse(const std::string& text, std::string& fault) {
  NeedMemory(2 * text.size() + kBytesOfValue * std::min(text.size() / 3, CRapidJsonProto::kMaxValues));
  kelp::JsonDocument document;
  kelp::JsonFault found;
  if (!kelp::ParseJsonText(text, {CRapidJsonProto::kMaxDepth, CRapidJsonProto::kMaxValues}, document, &found)) {
    fault = "byte " + std::to_string(found.at) + ": " + found.reason;
    return std::nullopt;
  }
  Json value;
  std::string twice;
  if (Convert(value, document, twice)) return value;
  fault = "the name \"" + twice + "\" is there twice";
  return std::nullopt;
}

std::string Json::Text() const {
  Buffer buffer;
  Writer writer(buffer);
  Visit(Render{writer});
  return {buffer.GetString(), buffer.GetSize()};
}

const Json* Json::Find(std::string_view name) const {
  const auto* const members = Members();
  if (members == nullptr) return nullptr;
  const auto found = std::ranges::find(*members, name, &Object::value_type::first);
  return found == members->end() ? nullptr : &found->second;
}

}  // namespace platform
