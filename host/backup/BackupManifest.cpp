#include "backup/BackupManifest.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <limits>

#include "JsonText.h"

namespace host {
namespace {

using Value = kelp::JsonValue;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

/// The manifest, its lists, their entries.
constexpr int kDepth = 3;

void Write(Writer& writer, const char* key, const std::string& text) {
  writer.Key(key);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/// One list, each entry an object that `write` fills.
template <class Entry, class WriteEntry>
void WriteList(Writer& writer, const char* key, const std::vector<Entry>& entries, const WriteEntry& write) {
  writer.Key(key);
  writer.StartArray();
  for (const auto& entry : entries) {
    writer.StartObject();
    write(entry);
    writer.EndObject();
  }
  writer.EndArray();
}

const Value* Find(const Value& object, const char* key) {
  if (!object.IsObject()) return nullptr;
  const auto found = object.FindMember(key);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

bool Read(const Value& object, const char* key, std::string& text) {
  const Value* const value = Find(object, key);
  if (value == nullptr || !value->IsString()) return false;
  text.assign(value->GetString(), value->GetStringLength());
  return true;
}

bool Read(const Value& object, const char* key, std::int64_t& number) {
  const Value* const value = Find(object, key);
  if (value == nullptr || !value->IsInt64()) return false;
  number = value->GetInt64();
  return true;
}

/// One list; `read` makes an entry of each value.
template <class Entry, class ReadEntry>
bool ReadList(const Value& object, const char* key, std::vector<Entry>& entries, const ReadEntry& read) {
  const Value* const list = Find(object, key);
  if (list == nullptr || !list->IsArray()) return false;
  for (const auto& value : list->GetArray()) {
    if (!read(value, entries.emplace_back())) return false;
  }
  return true;
}

}  // namespace

std::string ManifestText(const Manifest& manifest) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Write(writer, "made_at", manifest.made_at);
  Write(writer, "server_version", manifest.server_version);
  writer.Key("schema_version");
  writer.Int(manifest.schema_version);
  Write(writer, "key_check", manifest.key_check);
  WriteList(writer, "tables", manifest.tables, [&writer](const Manifest::Table& table) {
    Write(writer, "name", table.name);
    writer.Key("rows");
    writer.Int64(table.rows);
  });
  WriteList(writer, "roles", manifest.roles, [&writer](const Manifest::Role& role) {
    Write(writer, "name", role.name);
    writer.Key("login");
    writer.Int64(role.login ? 1 : 0);
  });
  WriteList(writer, "settings", manifest.settings, [&writer](const Manifest::DatabaseSetting& setting) {
    Write(writer, "role", setting.role);
    Write(writer, "name", setting.name);
    Write(writer, "value", setting.value);
  });
  WriteList(writer, "grants", manifest.grants,
            [&writer](const std::string& statement) { Write(writer, "statement", statement); });
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool ReadManifest(const std::string& text, Manifest& manifest) {
  kelp::JsonDocument json;
  std::int64_t version = 0;
  if (!kelp::ParseJsonText(text, {.depth = kDepth}, json) || !Read(json, "schema_version", version) || version < 1 ||
      version > std::numeric_limits<int>::max()) {
    return false;
  }
  manifest.schema_version = static_cast<int>(version);
  const auto read_table = [](const Value& value, Manifest::Table& table) {
    return Read(value, "name", table.name) && Read(value, "rows", table.rows);
  };
  const auto read_role = [](const Value& value, Manifest::Role& role) {
    std::int64_t login = 0;
    const bool done = Read(value, "name", role.name) && Read(value, "login", login);
    role.login = login != 0;
    return done;
  };
  const auto read_setting = [](const Value& value, Manifest::DatabaseSetting& setting) {
    return Read(value, "role", setting.role) && Read(value, "name", setting.name) &&
           Read(value, "value", setting.value);
  };
  const auto read_grant = [](const Value& value, std::string& statement) {
    return Read(value, "statement", statement);
  };
  return Read(json, "made_at", manifest.made_at) && Read(json, "server_version", manifest.server_version) &&
         Read(json, "key_check", manifest.key_check) && ReadList(json, "tables", manifest.tables, read_table) &&
         ReadList(json, "roles", manifest.roles, read_role) &&
         ReadList(json, "settings", manifest.settings, read_setting) &&
         ReadList(json, "grants", manifest.grants, read_grant);
}

}  // namespace host
