#include "impl/Evidence/EvidenceModule.h"

#include <array>

#include "Common/EvidenceLog.h"
#include "KelpPlatform/DBManager.h"
#include "KelpPlatform/MultiLanguageMgr.h"
#include "KelpPlatform/ThreadManager.h"
#include "KelpUtils/XmlProto.h"
#include "OrvBase/FileUtil.h"
#include "db_layer/DBLayerForBusiness.h"
#include "impl/Evidence/InstalledFile.h"
#include "usrservice/UsrServiceEvidence.h"

namespace Evidence {
namespace {

constexpr int kDefaultConfigConnections = 5;
constexpr int kDefaultLogConnections = 10;

constexpr char kConnsLimitPath[] = "META_INFO/casefile.s/runtime_script/ConnsLimit.xml";

struct ConnectionKeys {
  const char* config;
  const char* log;
};

/// By the server's size class, from 1.
constexpr std::array<ConnectionKeys, 3> kConnectionKeys{{
    {"/Configs/HighConfig/MaxConnForConfig", "/Configs/HighConfig/MaxConnForLog"},
    {"/Configs/MiddleConfig/MaxConnForConfig", "/Configs/MiddleConfig/MaxConnForLog"},
    {"/Configs/LowerConfig/MaxConnForConfig", "/Configs/LowerConfig/MaxConnForLog"},
}};

}  // namespace

const std::shared_ptr<CEvidenceModule>& CEvidenceModule::Instance() {
  static const auto instance = std::make_shared<CEvidenceModule>();
  return instance;
}

CEvidenceModule::CEvidenceModule()
    : manager_(std::make_shared<CEvidenceManager>()),
      user_interface_(std::make_shared<CEvidenceUserInterface>(manager_)) {}

bool CEvidenceModule::Initialize() {
  int config_connections = kDefaultConfigConnections;
  int log_connections = kDefaultLogConnections;
  if (!GetDbConnMaxMinNumByServerStandards(config_connections, log_connections)) {
    EVIDENCE_LOG(kLogFailure, "[%s]GetDbConnMaxMinNumByServerStandards Failed. [%s(%d)]");
  }
  if (!kelp::IDBManager::Instance()->Initialize(kPluginId, config_connections, log_connections, true)) {
    EVIDENCE_LOG(kLogFailure, "[%s]IDBManager Initialize failed.[%s(%d)]");
    return false;
  }
  EVIDENCE_LOG(kLogProgress, "[%s]IDBManager Finish.[%s(%d)]");
  if (!LoadMultiLanguage(std::string(kPluginId) + ".multi_language.xlsx")) {
    EVIDENCE_LOG(kLogFailure, "[%s]LoadMultiLanguage fail[%s(%d)]");
  }
  if (!manager_ || !manager_->Initialize()) {
    EVIDENCE_LOG(kLogFatal, "[%s]Evidence maganger failed to initialize.[%s(%d)]");  // sic
    return false;
  }
  if (!kelp::IThreadManager::Instance()->CreateMessageLoop(kMessageLoopKey)) {
    EVIDENCE_LOG(kLogFatal, "[%s]Evidence module failed to CreateMessageLoop.[%s(%d)]");
    return false;
  }
  CUsrServiceEvidence::Instance()->Init(user_interface_);
  return true;
}

void CEvidenceModule::Finalize() {
  CUsrServiceEvidence::Instance()->UnInit();
  kelp::IThreadManager::Instance()->DestroyMessageLoop(kMessageLoopKey);
  if (manager_) manager_->Finalize();
  kelp::IDBManager::Instance()->UnInitialize(kPluginId);
}

bool CEvidenceModule::LoadMultiLanguage(const std::string& /*file_name*/) {
  const std::string directory =
      Orv::Base::FileUtil::GetCurExeDirUtf8() + "META_INFO/" + kPluginId + "/runtime_script/locales";
  const auto language = kelp::IMultiLanguageMgr::Instance();
  if (!language->Load(kPluginId, directory)) {
    EVIDENCE_LOG(kLogFailure, "[%s]LoadMultiLanguage Failed, path:%s[%s(%d)]", directory.c_str());
    return false;
  }
  language->SetLanguage(kPluginId, "en");
  return true;
}

bool CEvidenceModule::GetDbConnMaxMinNumByServerStandards(int& config_connections, int& log_connections) {
  config_connections = kDefaultConfigConnections;
  log_connections = kDefaultLogConnections;
  const std::string path = Orv::Base::FileUtil::GetCurExeDirUtf8() + kConnsLimitPath;
  std::string text;
  if (!ReadFile(path, text)) {
    EVIDENCE_LOG(kLogFailure, "[%s]ReadFile fail ConnsLimit.xml, path = %s[%s(%d)]", path.c_str());
    return false;
  }
  int server_standard = 1;
  db_layer::CDBLayerForBusiness::GetServerStandardsForDBConnect(server_standard);
  kelp::CXmlProto limits;
  limits.set_str(text);
  if (server_standard < 1 || server_standard > static_cast<int>(kConnectionKeys.size())) {
    EVIDENCE_LOG(kLogFailure, "[%s]server_standard error , server_standard = %d[%s(%d)]", server_standard);
  } else {
    const auto& keys = kConnectionKeys[static_cast<std::size_t>(server_standard) - 1];
    config_connections = limits.get_int_v(keys.config, kDefaultConfigConnections);
    log_connections = limits.get_int_v(keys.log, kDefaultLogConnections);
  }
  EVIDENCE_LOG(kLogProgress, "[%s]GetDbConnMaxMinNumByServerStandards ConfigNum:[%d], LogNum:[%d][%s(%d)]",
               config_connections, log_connections);
  return true;
}

}  // namespace Evidence
