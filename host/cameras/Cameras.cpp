#include "cameras/Cameras.h"

#include <algorithm>
#include <list>

#include "Database.h"
#include "RealBackends.h"
#include "platform/SqlText.h"

namespace host {
namespace {

namespace SqlText = platform::SqlText;
using Texts = std::list<std::string>;

constexpr std::size_t kRowsOfAStatement = 1000;

// The first statement's lock on the only row serializes changes of the list.
constexpr char kSqlBeginReplacing[] =
    "UPDATE platform.camera_list SET revision = revision + 1;"
    "UPDATE platform.devices SET listed = false WHERE listed;"
    "UPDATE platform.elements SET listed = false WHERE listed";

/// The texts before and after the rows of a statement.
struct PutWords {
  const char* begin;
  const char* end;
};

constexpr PutWords kSqlPutDevices{
    "INSERT INTO platform.devices (id, type, protocol, name) VALUES ",
    " ON CONFLICT (id) DO UPDATE SET type = excluded.type, protocol = excluded.protocol, name = excluded.name, "
    "listed = true"};

constexpr PutWords kSqlPutElements{
    "INSERT INTO platform.elements (id, name, device_id) VALUES ",
    " ON CONFLICT (id) DO UPDATE SET name = excluded.name, device_id = excluded.device_id, listed = true"};

std::string DeviceRow(const Device& device) {
  return SqlText::Format("(%d, %d, %d, %s)", device.id, device.type, device.protocol,
                         SqlText::Literal(device.name).c_str());
}

std::string ElementRow(const Element& element) {
  const auto device = element.device_id == kNoDevice ? "NULL" : std::to_string(element.device_id);
  return SqlText::Format("(%d, %s, %s)", element.id, SqlText::Literal(element.name).c_str(), device.c_str());
}

/// Statements that insert `records`, each with at most kRowsOfAStatement rows.
template <class Record>
Texts PutStatements(const std::vector<Record>& records, std::string (*row)(const Record&), const PutWords& words) {
  Texts texts;
  for (std::size_t first = 0; first < records.size(); first += kRowsOfAStatement) {
    const auto end = std::min(first + kRowsOfAStatement, records.size());
    std::string rows;
    for (std::size_t at = first; at < end; ++at)
      rows += (rows.empty() ? "" : ", ") + row(records[at]);
    texts.push_back(words.begin + rows + words.end);
  }
  return texts;
}

}  // namespace

std::string ReplaceCameras(const CameraList& list) {
  Texts texts{kSqlBeginReplacing};
  // Devices first, since elements reference them.
  texts.splice(texts.end(), PutStatements(list.devices, &DeviceRow, kSqlPutDevices));
  texts.splice(texts.end(), PutStatements(list.elements, &ElementRow, kSqlPutElements));
  const bool done =
      kelp::IDBManager::Instance()->ExecuteNoQueryList(platform::kPlatformDbId, kelp::IDBManager::kConfigClass, texts);
  return done ? "" : kNoAnswer;
}

// One statement, for one snapshot of the list. A row is a device, an element, or both.
constexpr char kSqlReadCameras[] =
    "SELECT d.id AS device_id, d.type, d.protocol, d.name AS device_name,"
    " e.id AS element_id, e.name AS element_name, e.device_id AS element_device_id"
    " FROM (SELECT * FROM platform.devices WHERE listed) d"
    " FULL JOIN (SELECT * FROM platform.elements WHERE listed) e ON e.device_id = d.id"
    " ORDER BY d.id, e.id";

bool ReadCameras(CameraList& list) {
  list = {};
  const bool answered = Query(kSqlReadCameras, [&list](kelp::IDBResultSet* rows) {
    for (; !rows->IsEof(); rows->Next()) {
      const int device = rows->GetInt("device_id");
      if (device != 0 && (list.devices.empty() || list.devices.back().id != device)) {
        list.devices.push_back(
            {device, rows->GetInt("type"), rows->GetInt("protocol"), rows->GetString("device_name")});
      }
      const int element = rows->GetInt("element_id");
      if (element == 0) continue;
      const int element_device = rows->GetInt("element_device_id");
      list.elements.push_back(
          {element, rows->GetString("element_name"), element_device == 0 ? kNoDevice : element_device});
    }
  });
  if (!answered) list = {};
  std::ranges::sort(list.elements, {}, &Element::id);
  return answered;
}

constexpr char kSqlReadCameraRevision[] = "SELECT revision FROM platform.camera_list";

bool ReadCameraRevision(std::string& revision) {
  return Query(kSqlReadCameraRevision,
               [&revision](kelp::IDBResultSet* rows) { revision = rows->GetString("revision"); });
}

}  // namespace host
