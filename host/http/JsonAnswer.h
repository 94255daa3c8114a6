#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <string>

#include "JsonAllocator.h"

namespace host {

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, kelp::JsonAllocator>;
using JsonWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, kelp::JsonAllocator>;

inline void Put(JsonWriter& json, const char* key, const std::string& value) {
  json.Key(key);
  json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

inline void PutNumber(JsonWriter& json, const char* key, std::int64_t value) {
  json.Key(key);
  json.Int64(value);
}

inline void PutFlag(JsonWriter& json, const char* key, bool value) {
  json.Key(key);
  json.Bool(value);
}

}  // namespace host
