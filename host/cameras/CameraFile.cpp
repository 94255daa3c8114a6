#include "cameras/CameraFile.h"

#include <algorithm>
#include <bitset>
#include <fstream>
#include <iterator>
#include <limits>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <variant>

#include "JsonText.h"
#include "OrvBase/StringUtil.h"

namespace host {
namespace {

namespace StringUtil = Orv::Base::StringUtil;
using Value = kelp::JsonValue;

/// Deepest nesting of the file: the entries of a list in one object.
constexpr int kFileDepth = 3;

/// A key of an entry and where its value goes.
template <class Record>
struct Field {
  std::string_view key;
  std::variant<std::int32_t Record::*, std::string Record::*> member;
  std::int32_t least = 0;
  bool required = true;
};

constexpr Field<Device> kDeviceFields[] = {
    {"ID", &Device::id, 1}, {"Type", &Device::type}, {"Protocol", &Device::protocol}, {"Name", &Device::name}};
constexpr Field<Element> kElementFields[] = {
    {"ID", &Element::id, 1}, {"Name", &Element::name}, {"DeviceID", &Element::device_id, 1, false}};

std::string_view TextOf(const Value& value) { return {value.GetString(), value.GetStringLength()}; }

std::string Take(std::int32_t& target, const Value& value, std::int32_t least) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  if (!value.IsInt64() && !value.IsUint64()) return "is not a whole number";
  if (!value.IsInt64() || value.GetInt64() < least || value.GetInt64() > kMost) {
    return "must be between " + std::to_string(least) + " and " + std::to_string(kMost);
  }
  target = static_cast<std::int32_t>(value.GetInt64());
  return {};
}

std::string Take(std::string& target, const Value& value, std::int32_t /*least*/) {
  if (!value.IsString()) return "is not a string";
  const auto text = TextOf(value);
  if (text.empty() || StringUtil::str_len(text, StringUtil::kCodePageUtf8) > kMaxCameraName ||
      StringUtil::ContainsIllegalCharacters(text) || text.find_first_of("\t\r\n") != std::string_view::npos) {
    return "must have 1 to " + std::to_string(kMaxCameraName) + " characters and no control character";
  }
  target = text;
  return {};
}

template <class Record, std::size_t kCount>
std::string ReadRecord(Record& record, const Value& value, const Field<Record> (&fields)[kCount]) {
  if (!value.IsObject()) return "is not an object";
  std::bitset<kCount> seen;
  for (const auto& member : value.GetObject()) {
    const auto* const field = std::ranges::find(fields, TextOf(member.name), &Field<Record>::key);
    const auto place = static_cast<std::size_t>(field - std::begin(fields));
    if (place == kCount) return "has an unknown key";
    const std::string key(field->key);
    if (seen.test(place)) return key + " is repeated";
    seen.set(place);
    const auto take = [&](auto target) { return Take(record.*target, member.value, field->least); };
    if (const auto fault = std::visit(take, field->member); !fault.empty()) return key + " " + fault;
  }
  for (std::size_t place = 0; place < kCount; ++place) {
    if (fields[place].required && !seen.test(place)) return std::string(fields[place].key) + " is missing";
  }
  return {};
}

/// Reads the list under `name`; `check` returns any other fault of a record.
template <class Record, std::size_t kCount, class Check>
std::string ReadList(std::vector<Record>& list, const Value& root, const char* name,
                     const Field<Record> (&fields)[kCount], Check check) {
  const auto found = root.FindMember(name);
  if (found == root.MemberEnd()) return std::string(name) + " is missing";
  if (!found->value.IsArray()) return std::string(name) + " is not a list";
  std::unordered_set<std::int32_t> ids;
  for (const auto& value : found->value.GetArray()) {
    Record record;
    auto fault = ReadRecord(record, value, fields);
    if (fault.empty() && !ids.insert(record.id).second) fault = "ID " + std::to_string(record.id) + " is repeated";
    if (fault.empty()) fault = check(record);
    if (!fault.empty()) return std::string(name) + ", entry " + std::to_string(list.size() + 1) + ": " + fault;
    list.push_back(std::move(record));
  }
  return {};
}

std::string ReadLists(CameraList& list, const Value& root) {
  if (!root.IsObject()) return "is not an object";
  std::unordered_set<std::int32_t> device_ids;
  auto fault = ReadList(list.devices, root, "Devices", kDeviceFields, [&](const Device& device) {
    device_ids.insert(device.id);
    return std::string();
  });
  if (!fault.empty()) return fault;
  fault = ReadList(list.elements, root, "Elements", kElementFields, [&](const Element& element) {
    const bool known = element.device_id == kNoDevice || device_ids.contains(element.device_id);
    return known ? "" : "there is no device " + std::to_string(element.device_id);
  });
  if (!fault.empty()) return fault;
  return root.MemberCount() == 2 ? "" : "must have exactly the keys Devices and Elements";
}

/// False when the file cannot be read; one that is too large yields more than kMaxCameraFile bytes.
bool ReadText(const std::string& file, std::string& text) {
  std::ifstream stream(file, std::ios::binary);
  text.resize(kMaxCameraFile + 1);
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return stream.is_open() && !stream.bad();
}

}  // namespace

std::string ReadCameraFile(const std::string& file, CameraList& list) {
  list = {};
  std::string text;
  if (!ReadText(file, text)) return file + ": cannot be read";
  if (text.size() > kMaxCameraFile) return file + ": is larger than " + std::to_string(kMaxCameraFile) + " bytes";
  kelp::JsonDocument document;
  kelp::JsonFault json_fault;
  if (!kelp::ParseJsonText(text, {kFileDepth}, document, &json_fault)) {
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(json_fault.at), '\n');
    return file + ":" + std::to_string(line) + ": " + json_fault.reason;
  }
  const auto fault = ReadLists(list, document);
  if (!fault.empty()) list = {};
  return fault.empty() ? "" : file + ": " + fault;
}

}  // namespace host
