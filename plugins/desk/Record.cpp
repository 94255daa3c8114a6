#include "Record.h"

#include <charconv>
#include <string_view>
#include <utility>

#include "KelpPlatform/PlatformAdapter.h"

namespace desk {
namespace {

using platform::Json;

std::string NameOf(const std::map<std::int32_t, std::string>& names, std::int32_t id) {
  const auto found = names.find(id);
  return found == names.end() ? std::string() : found->second;
}

Json DescribeValue(const Value& value, const Attribute& attribute) {
  Json::Object described;
  if (value.option_id != -1) {
    described.emplace_back("option_id", value.option_id);
    described.emplace_back("option_name", NameOf(attribute.options, value.option_id));
  }
  if (value.option_id == -1 || !value.text.empty()) described.emplace_back("text", value.text);
  return described;
}

Json DescribeCamera(std::string_view piece) {
  std::int32_t id = 0;
  const auto [end, fault] = std::from_chars(piece.data(), piece.data() + piece.size(), id);
  // What is no number is stored as it was sent, too.
  if (fault != std::errc() || end != piece.data() + piece.size()) return Json::Object{{"id", piece}, {"name", ""}};
  kelp::SElementBaseInfo element;
  const auto api = kelp::IPlatformAdapterInterface::Instance()->GetElementApi(true);
  const bool is_known = api && api->GetElementInfo(element, id, 0);
  Json::Object camera{{"id", id}, {"name", is_known ? element.element_name : std::string()}};
  if (is_known && element.device_base) camera.emplace_back("device_name", element.device_base->device_name);
  return camera;
}

Json DescribeCameras(std::string_view ids) {
  Json::List cameras;
  while (!ids.empty()) {
    const auto piece = ids.substr(0, ids.find(','));
    if (!piece.empty()) cameras.push_back(DescribeCamera(piece));
    ids.remove_prefix(std::min(piece.size() + 1, ids.size()));
  }
  return cameras;
}

Json DescribeFiles(const std::vector<File>& files) {
  Json::List list;
  for (const auto& file : files) {
    Json::Object described{{"id", file.id}, {"name", file.name}, {"state", file.state}};
    if (file.bytes >= 0) described.emplace_back("bytes", file.bytes);
    if (!file.sha256.empty()) described.emplace_back("sha256", file.sha256);
    list.push_back(std::move(described));
  }
  return list;
}

}  // namespace

Json DescribeEntry(std::int32_t id, const std::string& name) {
  if (id == -1) return {};
  return Json::Object{{"id", id}, {"name", name}};
}

Json DescribeTime(const std::string& time) { return time.empty() ? Json() : Json(time); }

Json DescribeValues(const std::vector<Value>& values, const Attributes& attributes) {
  static const Attribute kUnknown;
  std::map<std::int32_t, Json::List> lists;
  const auto attribute_of = [&](std::int32_t id) -> const Attribute& {
    const auto found = attributes.find(id);
    return found == attributes.end() ? kUnknown : found->second;
  };
  for (const auto& value : values)
    lists[value.attribute_id].push_back(DescribeValue(value, attribute_of(value.attribute_id)));
  Json::Object described;
  for (auto& [id, list] : lists)
    described.emplace_back(std::to_string(id),
                           Json::Object{{"name", attribute_of(id).name}, {"values", std::move(list)}});
  return described;
}

Json Describe(const Record& record, const Names& names) {
  return Json::Object{
      {"id", record.id},
      {"guid", record.guid},
      {"name", record.name},
      {"description", record.description},
      {"status", record.status},
      {"type", DescribeEntry(record.type_id, names.type)},
      {"scene", DescribeEntry(record.scene_id, names.scene)},
      {"outcome", DescribeEntry(record.outcome_id, names.outcome)},
      {kAttributes, DescribeValues(record.values, names.attributes)},
      {"label", record.label},
      {"begin_time", DescribeTime(record.begin_time)},
      {"end_time", DescribeTime(record.end_time)},
      {"cad_id", record.cad_id},
      {"creator", DescribeEntry(record.creator_id, record.creator_name)},
      {"create_time", DescribeTime(record.create_time)},
      {"update_time", DescribeTime(record.update_time)},
      {"add_mode", record.add_mode},
      {"camera_ids", record.camera_ids},
      {"cameras", DescribeCameras(record.camera_ids)},
      {"upload_mode", record.upload_mode},
      {"upload_begin_time", DescribeTime(record.upload_begin_time)},
      {"upload_end_time", DescribeTime(record.upload_end_time)},
      {"record_begin_time", DescribeTime(record.record_begin_time)},
      {"record_end_time", DescribeTime(record.record_end_time)},
      {"upload_status", record.upload_status},
      {"succeeded_camera_ids", record.succeeded_camera_ids},
      {"file_count", record.file_count},
      {"files", DescribeFiles(record.files)},
  };
}

}  // namespace desk
