// Operators search the log by the names of operations: each line of an operation carries its name, also a line that a
// helper writes. One row drives lines of one operation; no line may carry a name that is not in the table.

#include <gmock/gmock.h>

#include <set>

#include "Common/CommonFun/TarnCommonFun.h"
#include "impl/Evidence/EvidenceModule.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/PrivateAESEncrypt.h"
#include "support/AuthenticationStub.h"
#include "unit/plugin/ScriptedPlatform.h"
#include "usrservice/UsrServiceEvidence.h"
#include "usrservice/UsrServiceEvidencePDU.h"

namespace {

using namespace Evidence;
using Manager = CEvidenceManager;
using Pdu = CEvidencePduJson;
using Service = CUsrServiceEvidence;
using Store = CEvidenceMgrDBByPG;
using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;
using scripted::Row;

/// A value of each type that an operation takes: lists hold one entry, ids are 5, texts are no JSON.
template <class T>
struct Sample {
  static T Make() { return T{}; }
};
template <>
struct Sample<std::int32_t> {
  static std::int32_t Make() { return 5; }
};
template <>
struct Sample<std::string> {
  static std::string Make() { return "{"; }
};
template <class T>
struct Sample<std::shared_ptr<T>> {
  static std::shared_ptr<T> Make() {
    auto record = std::make_shared<T>();
    if constexpr (std::is_same_v<T, _tag_Evidence_>) {
      record->id = 5;
      record->guid = record->name = "g";
      record->evidence_customs = {{8, "x", {{1, ""}}, 0, -1}};
    }
    if constexpr (std::is_same_v<T, _tag_EvidenceType_>) record->type_name = "t", record->type_id = 5;
    if constexpr (std::is_same_v<T, _tag_EvidenceFile_>) record->evidence_id = 5;
    if constexpr (std::is_same_v<T, tag_EvidenceCustom_>) {
      record->custom_name = "c";
      record->custom_id = 5;
      record->custom_options = {{1, "o"}};
    }
    return record;
  }
};
template <class T>
struct Sample<std::list<T>> {
  static std::list<T> Make() { return {Sample<T>::Make()}; }
};
template <class T>
struct Sample<std::vector<T>> {
  static std::vector<T> Make() { return {Sample<T>::Make()}; }
};
template <class Key, class T>
struct Sample<std::map<Key, T>> {
  static std::map<Key, T> Make() { return {{Sample<Key>::Make(), Sample<T>::Make()}}; }
};

/// A running plugin with the session "s", on a database that fails, has no rows, or has whatever is asked for.
struct World {
  class Accounts final : public evidence_test::AuthenticationStub {
   public:
    bool known = true;
    std::shared_ptr<TarnPlatform::Authentication::CUserSession> FindSession(const std::string& session) override {
      using TarnPlatform::Authentication::CUserSession;
      return known && session == "s" ? std::make_shared<CUserSession>(7, "alice", "10.0.0.7", 1) : nullptr;
    }
  };

  World() {
    (void)manager->Initialize();
    (void)service.Init(user_interface);
    Fails();
    platform.sink->Clear();
  }
  void Fails() {
    platform.db->answer = [](const auto&) { return std::nullopt; };
  }
  void Has(std::vector<Row> rows) {
    platform.db->answer = [rows](const auto&) { return rows; };
  }
  /// Statements with `part` fail; others find a row of every table, but no guid.
  void FailsAt(const std::string& part) {
    platform.db->answer = [part](const std::string& sql) -> std::optional<std::vector<Row>> {
      if (sql.find(part) != std::string::npos) return std::nullopt;
      if (sql.find("WHERE guid") != std::string::npos) return std::vector<Row>();
      if (sql.find("count(*)") != std::string::npos) return std::vector<Row>{{{"count", "0"}}};
      if (sql.starts_with("SELECT NEXTVAL")) return std::vector<Row>{{{"nextval", "9"}}};
      return std::vector<Row>{{{"ID", "5"}, {"id", "5"}, {"evidence_id", "5"}, {"guid", "h"}, {"custom_id", "8"}}};
    };
  }
  template <class Object, class Class, class Result, class... Args>
  static void Call(Object& object, Result (Class::*operation)(Args...)) {
    std::tuple<std::remove_cvref_t<Args>...> arguments{Sample<std::remove_cvref_t<Args>>::Make()...};
    std::apply([&](auto&... argument) { (void)(object.*operation)(argument...); }, arguments);
  }
  void Ask(int method, const std::string& path, const std::string& body, const std::string& session = "s") {
    kelp::SHttpRequest request;
    request.method_code = method;
    request.session_id = session;
    request.request_body = body;
    if (path.find("/ID") != std::string::npos) request.url_ids = {5};
    for (const auto& [url, callback] : platform.bus->callbacks)
      if (url.ends_with(path)) return callback(response, request);
    ADD_FAILURE() << "no route " << path;
  }
  void Api(void (Service::*handler)(const std::string&, const std::shared_ptr<IPluginCommData>&,
                                    std::shared_ptr<IPluginCommData>&),
           const std::string& text) {
    std::shared_ptr<IPluginCommData> reply;
    (service.*handler)("url", std::make_shared<CPluginCommData>(text, nullptr, 0), reply);
  }

  scripted::Platform platform;
  const std::shared_ptr<Accounts> accounts = std::make_shared<Accounts>();
  const platform::ScopedBackend<platform::IAuthenticationBackend> accounts_slot{accounts};
  Store store;
  const std::shared_ptr<Manager> manager = std::make_shared<Manager>();
  const std::shared_ptr<CEvidenceUserInterface> user_interface = std::make_shared<CEvidenceUserInterface>(manager);
  Pdu pdu{user_interface};
  Service service;
  kelp::SHttpResponse response;
};

struct Case {
  const char* operation;
  std::function<void(World&)> drive;
};

constexpr char kBatchLink[] =
    R"({"Request":{"EvidenceList":{"Evidence":[{"EvidenceID":5}]},"FileList":{"File":[{"FileID":1}]}}})";
constexpr char kBatchUnlink[] = R"({"Request":{"FileList":{"File":[{"FileID":1}]}}})";
constexpr char kDeletion[] = R"({"EvidenceDeleteReq":{"IDs":"5","UserList":{"User":[{"UserName":"alice"}]}}})";
constexpr char kNewEvidence[] = R"({"Evidence":{"Guid":"g","Name":"n","Status":1}})";
constexpr char kEvidenceOfPlugin[] = R"({"Request":{"Evidence":[{"Guid":"g","Name":"refused","Status":1}]}})";
constexpr char kFtpKeys[] = R"({"FTPSettings":{"Enable":"1","StorageInfo":{"Type":1}}})";

// An operation whose every read and statement fails.
#define FAILING(object, Class, operation)                                               \
  Case {                                                                                \
#Class "::" #operation, [](World & w) { World::Call(w.object, &Class::operation); } \
  }
// An operation that is given no cursor.
#define WITHOUT_CURSOR(operation)              \
  Case {                                       \
    "Store::" #operation, [](World& w) {       \
      w.Has({});                               \
      w.platform.db->has_cursor = false;       \
      World::Call(w.store, &Store::operation); \
    }                                          \
  }

const Case kCases[] = {
    {"Module::Initialize", [](World&) { (void)CEvidenceModule().Initialize(); }},
    {"Module::LoadMultiLanguage",
     [](World& w) { w.platform.language->load = false, (void)CEvidenceModule().LoadMultiLanguage(""); }},
    {"Module::GetDbConnMaxMinNumByServerStandards",
     [](World&) {
       int number = 0;
       (void)CEvidenceModule().GetDbConnMaxMinNumByServerStandards(number, number);
     }},
    {"CTarnCommonFun::CheckConfigPermission", [](World&) { (void)CTarnCommonFun::CheckConfigPermission("", 1); }},
    {"CTarnCommonFun::CheckOperatePermission",
     [](World& w) { w.platform.permissions->denied_cs = {1}, (void)CTarnCommonFun::CheckOperatePermission("s", 1); }},
    {"PrivateEncrypt::PrivateAESDecrypt",
     [](World&) {
       std::string text;
       (void)PrivateEncrypt::PrivateAESDecrypt(text, "QQ==");
     }},
    // Manager
    {"Manager::Initialize", [](World&) { (void)Manager().Initialize(); }},
    {"Manager::Finalize", [](World& w) { w.manager->Finalize(); }},
    {"Manager::AddEvidence", [](World& w) { (void)w.manager->AddEvidence(std::make_shared<_tag_Evidence_>()); }},
    {"Manager::AddEvidence", [](World& w) { w.FailsAt("INSERT"), World::Call(*w.manager, &Manager::AddEvidence); }},
    {"Manager::HasRoamlinkCamera", [](World&) { (void)Manager::HasRoamlinkCamera("1"); }},
    {"Manager::IsCamerasInSameDevice", [](World& w) { w.platform.elements->Add(1, -1), (void)Manager::IsCamerasInSameDevice("1"); }},
    FAILING(manager.operator*(), Manager, UpdateEvidence),
    {"Manager::UpdateEvidence",
     [](World& w) { w.FailsAt("UPDATE"), World::Call(*w.manager, &Manager::UpdateEvidence); }},
    {"Manager::UpdateEvidences",
     [](World& w) { w.FailsAt("UPDATE"), World::Call(*w.manager, &Manager::UpdateEvidences); }},
    FAILING(manager.operator*(), Manager, GetEvidenceByID),
    {"Manager::GetEvidenceByID",
     [](World& w) { w.FailsAt("evidence_option"), World::Call(*w.manager, &Manager::GetEvidenceByID); }},
    FAILING(manager.operator*(), Manager, GetEvidenceByIDs),
    FAILING(manager.operator*(), Manager, GetEvidenceByGuid),
    FAILING(manager.operator*(), Manager, GetEvidencesCount),
    FAILING(manager.operator*(), Manager, DelEvidences),
    {"Manager::DelEvidences", [](World& w) { w.FailsAt("none"), World::Call(*w.manager, &Manager::DelEvidences); }},
    {"Manager::QueryEvidences", [](World& w) { w.Has({}), World::Call(*w.manager, &Manager::QueryEvidences); }},
    {"Manager::QueryEvidences",
     [](World& w) { w.FailsAt("custom_info"), World::Call(*w.manager, &Manager::QueryEvidences); }},
    FAILING(manager.operator*(), Manager, InsertEvidenceFiles),
    {"Manager::InsertEvidenceFiles",
     [](World& w) { w.FailsAt("INSERT"), World::Call(*w.manager, &Manager::InsertEvidenceFiles); }},
    FAILING(manager.operator*(), Manager, UpdateEvidenceFiles),
    FAILING(manager.operator*(), Manager, GetEvidenceFilesCount),
    FAILING(manager.operator*(), Manager, GetEvidenceFileByFileID),
    {"Manager::QueryEvidenceFiles",
     [](World& w) {
       std::list<EvidenceFilePtr> files;
       (void)w.manager->QueryEvidenceFiles(files, 5, "", "");
     }},
    FAILING(manager.operator*(), Manager, GetEvidenceTypeByName),
    FAILING(manager.operator*(), Manager, InsertEvidenceTypes),
    FAILING(manager.operator*(), Manager, ModifyEvidenceTypes),
    {"Manager::InsertEvidenceTypes",
     [](World& w) {
       w.FailsAt("none");
       w.platform.system_and_log->refused = true;
       World::Call(*w.manager, &Manager::InsertEvidenceTypes);
     }},
    FAILING(manager.operator*(), Manager, DeleteEvidenceTypes),
    FAILING(manager.operator*(), Manager, GetEvidenceCustomByName),
    FAILING(manager.operator*(), Manager, InsertEvidenceCustoms),
    FAILING(manager.operator*(), Manager, ModifyEvidenceCustoms),
    {"Manager::ModifyEvidenceCustoms",
     [](World& w) {
       w.FailsAt("none");
       World::Call(*w.manager, &Manager::InsertEvidenceCustoms);
       w.FailsAt("evidence_option");
       const auto custom = Sample<EvidenceCustomPtr>::Make();
       custom->custom_id = 9;
       std::list<ErrorPtr> errors;
       w.platform.sink->Clear();
       EXPECT_FALSE(w.manager->ModifyEvidenceCustoms(errors, {custom}));
       EXPECT_TRUE(w.platform.sink->Has(5, "CEvidenceManager::ModifyEvidenceCustoms]Delete custom option failed"));
     }},
    FAILING(manager.operator*(), Manager, DeleteEvidenceCustoms),
    {"Manager::GetIncreEvidenceTypes",
     [](World& w) { w.platform.increments->refused = true, World::Call(*w.manager, &Manager::GetIncreEvidenceTypes); }},
    {"Manager::GetIncreEvidenceTypes",
     [](World& w) {
       w.platform.increments->changes = {nullptr};
       World::Call(*w.manager, &Manager::GetIncreEvidenceTypes);
     }},
    {"Manager::GetIncreEvidenceCustoms",
     [](World& w) {
       w.platform.increments->refused = true, World::Call(*w.manager, &Manager::GetIncreEvidenceCustoms);
     }},
    {"Manager::AddIncreResource",
     [](World& w) { w.platform.system_and_log->refused = true, (void)w.manager->AddIncreResource(1, 1, 1); }},
    FAILING(manager.operator*(), Manager, APILinkFile),
    FAILING(manager.operator*(), Manager, DecodeLinkFileReq),
    FAILING(manager.operator*(), Manager, DeleteFromMap),
    {"Manager::WriteEvidenceLog", [](World& w) { (void)w.manager->WriteEvidenceLog({{}}, ""); }},
    FAILING(manager.operator*(), Manager, GetEvidenceLog),
    FAILING(manager.operator*(), Manager, GetDataByKey),
    // Store
    {"Store::QueryLastSeqID", [](World& w) { (void)w.store.QueryEvidenceSeqID(); }},
    FAILING(store, Store, InsertEvidence),
    FAILING(store, Store, UpdateEvidence),
    FAILING(store, Store, DeleteEvidences),
    FAILING(store, Store, DeleteEvidenceTypeInEvidence),
    FAILING(store, Store, QueryAllEvidences),
    FAILING(store, Store, GetEvidenceByID),
    WITHOUT_CURSOR(GetEvidenceByID),
    FAILING(store, Store, GetEvidenceByGuid),
    WITHOUT_CURSOR(GetEvidenceByGuid),
    FAILING(store, Store, GetEvidenceByIDs),
    FAILING(store, Store, GetEvidencesCount),
    FAILING(store, Store, GetEvidenceLabel),
    FAILING(store, Store, UpdateCameraUploadStatus),
    FAILING(store, Store, UpdateCameraUploadSuccList),
    FAILING(store, Store, QueryEvidences),
    FAILING(store, Store, ReadAllEvidenceTypes),
    FAILING(store, Store, InsertEvidenceTypes),
    FAILING(store, Store, UpdateEvidenceTypes),
    FAILING(store, Store, DeleteEvidenceTypes),
    FAILING(store, Store, QueryEvidenceTypeNameById),
    FAILING(store, Store, ReadAllEvidenceScenes),
    FAILING(store, Store, InsertEvidenceScenes),
    FAILING(store, Store, UpdateEvidenceScenes),
    FAILING(store, Store, DeleteEvidenceScenes),
    FAILING(store, Store, QueryEvidenceSceneNameById),
    FAILING(store, Store, ReadAllEvidenceOutcomes),
    FAILING(store, Store, InsertEvidenceOutcomes),
    FAILING(store, Store, UpdateEvidenceOutcomes),
    FAILING(store, Store, DeleteEvidenceOutcomes),
    FAILING(store, Store, QueryEvidenceOutcomeNameById),
    FAILING(store, Store, ReadAllEvidenceCustoms),
    FAILING(store, Store, InsertEvidenceCustoms),
    FAILING(store, Store, UpdateEvidenceCustoms),
    FAILING(store, Store, DeleteEvidenceCustoms),
    FAILING(store, Store, InsertEvidenceCustomInfo),
    FAILING(store, Store, UpdateEvidenceCustomInfo),
    FAILING(store, Store, DeleteEvidenceCustomInfo),
    FAILING(store, Store, DeleteEvidenceCustomInfoByCustomID),
    FAILING(store, Store, GetEvidenceCustomByID),
    WITHOUT_CURSOR(GetEvidenceCustomByID),
    FAILING(store, Store, QueryEvidenceCustomNameById),
    FAILING(store, Store, ReadAllCustomOptions),
    WITHOUT_CURSOR(ReadAllCustomOptions),
    FAILING(store, Store, InsertOptionsByCustom),
    FAILING(store, Store, GetOptionsByCustom),
    WITHOUT_CURSOR(GetOptionsByCustom),
    FAILING(store, Store, DeleteOptionsByCustom),
    FAILING(store, Store, InsertOptions),
    FAILING(store, Store, UpdatetOptions),
    FAILING(store, Store, DeleteOptions),
    {"Store::GetEvidenceCustomInfo",
     [](World& w) {
       std::map<std::int32_t, std::vector<tag_EvidenceCustom_>> values;
       (void)w.store.GetEvidenceCustomInfo(values, {5});
     }},
    {"Store::QueryEvidenceFiles",
     [](World& w) {
       std::map<std::int32_t, std::list<EvidenceFilePtr>> files;
       (void)w.store.QueryEvidenceFiles(files, {5});
     }},
    FAILING(store, Store, InsertEvidenceFiles),
    FAILING(store, Store, DeleteEvidenceFiles),
    FAILING(store, Store, ModiyfEvidenceFileDigest),
    FAILING(store, Store, DeleteEvidenceFilesByEvidenceId),
    FAILING(store, Store, QueryUnRelatedEvidenceFiles),
    FAILING(store, Store, GetEvidenceFilesCount),
    FAILING(store, Store, QueryUnRelatedEvidenceFilesNum),
    FAILING(store, Store, GetEvidenceIDAndFileNameByFileID),
    FAILING(store, Store, GetEvidenceFileByFileID),
    FAILING(store, Store, WriteEvidenceLog),
    FAILING(store, Store, GetEvidenceLog),
    FAILING(store, Store, GetFTPSettings),
    WITHOUT_CURSOR(GetFTPSettings),
    {"Store::GetFTPSettings",
     [](World& w) { w.Has({{{"password", "QQ=="}}}), World::Call(w.store, &Store::GetFTPSettings); }},
    FAILING(store, Store, UpdateFTPSettings),
    // Messages
    FAILING(pdu, Pdu, DecodeEvidencePostReq),
    {"Pdu::DecodeEvidencePostReq",
     [](World& w) {
       EvidencePtr evidence;
       (void)w.pdu.DecodeEvidencePostReq(evidence, "unknown", "{}");
     }},
    FAILING(pdu, Pdu, DecodeEvidenceIDPutReq),
    FAILING(pdu, Pdu, DecodeEvidencePutReq),
    FAILING(pdu, Pdu, DecodeEvidenceGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceIDGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceDeleteReq),
    FAILING(pdu, Pdu, DecodeEvidenceIDDeleteReq),
    FAILING(pdu, Pdu, EncodeEvidenceGetRsp),
    FAILING(pdu, Pdu, DecodeEvidenceTypeGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceTypePutReq),
    FAILING(pdu, Pdu, DecodeEvidenceTypeIDPutReq),
    FAILING(pdu, Pdu, DecodeEvidenceSceneGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceScenePutReq),
    FAILING(pdu, Pdu, DecodeEvidenceSceneIDPutReq),
    FAILING(pdu, Pdu, DecodeEvidenceOutcomeGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceOutcomePutReq),
    FAILING(pdu, Pdu, DecodeEvidenceOutcomeIDPutReq),
    FAILING(pdu, Pdu, DecodeEvidenceCustomGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceCustomPutReq),
    FAILING(pdu, Pdu, EncodeEvidenceCustomGetRsp),
    FAILING(pdu, Pdu, DecodeEvidenceIDFilesPostReq),
    FAILING(pdu, Pdu, DecodeUnrelatedFilesGetReq),
    FAILING(pdu, Pdu, DecodeUploadCancelReq),
    FAILING(pdu, Pdu, DecodeUploadStatusGetReq),
    FAILING(pdu, Pdu, DecodeEvidenceFilesDeleteReq),
    FAILING(pdu, Pdu, DecodeModifyEvidenceFilesDigestPutReq),
    FAILING(pdu, Pdu, DecodeWriteEvidenceLogPostReq),
    FAILING(pdu, Pdu, DecodeFTPSettingsPutReq),
    {"Pdu::DecodeFTPSettingsPutReq",
     [](World& w) {
       FTPSettingsPtr settings;
       (void)w.pdu.DecodeFTPSettingsPutReq(settings, "s", kFtpKeys);
     }},
    FAILING(pdu, Pdu, DecodeEvidenceSettingsPutReq),
    {"Pdu::EncodeFTPSettingsGetRsp",
     [](World& w) {
       const auto settings = std::make_shared<_tag_FTPSettings_>();
       settings->password = "p";
       std::string text;
       (void)w.pdu.EncodeFTPSettingsGetRsp(text, "s", {}, settings);
     }},
    {"Pdu::EncodeEvidenceSettingsGetRsp",
     [](World& w) {
       std::string text;
       (void)w.pdu.EncodeEvidenceSettingsGetRsp(text, "s", {}, nullptr);
     }},
    FAILING(pdu, Pdu, DecodeAPIEvidencePUTReq),
    FAILING(pdu, Pdu, DecodeAPIEvidenceTypePostReq),
    {"Pdu::EncodeAPIEvidencePutRsp",
     [](World& w) {
       std::string text;
       (void)w.pdu.EncodeAPIEvidencePutRsp(text, {}, {{nullptr, {}}});
     }},
    {"Pdu::EncodeAPIEvidenceTypePostRsp",
     [](World& w) {
       std::string text;
       (void)w.pdu.EncodeAPIEvidenceTypePostRsp(text, {}, {}, {nullptr});
     }},
    {"Pdu::UpdateEvidenceInfo",
     [](World& w) {
       std::string text;
       (void)w.pdu.EncodeEvidencePostRsp(text, {}, std::make_shared<_tag_Evidence_>());
     }},
    // Service
    {"Service::Init", [](World& w) { (void)w.service.Init(w.user_interface); }},
    {"Service::RegisterUrlToPlatform",
     [](World& w) { w.platform.adapter->bus = nullptr, (void)w.service.Init(w.user_interface); }},
    {"Service::RegisterAPI",
     [](World& w) { w.platform.adapter->bus = nullptr, (void)w.service.Init(w.user_interface); }},
    {"Service::UnRegisterAPI",
     [](World& w) { w.platform.comm->refused = {"/API/Evidence/V1/Evidence"}, w.service.UnInit(); }},
    {"Service::Evidence_Evidence", [](World& w) { w.Ask(1, "/V1/Evidence", "{}"); }},
    {"Service::Evidence_Evidence_ID_Files", [](World& w) { w.Ask(2, "/V1/Evidence/ID/Files", "{}"); }},
    {"Service::Evidence_FilesBatchLinkEvidences", [](World& w) { w.Ask(3, "/BatchLinks", "{}"); }},
    {"Service::ProcEvidencePost",
     [](World& w) { w.FailsAt("operation_log"), w.Ask(2, "/V1/Evidence", kNewEvidence); }},
    {"Service::ProcEvidencePut", [](World& w) { w.Ask(1, "/V1/Evidence", "{}", "unknown"); }},
    {"Service::ProcEvidenceIDPut",
     [](World& w) { w.FailsAt("operation_log"), w.Ask(1, "/V1/Evidence/ID", kNewEvidence); }},
    {"Service::ProcEvidenceDelete", [](World& w) { w.Ask(3, "/V1/Evidence", kDeletion); }},
    {"Service::ProcEvidenceDelete",
     [](World& w) {
       std::string ids;
       for (int n = 0; n < 10'001; ++n)
         ids += "1,";
       w.Ask(3, "/V1/Evidence", R"({"EvidenceDeleteReq":{"IDs":")" + ids + "\"}}");
     }},
    {"Service::ProcEvidenceIDDelete", [](World& w) { w.Ask(3, "/V1/Evidence/ID", kDeletion); }},
    {"Service::CheckUsersDelEvidencePerm", [](World& w) { w.Ask(3, "/V1/Evidence/ID", "{}"); }},
    {"Service::ProcEvidenceCustomGet", [](World& w) { w.Ask(4, "/Evidence/Custom", "{"); }},
    {"Service::ProcEvidenceCustomPut", [](World& w) { w.Ask(1, "/Evidence/Custom", "{"); }},
    {"Service::ProcEvidenceIDFilesPost",
     [](World& w) {
       w.FailsAt("operation_log");
       w.platform.comm->answer = [](const auto&, const auto&, auto& reply) {
         reply = std::make_shared<CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", nullptr, 0);
       };
       w.Ask(2, "/V1/Evidence/ID/Files", R"({"FileList":{"File":[{"ID":1,"FileName":"f"}]}})");
     }},
    {"FileBatchLinkDecode", [](World& w) { w.Ask(2, "/BatchLinks", "{"); }},
    {"Service::FileBatchLinkEvidencesPOST", [](World& w) { w.Ask(2, "/BatchLinks", "{}"); }},
    {"Service::FileBatchLinkEvidencesPUT", [](World& w) { w.Ask(1, "/BatchLinks", kBatchLink); }},
    {"Service::FileBatchLinkEvidencesPUT", [](World& w) { w.Ask(1, "/BatchLinks", kBatchUnlink); }},
    {"Service::FilesBatchLinkEvidence",
     [](World& w) {
       w.FailsAt("operation_log");
       w.platform.comm->answer = [](const auto&, const auto&, auto& reply) {
         reply = std::make_shared<CPluginCommData>(R"({"ResponseStatus":{"ErrorModule":0,"ErrorCode":0}})", nullptr, 0);
       };
       w.Ask(2, "/BatchLinks", kBatchLink);
     }},
    {"Service::WriteLog", [](World& w) { (void)w.service.WriteLog("s", 1, 1, std::string("refused"), {}, ""); }},
    {"Service::ParseEvidenceLog",
     [](World& w) {
       std::vector<operation_record> records;
       (void)w.service.ParseEvidenceLog(records, {}, 1, std::make_shared<_tag_Evidence_>(), "unknown");
     }},
    {"Service::ParsePutEvidenceLog",
     [](World& w) {
       operation_record record;
       (void)w.service.ParsePutEvidenceLog(record, 1, "unknown");
     }},
    {"Service::DelEvidenceLog",
     [](World& w) {
       std::vector<operation_record> records;
       (void)w.service.DelEvidenceLog(records, 3, {}, "unknown");
     }},
    {"Service::ProcOperationLogPost", [](World& w) { w.Ask(2, "/Evidence/OperationLog", R"({"OperationLog":[{}]})"); }},
    {"ProcRequestSTDFlow", [](World& w) { w.Ask(2, "/Evidence/OperationLog", "{"); }},
    {"Service::Evidence_Evidence_API", [](World& w) { w.Api(&Service::Evidence_Evidence_API, "{}"); }},
    {"Service::Evidence_Evidence_API",
     [](World& w) { w.FailsAt("evidence.evidence WHERE guid"), w.Api(&Service::Evidence_Evidence_API, kEvidenceOfPlugin); }},
    {"Service::Evidence_Evidence_Type_API", [](World& w) { w.Api(&Service::Evidence_Evidence_Type_API, "{}"); }},
};

/// The name as the log has it.
std::string FullName(const std::string& operation) {
  static const std::map<std::string, std::string> classes{{"Module", "CEvidenceModule"},
                                                          {"Manager", "CEvidenceManager"},
                                                          {"Store", "CEvidenceMgrDBByPG"},
                                                          {"Pdu", "CEvidencePduJson"},
                                                          {"Service", "CUsrServiceEvidence"}};
  const auto colon = operation.find(':');
  const auto found = classes.find(operation.substr(0, colon));
  if (found != classes.end()) return "Evidence::" + found->second + operation.substr(colon);
  return operation.starts_with("PrivateEncrypt") ? operation : "Evidence::" + operation;
}

TEST(OperationNames, EachLineCarriesTheNameOfItsOperation) {
  std::set<std::string> all;
  for (const auto& [operation, drive] : kCases)
    all.insert(FullName(operation));
  for (const auto& [operation, drive] : kCases) {
    World world;
    drive(world);
    std::set<std::string> named;
    for (const auto& line : world.platform.sink->Lines()) {
      if (!line.tag.starts_with("casefile.s")) continue;
      const auto name = line.text.substr(1, line.text.find(']') - 1);
      EXPECT_TRUE(all.contains(name)) << name << " is no operation: " << line.text.substr(0, 200);
      named.insert(name);
    }
    EXPECT_TRUE(named.contains(FullName(operation)))
        << operation << " wrote no line: " << testing::PrintToString(named);
  }
}

}  // namespace
