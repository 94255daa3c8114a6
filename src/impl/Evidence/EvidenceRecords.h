#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The records passed between the layers, by shared pointer. Names follow the columns and the wire keys, misspellings
/// included. Integers default to -1 where -1 means "none" or "all". Times are texts.
namespace Evidence {

// Dictionaries

/// An entry of the evidence type dictionary. Immutable once it is in the manager's cache.
struct _tag_EvidenceType_ {
  std::int32_t type_id = -1;
  std::string type_name;
};

struct tag_EvidenceScene_ {
  std::int32_t scene_id = -1;
  std::string type_name;
};

struct tag_EvidenceOutcome_ {
  std::int32_t outcome_id = -1;
  std::string type_name;
};

/// A choice of a custom attribute.
struct tag_EvidenceOption_ {
  std::int32_t option_id = -1;
  std::string option_name;
};

/// `custom_type` of an attribute of free text, which has no options.
inline constexpr std::int32_t kCustomFreeText = 1;

/// A custom attribute, or its value in one evidence: then the options are the chosen ones. Immutable once it is in the
/// manager's cache.
struct tag_EvidenceCustom_ {
  std::int32_t custom_id = -1;
  std::string custom_name;
  std::vector<tag_EvidenceOption_> custom_options;
  std::int32_t custom_type = 0;
  /// Requested by a change; in no column.
  std::int32_t modify_type = -1;
};

// Evidences

struct tag_EvidenceCreator_ {
  std::int32_t id = -1;
  std::string name;
};

/// A camera of an evidence as the platform knows it.
struct tag_CameraInfo_ {
  std::int32_t camera_id = -1;
  std::string device_name;
  std::string element_name;
  /// Never set.
  std::string reserved;
};

struct _tag_Evidence_ {
  std::int32_t id = -1;
  std::string guid;
  std::string name;
  _tag_EvidenceType_ evidence_type;
  tag_EvidenceScene_ scene;
  tag_EvidenceOutcome_ outcome;
  std::vector<tag_EvidenceCustom_> evidence_customs;
  std::int32_t evidence_status = 1;
  std::string evidence_desc;
  tag_EvidenceCreator_ create_user;
  /// ISO text, local with offset.
  std::string create_time;
  std::string evidence_begin_time;
  std::string evidence_end_time;
  /// Labels joined by "|".
  std::string label;
  std::int32_t add_mode = -1;
  /// Element ids joined by ",".
  std::string releated_camera_ids;  // sic
  std::int32_t upload_mode = -1;
  std::string upload_begin_time;
  std::string upload_end_time;
  std::string record_begin_time;
  std::string record_end_time;
  std::int32_t upload_status = -1;
  std::string succeed_camera_ids;
  std::string cad_id;
  /// Resolved above the store.
  std::vector<tag_CameraInfo_> camera_infos;
};

/// Values of `delete_flag`.
inline constexpr std::int32_t kLinkFlag = 0;
inline constexpr std::int32_t kUnlinkFlag = 1;

struct _tag_EvidenceFile_ {
  /// Requested by a file batch; in no column.
  std::int32_t delete_flag = kLinkFlag;
  std::int32_t id = -1;
  std::int32_t file_type = 1;
  std::string file_name;
  std::string file_path;
  /// ISO texts, local with offset.
  std::string begin_time;
  std::string end_time;
  std::int32_t time_offset = -1;
  std::int32_t evidence_id = -1;
  std::string guid;
  std::string digest;
  /// In no column and no message.
  std::int32_t upload_state = 0;
};

struct _tag_FTPSettings_ {
  bool enable = true;
  std::int32_t type = 0;
  std::string address;
  std::int32_t port = 0;
  std::string username;
  /// In plain text here; encrypted in the table and on the wire.
  std::string password;
  std::string path;
  std::int32_t storage_type = 1;
  std::string pool_name;
};

// Filters and pages

/// Filter of evidence and unrelated-file queries; empty texts and -1 do not filter.
struct _tag_EvidenceFilterInfo_ {
  std::string guid;
  std::string keyword;
  /// Which columns the keyword searches.
  std::int32_t keyword_type = -1;
  std::int32_t evidence_type_id = -1;
  std::int32_t scene_id = -1;
  std::int32_t outcome_id = -1;
  std::string create_start_time;
  std::string create_end_time;
  std::string evidence_begin_start_time;
  std::string evidence_begin_end_time;
  std::string evidence_end_start_time;
  std::string evidence_end_end_time;
  /// 1 compares the local creation time, any other value UTC.
  std::int32_t time_type = 0;
  /// 8 means the list in `assemble_types`.
  std::int32_t file_type = -1;
  std::string assemble_types;
  std::int32_t status = -1;
  std::int32_t page_index = -1;
  std::int32_t page_size = -1;
  std::int32_t add_mode = -1;
  /// 1 to 14; any other value sorts by creation.
  std::int32_t sort_type = -1;
};

/// Filter of a dictionary query; empty parts do not filter.
struct _tag_EvidenceAttributeFilterInfo_ {
  /// Part of the name.
  std::string name;
  std::vector<std::int32_t> ids;
};

/// Paging of a list. -1 in PageIndex or PageSize: not paged. PageIndex counts from 1.
struct page_info {
  std::int32_t total = 0;
  std::int32_t PageIndex = -1;
  std::int32_t PageSize = -1;
};

// Batches, users, history

/// One refused entry of a batch.
struct _tag_Error_ {
  std::int32_t id = -1;
  std::string name;
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
};

/// One evidence of a status batch.
struct _tag_EvidenceErrInfo_ {
  std::int32_t id = -1;
  std::string guid;
  std::string name;
  std::int32_t sub_code = 0;
};

/// A user who confirms with a password, or a text with its key.
struct _tag_User_ {
  std::string name;
  /// Encrypted by the client.
  std::string password;
};

/// Values of `mod_type`: which field changed.
enum ChangedField : std::int32_t {
  kPlainEntry = -1,  // no change; the entry's object is in `before_mod`
  kNameChanged = 1,
  kTypeChanged = 2,
  kStatusChanged = 5,
  kDescChanged = 6,
  kLabelChanged = 7,
  kCadIdChanged = 10,
  kBeginTimeChanged = 11,
  kEndTimeChanged = 12,
  kCustomChanged = 13,
  kGuidChanged = 14,
};

/// What one operation changed in an evidence.
struct change_item {
  std::string file_name;
  std::int32_t mod_type = kPlainEntry;
  std::int32_t before_id = -1;
  std::string before_mod;
  std::int32_t after_id = -1;
  std::string after_mod;
  /// Groups the items of one edit while they are in memory; not stored.
  std::string guid;
};

/// One entry of an evidence's history.
struct operation_record {
  std::int32_t evidence_id = -1;
  /// ISO text; set on reading.
  std::string occur_time;
  /// 1 for a device entry; set on reading.
  std::int32_t is_device = 0;
  /// The user, or the camera of a device entry.
  std::string user_name;
  std::string dev_name;
  std::string user_ip;
  /// Set on reading.
  std::int32_t client_type = -1;
  std::int32_t operation_type = 0;
  std::vector<change_item> change_items;
};

using EvidenceTypePtr = std::shared_ptr<_tag_EvidenceType_>;
using EvidenceScenePtr = std::shared_ptr<tag_EvidenceScene_>;
using EvidenceOutcomePtr = std::shared_ptr<tag_EvidenceOutcome_>;
using EvidenceCustomPtr = std::shared_ptr<tag_EvidenceCustom_>;
using EvidencePtr = std::shared_ptr<_tag_Evidence_>;
using EvidenceFilePtr = std::shared_ptr<_tag_EvidenceFile_>;
using EvidenceFilterPtr = std::shared_ptr<_tag_EvidenceFilterInfo_>;
using FTPSettingsPtr = std::shared_ptr<_tag_FTPSettings_>;
using ErrorPtr = std::shared_ptr<_tag_Error_>;
using EvidenceErrInfoPtr = std::shared_ptr<_tag_EvidenceErrInfo_>;
using UserPtr = std::shared_ptr<_tag_User_>;

using IdList = std::list<std::int32_t>;
using IdVector = std::vector<std::int32_t>;
/// Evidences with the files to be linked to each, in request order.
using EvidenceFilesMap = std::vector<std::pair<EvidencePtr, std::list<EvidenceFilePtr>>>;

}  // namespace Evidence
