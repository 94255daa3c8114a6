#include "store/NewFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "platform/Json.h"
#include "rest/Times.h"
#include "store/Delivery.h"
#include "store/Digest.h"

namespace FileManager {
namespace {

constexpr char kDefaultType[] = "application/octet-stream";

bool ReadNumber(std::int64_t& number, const std::string& text, std::int64_t most) {
  const auto* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, number);
  return fault == std::errc() && stop == end && number >= 0 && number <= most;
}

std::string SetName(FileRow& file, const std::string& text) {
  file.name = text;
  return NameFault(text);
}

std::string SetMediaType(FileRow& file, const std::string& text) {
  // Browsers know none of some files.
  if (text.empty()) return {};
  file.media_type = MediaTypeOf(text);
  return file.media_type.empty() ? "media_type must be one such as video/mp4, without parameters." : "";
}

std::string SetBytes(FileRow& file, const std::string& text) {
  const bool is_number = ReadNumber(file.bytes, text, std::numeric_limits<std::int64_t>::max());
  return is_number ? "" : "bytes must be a number of bytes.";
}

std::string SetDigest(FileRow& file, const std::string& text) {
  file.expected_sha256 = text;
  std::ranges::transform(text, file.expected_sha256.begin(),
                         [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c; });
  return IsDigest(file.expected_sha256) ? "" : "sha256 must be 64 hex digits.";
}

template <std::string FileRow::*kMember>
std::string SetTime(FileRow& file, const std::string& text) {
  auto utc = rest::IsTime(text) ? rest::ToUtc(text) : std::string();
  if (utc.empty()) return "source_begin and source_end must be times such as 2026-11-22T21:40:00+02:00.";
  file.*kMember = std::move(utc) + "+00";
  return {};
}

std::string SetCamera(FileRow& file, const std::string& text) {
  std::int64_t number = 0;
  if (!ReadNumber(number, text, std::numeric_limits<std::int32_t>::max())) return "camera_id must be an id.";
  file.camera_id = static_cast<std::int32_t>(number);
  return {};
}

struct Field {
  std::string_view key;
  std::string (*set)(FileRow& file, const std::string& text);
};
constexpr std::array kFields = {
    Field{"name", &SetName},
    Field{"media_type", &SetMediaType},
    Field{"bytes", &SetBytes},
    Field{"sha256", &SetDigest},
    Field{"source_begin", &SetTime<&FileRow::source_begin>},
    Field{"source_end", &SetTime<&FileRow::source_end>},
    Field{"camera_id", &SetCamera},
};

std::string KeyOf(std::string_view key) {
  if (key == "filename") return "name";
  if (key == "filetype") return "media_type";
  return std::string(key);
}

}  // namespace

std::string ReadNewFile(FileRow& file, const platform::HttpFields& texts) {
  file.media_type = kDefaultType;
  for (const auto& [key, text] : texts) {
    const auto* const field = std::ranges::find(kFields, key, &Field::key);
    if (field == kFields.end()) return "There is no " + key + " of a file.";
    if (std::ranges::count(texts, key, &platform::HttpFields::value_type::first) != 1) return key + " is there twice.";
    if (auto fault = field->set(file, text); !fault.empty()) return fault;
  }
  if (file.name.empty()) return "name is missing.";
  const bool is_turned = !file.source_begin.empty() && !file.source_end.empty() && file.source_end < file.source_begin;
  return is_turned ? "source_end is before source_begin." : "";
}

std::string TextsOfJson(platform::HttpFields& texts, const std::string& json) {
  std::string fault;
  const auto body = platform::Json::Parse(json, fault);
  if (!body || body->Members() == nullptr)
    return "The body is no JSON object" + (fault.empty() ? "." : ": " + fault + ".");
  for (const auto& [key, value] : *body->Members()) {
    if (value.IsNull()) continue;
    if (const auto* const number = value.Integer()) {
      texts.emplace_back(key, std::to_string(*number));
    } else if (const auto* const text = value.String()) {
      texts.emplace_back(key, *text);
    } else {
      return key + " must be a text or a whole number.";
    }
  }
  return {};
}

std::string TextsOfMetadata(platform::HttpFields& texts, std::string_view header) {
  while (!header.empty()) {
    auto pair = header.substr(0, header.find(','));
    header.remove_prefix(std::min(pair.size() + 1, header.size()));
    pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
    const auto key = pair.substr(0, pair.find(' '));
    const auto value = pair.substr(std::min(key.size() + 1, pair.size()));
    auto text = BytesOfBase64(value);
    if (key.empty() || (text.empty() && !value.empty())) return "Upload-Metadata must be pairs of a key and base64.";
    texts.emplace_back(KeyOf(key), std::move(text));
  }
  return {};
}

}  // namespace FileManager
