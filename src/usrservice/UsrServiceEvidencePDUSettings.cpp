// Storage settings in two generations of messages; the password is sent encrypted for the client of its session.

#include "TarnPlatform/Authentication.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

/// `storage_type` that needs the keys of the FTP server.
constexpr std::int32_t kFtpStorage = 1;

bool IsZeroOrOne(const std::string& text) { return text == "0" || text == "1"; }

/// The keys of the FTP server under `root`.
[[nodiscard]] bool ReadFtpKeys(_tag_FTPSettings_& settings, const kelp::CRapidJsonProto& proto, const std::string& root,
                               const std::string& session, Operation operation = Operation::current()) {
  const std::string type = proto.get_v(root + "FTPType", std::string());
  if (!IsZeroOrOne(type)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]DecodeFTPSettingsGetReq failed, FTPType is not 0 or 1![%s(%d)]");
    return Fail(kBadInput);
  }
  settings.type = type == "1" ? 1 : 0;
  settings.address = proto.get_v(root + "FTPServerAddress", std::string());
  settings.port = proto.get_int_v(root + "FTPServerPort", -1);
  settings.username = proto.get_v(root + "UserName", std::string());
  const std::string cipher = proto.get_v(root + "Password", std::string());
  if (cipher.empty()) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]DecodeFTPSettingsGetReq failed, Password is empty![%s(%d)]");
    return Fail(kBadInput);
  }
  if (!TarnPlatform::Authentication::AESDecrypt(settings.password, cipher, session)) {
    EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]AESDecrypt failed.[%s(%d)]");
    return Fail(kDecryptionFailed);
  }
  settings.path = proto.get_v(root + "FTPPath", std::string());
  return true;
}

/// The common start of both decoders: a new record and the parsed body.
[[nodiscard]] bool OpenPutRequest(FTPSettingsPtr& settings, kelp::CRapidJsonProto& proto, const std::string& body,
                                  Operation operation = Operation::current()) {
  settings = NewRecord<_tag_FTPSettings_>();
  if (!settings) return Fail(kObjectMissing);
  if (proto.set_str(body)) return true;
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]Data Parse failed, data invalid![%s(%d)]");
  return Fail(kBadInput);
}

/// The password encrypted for the client of `session`, empty when there is none; a failure is reported in `status`.
std::string EncryptedPassword(ResponseStatus& status, const _tag_FTPSettings_& settings, const std::string& session,
                              Operation operation = Operation::current()) {
  std::string cipher;
  if (settings.password.empty() ||
      TarnPlatform::Authentication::AESEncryptClient(cipher, settings.password, session, 0)) {
    return cipher;
  }
  EVIDENCE_LOG_OF(operation, kLogFailure, "[%s]AESEncryptClient failed.[%s(%d)]");
  status.sub_code = kEncryptionFailed;
  return {};
}

void AddFtpKeys(const PduFrame::NodePtr& node, const _tag_FTPSettings_& settings, const std::string& cipher) {
  PduFrame::AddUnsigned(node, "FTPType", settings.type);
  PduFrame::AddText(node, "FTPServerAddress", settings.address);
  PduFrame::AddSigned(node, "FTPServerPort", settings.port);
  PduFrame::AddText(node, "UserName", settings.username);
  PduFrame::AddText(node, "Password", cipher);
  PduFrame::AddText(node, "FTPPath", settings.path);
}

/// The answer of both generations; `add_settings` gets its `Data`, the settings and the encrypted password.
template <class AddSettings>
[[nodiscard]] bool EncodeSettings(std::string& response, const std::string& session, ResponseStatus status,
                                  const _tag_FTPSettings_& settings, const AddSettings& add_settings,
                                  Operation operation = Operation::current()) {
  const std::string cipher = EncryptedPassword(status, settings, session, operation);
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  add_settings(PduFrame::AddData(envelope), settings, cipher);
  return PduFrame::Render(envelope, response);
}

}  // namespace

bool CEvidencePduJson::EncodeFTPSettingsGetRsp(std::string& response, const std::string& session,
                                               const ResponseStatus& status, const FTPSettingsPtr& settings) {
  if (!settings) {
    EVIDENCE_LOG(kLogFailure, "[%s]EncodeFTPSettingsGetRsp failed, setting_sptr is null![%s(%d)]");
    return EncodeRspBase(response, status);
  }
  return EncodeSettings(response, session, status, *settings,
                        [](const auto& data, const _tag_FTPSettings_& from, const std::string& cipher) {
                          const auto node = PduFrame::AddObject(data, "FTPSettings");
                          PduFrame::AddSigned(node, "Enable", from.enable ? 1 : 0);
                          AddFtpKeys(node, from, cipher);
                          const auto storage = PduFrame::AddObject(node, "StorageInfo");
                          PduFrame::AddSigned(storage, "Type", from.storage_type);
                          PduFrame::AddText(storage, "PoolName", from.pool_name);
                        });
}

bool CEvidencePduJson::EncodeEvidenceSettingsGetRsp(std::string& response, const std::string& session,
                                                    const ResponseStatus& status, const FTPSettingsPtr& settings) {
  if (!settings) {
    EVIDENCE_LOG(kLogFailure, "[%s]EncodeFTPSettingsGetRsp failed, setting_sptr is null![%s(%d)]");  // sic
    return EncodeRspBase(response, status);
  }
  return EncodeSettings(response, session, status, *settings,
                        [](const auto& data, const _tag_FTPSettings_& from, const std::string& cipher) {
                          const auto node = PduFrame::AddObject(data, "EvidenceSettings");
                          PduFrame::AddSigned(node, "Type", from.storage_type);
                          AddFtpKeys(PduFrame::AddObject(node, "FTPInfo"), from, cipher);
                          PduFrame::AddText(PduFrame::AddObject(node, "LocalInfo"), "PoolName", from.pool_name);
                        });
}

bool CEvidencePduJson::DecodeFTPSettingsPutReq(FTPSettingsPtr& settings, const std::string& session,
                                               const std::string& body) {
  const auto proto = PduFrame::NewProto("DecodeFTPSettingsGetReq");  // sic
  if (!proto) return false;
  if (!OpenPutRequest(settings, *proto, body)) return false;
  const std::string root = "/FTPSettings/";
  if (proto->get_cnt(root + "Enable") < 1) {
    EVIDENCE_LOG(kLogFailure, "[%s]DecodeFTPSettingsGetReq failed, Enable node is not exist![%s(%d)]");
    return Fail(kBadInput);
  }
  const std::string enable = proto->get_v(root + "Enable", std::string());
  if (!IsZeroOrOne(enable)) {
    EVIDENCE_LOG(kLogFailure, "[%s]DecodeFTPSettingsGetReq failed, Enable is not 0 or 1![%s(%d)]");
    return Fail(kBadInput);
  }
  settings->enable = enable == "1";
  if (!settings->enable) return true;
  settings->storage_type = proto->get_int_v(root + "StorageInfo/Type", -1);
  return settings->storage_type != kFtpStorage || ReadFtpKeys(*settings, *proto, root, session);
}

bool CEvidencePduJson::DecodeEvidenceSettingsPutReq(FTPSettingsPtr& settings, const std::string& session,
                                                    const std::string& body) {
  const auto proto = PduFrame::NewProto("DecodeFTPSettingsGetReq");  // sic
  if (!proto) return false;
  if (!OpenPutRequest(settings, *proto, body)) return false;
  const std::string root = "/EvidenceSettings/";
  settings->storage_type = proto->get_int_v(root + "Type", -1);
  settings->pool_name = proto->get_v(root + "LocalInfo/PoolName", std::string());
  settings->enable = settings->storage_type == kFtpStorage;
  const bool ok = !settings->enable || ReadFtpKeys(*settings, *proto, root + "FTPInfo/", session);
  EVIDENCE_LOG(kLogProgress, "[%s]Put FTPSETTING: FTP enable : %s, storage_type : %d, poolname : %s![%s(%d)]",
               settings->enable ? "true" : "false", settings->storage_type, settings->pool_name.c_str());
  return ok;
}

}  // namespace Evidence
