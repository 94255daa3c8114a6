// Operators search the log by the names of operations: each line of an operation carries its name, also a line that a
// helper writes. One row drives lines of one operation; no line may carry a name that is not in the table.

#include <gmock/gmock.h>

#include <set>

#include "Common/CommonFun/TarnCommonFun.h"
#include "impl/Evidence/EvidenceModule.h"
#include "impl/Evidence/EvidenceSession/EvidenceMgrDB.h"
#include "impl/Evidence/PrivateAESEncrypt.h"
#include "support/Decoders.h"
#include "unit/plugin/HandlerTest.h"

namespace {

using namespace Evidence;
using namespace handler_test;
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
    if constexpr (std::is_same_v<T, _tag_FTPSettings_>) record->password = "p";
    if constexpr (std::is_same_v<T, tag_EvidenceCustom_>) *record = {5, "c", {{1, "o"}}, 0, -1};
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

/// A running plugin on a database that fails, has no rows, or has the rows of the case; files are never linked.
struct World : HandlerTest {
  World() {
    SetUp();
    platform_.comm->answer = nullptr;
    platform_.sink->Clear();
    FailsAt("");
  }
  void Has(const std::vector<Row>& rows) {
    platform_.db->answer = [rows](const auto&) { return rows; };
  }
  /// Statements with `part` fail; others find a row of each table, but no guid.
  void FailsAt(const std::string& part) {
    platform_.db->answer = [part](const std::string& sql) -> std::optional<std::vector<Row>> {
      if (sql.find(part) != std::string::npos) return std::nullopt;
      if (sql.find("WHERE guid") != std::string::npos) return std::vector<Row>();
      if (sql.find("count(*)") != std::string::npos) return std::vector<Row>{{{"count", "0"}}};
      if (sql.starts_with("SELECT NEXTVAL")) return std::vector<Row>{{{"nextval", "9"}}};
      const Row ids{{"id", "5"}, {"evidence_id", "5"}, {"evidence_type_id", "77"}, {"custom_id", "8"}, {"guid", "h"}};
      return std::vector<Row>{ids};
    };
  }
  void LinksFiles() {
    platform_.comm->answer = [](const auto&, const auto&, auto& reply) {
      reply = std::make_shared<CPluginCommData>(evidence_test::kLinked, nullptr, 0);
    };
  }
  /// Calls an operation with a sample of each argument; texts are `text`.
  template <class Class, class Result, class... Args>
  void Call(Result (Class::*operation)(Args...), const std::string& text = "{") {
    auto& object = std::get<Class&>(std::tie(manager_, store, pdu_, service_));
    std::tuple<std::remove_cvref_t<Args>...> arguments{Sample<std::remove_cvref_t<Args>>::Make()...};
    const auto set_text = [&text](auto& argument) {
      if constexpr (std::is_same_v<decltype(argument), std::string&>) argument = text;
    };
    std::apply([&](auto&... argument) { (set_text(argument), ..., (void)(object.*operation)(argument...)); },
               arguments);
  }
  void Api(void (Service::*handler)(const std::string&, const std::shared_ptr<IPluginCommData>&,
                                    std::shared_ptr<IPluginCommData>&),
           const std::string& text) {
    std::shared_ptr<IPluginCommData> reply;
    (service_.*handler)("url", std::make_shared<CPluginCommData>(text, nullptr, 0), reply);
  }
  void TestBody() override {}

  using HandlerTest::manager_, HandlerTest::pdu_, HandlerTest::platform_, HandlerTest::response_, HandlerTest::Send,
      HandlerTest::service_, HandlerTest::user_interface_;
  Store store;
};

struct Case {
  const char* operation;
  std::function<void(World&)> drive;
};

/// A request on a database on which the statements with `failing` fail.
Case Asked(const char* operation, const std::string& route, const std::string& body, const std::string& failing = "",
           const std::string& session = "s") {
  return {operation, [=](World& w) {
            w.FailsAt(failing);
            w.LinksFiles();
            (void)w.Send(route, body, session);
          }};
}

const std::string kNewEvidence = R"({"Evidence":{"Guid":"g","Name":"n","Status":1}})";
const std::string kEvidenceOfPlugin = R"({"Request":{"Evidence":[{"Guid":"g","Name":"refused","Status":1}]}})";
const std::string kFtpKeys = R"({"FTPSettings":{"Enable":"1","StorageInfo":{"Type":1}}})";

// ROWS(make, x, a, b, ...) is make(x, a) make(x, b) ...; each level of EXPAND rescans four times as often.
#define EXPAND(...) EXPAND_64(EXPAND_64(EXPAND_64(EXPAND_64(__VA_ARGS__))))
#define EXPAND_64(...) EXPAND_16(EXPAND_16(EXPAND_16(EXPAND_16(__VA_ARGS__))))
#define EXPAND_16(...) EXPAND_4(EXPAND_4(EXPAND_4(EXPAND_4(__VA_ARGS__))))
#define EXPAND_4(...) __VA_ARGS__
#define PARENTHESES ()
#define NEXT_ROW() ONE_ROW
#define ONE_ROW(make, x, operation, ...) make(x, operation) __VA_OPT__(NEXT_ROW PARENTHESES(make, x, __VA_ARGS__))
#define ROWS(make, x, ...) EXPAND(ONE_ROW(make, x, __VA_ARGS__))

// Operations of a class while every read and statement fails.
#define FAILING(Class, ...) ROWS(FAILING_ROW, Class, __VA_ARGS__)
#define FAILING_ROW(Class, operation) {#Class "::" #operation, [](World& w) { w.Call(&Class::operation); }},
// Operations of the manager while the statements with `part` fail.
#define FAILING_AT(part, ...) ROWS(FAILING_AT_ROW, part, __VA_ARGS__)
#define FAILING_AT_ROW(part, operation) \
  {"Manager::" #operation, [](World& w) { w.FailsAt(part), w.Call(&Manager::operation); }},
// Operations of the store that are given no cursor.
#define WITHOUT_CURSOR(...) ROWS(WITHOUT_CURSOR_ROW, Store, __VA_ARGS__)
#define WITHOUT_CURSOR_ROW(Class, operation) \
  {"Store::" #operation, [](World& w) { w.Has({}), w.platform_.db->has_cursor = false, w.Call(&Class::operation); }},

// clang-format off
const Case kCases[] = {
    {"Module::Initialize", [](World&) { (void)CEvidenceModule().Initialize(); }},
    {"Module::LoadMultiLanguage",
     [](World& w) { w.platform_.language->load = false, (void)CEvidenceModule().LoadMultiLanguage(""); }},
    {"Module::GetDbConnMaxMinNumByServerStandards",
     [](World&) { int n = 0; (void)CEvidenceModule().GetDbConnMaxMinNumByServerStandards(n, n); }},
    {"CTarnCommonFun::CheckConfigPermission", [](World&) { (void)CTarnCommonFun::CheckConfigPermission("", 1); }},
    {"CTarnCommonFun::CheckOperatePermission",
     [](World& w) { w.platform_.permissions->denied_cs = {1}, (void)CTarnCommonFun::CheckOperatePermission("s", 1); }},
    {"PrivateEncrypt::PrivateAESDecrypt",
     [](World& w) { (void)PrivateEncrypt::PrivateAESDecrypt(w.response_, "QQ=="); }},

    FAILING(Manager, UpdateEvidence, GetEvidenceByID, GetEvidenceByIDs, GetEvidenceByGuid, GetEvidencesCount,
            DelEvidences, InsertEvidenceFiles, UpdateEvidenceFiles, GetEvidenceFilesCount, GetEvidenceFileByFileID,
            GetEvidenceTypeByName, InsertEvidenceTypes, ModifyEvidenceTypes, DeleteEvidenceTypes,
            GetEvidenceCustomByName, InsertEvidenceCustoms, ModifyEvidenceCustoms, DeleteEvidenceCustoms, APILinkFile,
            DecodeLinkFileReq, DeleteFromMap, GetEvidenceLog, GetDataByKey)
    FAILING_AT("INSERT", AddEvidence, InsertEvidenceFiles)
    FAILING_AT("UPDATE", UpdateEvidence, UpdateEvidences)
    FAILING_AT("evidence_option", GetEvidenceByID)
    FAILING_AT("custom_info", QueryEvidences)
    FAILING_AT("none", DelEvidences)
    {"Manager::Initialize", [](World&) { (void)Manager().Initialize(); }},
    {"Manager::Finalize", [](World& w) { w.manager_.Finalize(); }},
    {"Manager::AddEvidence", [](World& w) { (void)w.manager_.AddEvidence(std::make_shared<_tag_Evidence_>()); }},
    {"Manager::HasRoamlinkCamera", [](World&) { (void)Manager::HasRoamlinkCamera("1"); }},
    {"Manager::IsCamerasInSameDevice",
     [](World& w) { w.platform_.elements->Add(1, -1), (void)Manager::IsCamerasInSameDevice("1"); }},
    {"Manager::QueryEvidences", [](World& w) { w.Has({}), w.Call(&Manager::QueryEvidences); }},
    {"Manager::QueryEvidenceFiles",
     [](World& w) { std::list<EvidenceFilePtr> files; (void)w.manager_.QueryEvidenceFiles(files, 5, "", ""); }},
    {"Manager::InsertEvidenceTypes",
     [](World& w) {
       w.FailsAt("none");
       w.platform_.system_and_log->refused = true;
       w.Call(&Manager::InsertEvidenceTypes);
     }},
    {"Manager::ModifyEvidenceCustoms",
     [](World& w) {
       w.FailsAt("none");
       w.Call(&Manager::InsertEvidenceCustoms);
       w.FailsAt("evidence_option");
       const auto custom = Sample<EvidenceCustomPtr>::Make();
       custom->custom_id = 9;
       std::list<ErrorPtr> errors;
       w.platform_.sink->Clear();
       EXPECT_FALSE(w.manager_.ModifyEvidenceCustoms(errors, {custom}));
       EXPECT_TRUE(w.platform_.sink->Has(5, "CEvidenceManager::ModifyEvidenceCustoms]Delete custom option failed"));
     }},
    {"Manager::GetIncreEvidenceTypes",
     [](World& w) { w.platform_.increments->refused = true, w.Call(&Manager::GetIncreEvidenceTypes); }},
    {"Manager::GetIncreEvidenceTypes",
     [](World& w) { w.platform_.increments->changes = {nullptr}, w.Call(&Manager::GetIncreEvidenceTypes); }},
    {"Manager::GetIncreEvidenceCustoms",
     [](World& w) { w.platform_.increments->refused = true, w.Call(&Manager::GetIncreEvidenceCustoms); }},
    {"Manager::AddIncreResource",
     [](World& w) { w.platform_.system_and_log->refused = true, (void)w.manager_.AddIncreResource(1, 1, 1); }},
    {"Manager::WriteEvidenceLog", [](World& w) { (void)w.manager_.WriteEvidenceLog({{}}, ""); }},

    FAILING(Store, InsertEvidence, UpdateEvidence, DeleteEvidences, DeleteEvidenceTypeInEvidence, QueryAllEvidences,
            GetEvidenceByID, GetEvidenceByGuid, GetEvidenceByIDs, GetEvidencesCount, GetEvidenceLabel,
            UpdateCameraUploadStatus, UpdateCameraUploadSuccList, QueryEvidences, ReadAllEvidenceTypes,
            InsertEvidenceTypes, UpdateEvidenceTypes, DeleteEvidenceTypes, QueryEvidenceTypeNameById,
            ReadAllEvidenceScenes, InsertEvidenceScenes, UpdateEvidenceScenes, DeleteEvidenceScenes,
            QueryEvidenceSceneNameById, ReadAllEvidenceOutcomes, InsertEvidenceOutcomes, UpdateEvidenceOutcomes,
            DeleteEvidenceOutcomes, QueryEvidenceOutcomeNameById)
    FAILING(Store, ReadAllEvidenceCustoms, InsertEvidenceCustoms, UpdateEvidenceCustoms, DeleteEvidenceCustoms,
            InsertEvidenceCustomInfo, UpdateEvidenceCustomInfo, DeleteEvidenceCustomInfo,
            DeleteEvidenceCustomInfoByCustomID, GetEvidenceCustomByID, QueryEvidenceCustomNameById,
            ReadAllCustomOptions, InsertOptionsByCustom, GetOptionsByCustom, DeleteOptionsByCustom, InsertOptions,
            UpdatetOptions, DeleteOptions, InsertEvidenceFiles, DeleteEvidenceFiles, ModiyfEvidenceFileDigest,
            DeleteEvidenceFilesByEvidenceId, QueryUnRelatedEvidenceFiles, GetEvidenceFilesCount,
            QueryUnRelatedEvidenceFilesNum, GetEvidenceIDAndFileNameByFileID, GetEvidenceFileByFileID,
            WriteEvidenceLog, GetEvidenceLog, GetFTPSettings, UpdateFTPSettings)
    WITHOUT_CURSOR(GetEvidenceByID, GetEvidenceByGuid, GetEvidenceCustomByID, ReadAllCustomOptions, GetOptionsByCustom,
                   GetFTPSettings)
    {"Store::QueryLastSeqID", [](World& w) { (void)w.store.QueryEvidenceSeqID(); }},
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
    {"Store::GetFTPSettings", [](World& w) { w.Has({{{"password", "QQ=="}}}), w.Call(&Store::GetFTPSettings); }},

    FAILING(Pdu, DecodeEvidencePostReq, DecodeEvidenceIDPutReq, DecodeEvidencePutReq, DecodeEvidenceGetReq,
            DecodeEvidenceIDGetReq, DecodeEvidenceDeleteReq, DecodeEvidenceIDDeleteReq, EncodeEvidenceGetRsp,
            DecodeEvidenceTypeGetReq, DecodeEvidenceTypePutReq, DecodeEvidenceTypeIDPutReq, DecodeEvidenceSceneGetReq,
            DecodeEvidenceScenePutReq, DecodeEvidenceSceneIDPutReq, DecodeEvidenceOutcomeGetReq,
            DecodeEvidenceOutcomePutReq, DecodeEvidenceOutcomeIDPutReq, DecodeEvidenceCustomGetReq,
            DecodeEvidenceCustomPutReq, EncodeEvidenceCustomGetRsp, DecodeEvidenceIDFilesPostReq,
            DecodeUnrelatedFilesGetReq, DecodeUploadCancelReq, DecodeUploadStatusGetReq, DecodeEvidenceFilesDeleteReq,
            DecodeModifyEvidenceFilesDigestPutReq, DecodeWriteEvidenceLogPostReq, DecodeFTPSettingsPutReq,
            DecodeEvidenceSettingsPutReq, DecodeAPIEvidencePUTReq, DecodeAPIEvidenceTypePostReq,
            EncodeFTPSettingsGetRsp)
    {"Pdu::DecodeEvidencePostReq", [](World& w) { w.Call(&Pdu::DecodeEvidencePostReq, "{}"); }},
    {"Pdu::DecodeFTPSettingsPutReq",
     [](World& w) { (void)evidence_test::Decode(w.pdu_, &Pdu::DecodeFTPSettingsPutReq, kFtpKeys); }},
    {"Pdu::EncodeEvidenceSettingsGetRsp",
     [](World& w) { (void)w.pdu_.EncodeEvidenceSettingsGetRsp(w.response_, "s", {}, nullptr); }},
    {"Pdu::EncodeAPIEvidencePutRsp",
     [](World& w) { (void)w.pdu_.EncodeAPIEvidencePutRsp(w.response_, {}, {{nullptr, {}}}); }},
    {"Pdu::EncodeAPIEvidenceTypePostRsp",
     [](World& w) { (void)w.pdu_.EncodeAPIEvidenceTypePostRsp(w.response_, {}, {}, {nullptr}); }},
    {"Pdu::UpdateEvidenceInfo", [](World& w) { w.Call(&Pdu::EncodeEvidencePostRsp); }},

    FAILING(Service, ParseEvidenceLog, ParsePutEvidenceLog, DelEvidenceLog)
    {"Service::Init", [](World& w) { (void)w.service_.Init(w.user_interface_); }},
    {"Service::RegisterUrlToPlatform",
     [](World& w) { w.platform_.adapter->bus = nullptr, (void)w.service_.Init(w.user_interface_); }},
    {"Service::RegisterAPI",
     [](World& w) { w.platform_.adapter->bus = nullptr, (void)w.service_.Init(w.user_interface_); }},
    {"Service::UnRegisterAPI",
     [](World& w) { w.platform_.comm->refused = {"/API/Evidence/V1/Evidence"}, w.service_.UnInit(); }},
    {"Service::WriteLog", [](World& w) { (void)w.service_.WriteLog("s", 1, 1, std::string("refused"), {}, ""); }},
    {"Service::Evidence_Evidence_API", [](World& w) { w.Api(&Service::Evidence_Evidence_API, "{}"); }},
    {"Service::Evidence_Evidence_API",
     [](World& w) { w.FailsAt("evidence WHERE guid"), w.Api(&Service::Evidence_Evidence_API, kEvidenceOfPlugin); }},
    {"Service::Evidence_Evidence_Type_API", [](World& w) { w.Api(&Service::Evidence_Evidence_Type_API, "{}"); }},
    Asked("Service::Evidence_Evidence", "PUT /Evidence", "{}"),
    Asked("Service::Evidence_Evidence_ID_Files", "POST /Evidence/5/Files", "{}"),
    Asked("Service::Evidence_FilesBatchLinkEvidences", "DELETE /Evidence/Files/BatchLinks", "{}"),
    Asked("Service::ProcEvidencePost", "POST /Evidence", kNewEvidence, "operation_log"),
    Asked("Service::ProcEvidencePut", "PUT /Evidence", "{}", "", "unknown"),
    Asked("Service::ProcEvidenceIDPut", "PUT /Evidence/5", kNewEvidence, "operation_log"),
    Asked("Service::ProcEvidenceDelete", "DELETE /Evidence", Deletion("5", "201")),
    Asked("Pdu::DecodeEvidenceGetReq", "GET /Evidence",
          R"({"EvidenceQueryReq":{"EvidenceIDS":")" + Numbers(100'001) + "\"}}"),
    Asked("Pdu::DecodeEvidenceDeleteReq", "DELETE /Evidence", Deletion(Numbers(10'001), "201")),
    Asked("Service::ProcEvidenceIDDelete", "DELETE /Evidence/5", Deletion("5", "201")),
    Asked("Service::CheckUsersDelEvidencePerm", "DELETE /Evidence/5", "{}"),
    Asked("Service::ProcEvidenceCustomGet", "GET /Evidence/Custom", "{"),
    Asked("Service::ProcEvidenceCustomPut", "PUT /Evidence/Custom", "{"),
    Asked("Service::ProcEvidenceIDFilesPost", "POST /Evidence/5/Files",
          R"({"FileList":{"File":[{"ID":1,"FileName":"f"}]}})", "operation_log"),
    Asked("FileBatchLinkDecode", "POST /Evidence/Files/BatchLinks", "{"),
    Asked("Service::FileBatchLinkEvidencesPOST", "POST /Evidence/Files/BatchLinks", "{}"),
    Asked("Service::FileBatchLinkEvidencesPUT", "PUT /Evidence/Files/BatchLinks", Links("1", "5")),
    Asked("Service::FileBatchLinkEvidencesPUT", "PUT /Evidence/Files/BatchLinks", Links("1")),
    Asked("Service::FilesBatchLinkEvidence", "POST /Evidence/Files/BatchLinks", Links("1", "5"), "operation_log"),
    Asked("Service::ProcOperationLogPost", "POST /Evidence/OperationLog", R"({"OperationLog":[{}]})"),
    Asked("ProcRequestSTDFlow", "POST /Evidence/OperationLog", "{"),
};
// clang-format on

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
    for (const auto& line : world.platform_.sink->Lines()) {
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
