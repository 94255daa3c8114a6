#include "FileManagerSettings.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "FileManagerLog.h"
#include "KelpUtils/RapidJsonProto.h"
#include "OrvBase/FileUtil.h"

namespace FileManager {
namespace {

constexpr char kSettingsPath[] = "META_INFO/filemanager.s/runtime_script/FileManager.json";
constexpr char kConnectionsKey[] = "/Connections";
constexpr char kRefusedKey[] = "/RefusedFileIDs";
constexpr char kDeadlineKey[] = "/DeadlineSeconds";
constexpr int kMaxConnections = 1000;
constexpr int kMaxDeadline = 60;

}  // namespace

std::string ReadSettings(Settings& settings, const std::string& text) {
  kelp::CRapidJsonProto document;
  if (!document.set_str(text)) return "no JSON";
  if (document.get_cnt(kConnectionsKey) != 0) settings.connections = document.get_int_v(kConnectionsKey, 0);
  if (settings.connections < 1 || settings.connections > kMaxConnections) return "Connections must be 1 to 1000";
  if (document.get_cnt(kDeadlineKey) != 0) settings.deadline_s = document.get_int_v(kDeadlineKey, 0);
  if (settings.deadline_s < 1 || settings.deadline_s > kMaxDeadline) return "DeadlineSeconds must be 1 to 60";
  const int count = document.get_cnt(kRefusedKey);
  for (int n = 1; n <= count; ++n) {
    const auto id = ParseFileId(document.get_v(kRefusedKey + ("[" + std::to_string(n)) + "]", ""));
    if (!id) return "entry " + std::to_string(n) + " of RefusedFileIDs is no file id";
    settings.refused_file_ids.insert(*id);
  }
  return {};
}

std::string ReadInstalledSettings(Settings& settings) {
  const std::string path = Orv::Base::FileUtil::GetCurExeDirUtf8() + kSettingsPath;
  std::error_code fault;
  if (!std::filesystem::exists(path, fault) && !fault) {
    FILE_MANAGER_LOG(kLogAnomaly, "No settings file %s: the defaults hold", path.c_str());
    return {};
  }
  std::ostringstream text;
  if (!(text << std::ifstream(path, std::ios::binary).rdbuf())) return path + ": cannot be read, or is empty";
  const std::string reason = ReadSettings(settings, text.str());
  return reason.empty() ? "" : path + ": " + reason;
}

}  // namespace FileManager
