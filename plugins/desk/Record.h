#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/Json.h"

namespace desk {

/// One value of a custom attribute, as it is stored: a chosen option, a text, or both.
struct Value {
  std::int32_t attribute_id = -1;
  std::int32_t option_id = -1;
  std::string text;
};

/// A file of an evidence, with what the file manager knows of it.
struct File {
  std::int32_t id = -1;
  std::string name;
  /// "unknown" for one that was linked without bytes.
  std::string state;
  /// -1 when it is not known.
  std::int64_t bytes = -1;
  std::string sha256;
};

/// An evidence with all that its row and its values hold. Ids of -1 and empty texts are none.
struct Record {
  std::int32_t id = -1;
  std::string guid;
  std::string name;
  std::string description;
  std::int32_t status = -1;
  std::int32_t type_id = -1;
  std::int32_t scene_id = -1;
  std::int32_t outcome_id = -1;
  /// In the order in which they were given.
  std::vector<Value> values;
  /// Labels joined by "|".
  std::string label;
  /// Texts as a client sent them.
  std::string begin_time;
  std::string end_time;
  std::string cad_id;

  // Fixed at the creation:
  std::int32_t creator_id = -1;
  std::string creator_name;
  /// RFC 3339.
  std::string create_time;
  std::string update_time;
  std::int32_t add_mode = -1;
  /// Element ids joined by ",".
  std::string camera_ids;
  std::int32_t upload_mode = -1;
  std::string upload_begin_time;
  std::string upload_end_time;
  std::string record_begin_time;
  std::string record_end_time;

  // Kept by the system:
  std::int32_t upload_status = -1;
  std::string succeeded_camera_ids;
  std::int32_t file_count = 0;
  /// In the order of ids.
  std::vector<File> files;

  /// Changes with each column of the row and each of its values, and with nothing else.
  std::string digest;
};

/// Who may set a field.
enum class Settable { kAlways, kAtCreation, kNever };

/// A field, its name in a record, its column, and its name in the evidence plugin's messages ("" when it has none).
template <class Type>
struct Field {
  const char* name;
  Type Record::*member;
  const char* column;
  const char* wire;
  Settable settable;
  bool is_time = false;
};

inline constexpr Field<std::string> kTexts[] = {
    {"guid", &Record::guid, "guid", "Guid", Settable::kAlways},
    {"name", &Record::name, "name", "Name", Settable::kAlways},
    {"description", &Record::description, "evidence_desc", "Desc", Settable::kAlways},
    {"label", &Record::label, "label", "Label", Settable::kAlways},
    {"begin_time", &Record::begin_time, "evidence_begin_time", "EvidenceBeginTime", Settable::kAlways, true},
    {"end_time", &Record::end_time, "evidence_end_time", "EvidenceEndTime", Settable::kAlways, true},
    {"cad_id", &Record::cad_id, "cad_id", "CADID", Settable::kAlways},
    {"camera_ids", &Record::camera_ids, "releated_camera_ids", "RelateCameraID", Settable::kAtCreation},
    {"upload_begin_time", &Record::upload_begin_time, "upload_begin_time", "UploadBeginTime", Settable::kAtCreation,
     true},
    {"upload_end_time", &Record::upload_end_time, "upload_end_time", "UploadEndTime", Settable::kAtCreation, true},
    {"record_begin_time", &Record::record_begin_time, "record_begin_time", "RecordBeginTime", Settable::kAtCreation,
     true},
    {"record_end_time", &Record::record_end_time, "record_end_time", "RecordEndTime", Settable::kAtCreation, true},
    {"succeeded_camera_ids", &Record::succeeded_camera_ids, "succeed_camera_ids", "", Settable::kNever},
};

inline constexpr Field<std::int32_t> kNumbers[] = {
    {"id", &Record::id, "ID", "", Settable::kNever},
    {"status", &Record::status, "evidence_status", "Status", Settable::kAlways},
    {"add_mode", &Record::add_mode, "add_mode", "AddMode", Settable::kAtCreation},
    {"upload_mode", &Record::upload_mode, "upload_mode", "UploadMode", Settable::kAtCreation},
    {"upload_status", &Record::upload_status, "upload_status", "", Settable::kNever},
};

/// What is an id with a name.
inline constexpr Field<std::int32_t> kEntries[] = {
    {"type", &Record::type_id, "evidence_type_id", "EvidenceType", Settable::kAlways},
    {"scene", &Record::scene_id, "scene_id", "Scene", Settable::kAlways},
    {"outcome", &Record::outcome_id, "outcome_id", "Outcome", Settable::kAlways},
};

inline constexpr char kAttributes[] = "attributes";

/// The other names in a record, which nobody may set.
inline constexpr const char* kDerived[] = {"creator", "create_time", "update_time", "cameras", "file_count", "files"};

/// The names of the custom attributes and of their options, by id.
struct Attribute {
  std::string name;
  std::map<std::int32_t, std::string> options;
};
using Attributes = std::map<std::int32_t, Attribute>;

/// Names of what a record holds as ids. What is missing has the name "".
struct Names {
  std::string type;
  std::string scene;
  std::string outcome;
  Attributes attributes;
};

/// {"id":…,"name":…}, or null for -1.
[[nodiscard]] platform::Json DescribeEntry(std::int32_t id, const std::string& name);

/// The text, or null for "".
[[nodiscard]] platform::Json DescribeTime(const std::string& time);

/// The values by attribute, named by its id:
/// {"6":{"name":"Weather","values":[{"option_id":1,"option_name":"dry"}]},"7":{"name":"Officer","values":[{"text":"X"}]}}
[[nodiscard]] platform::Json DescribeValues(const std::vector<Value>& values, const Attributes& attributes);

/// The whole record as clients see it. Cameras get the names that the platform knows.
[[nodiscard]] platform::Json Describe(const Record& record, const Names& names);

}  // namespace desk
