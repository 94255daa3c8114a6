#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "KelpPlatform/MsgBus.h"
#include "OrvBase/Error.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceUserInterface.h"
#include "plugin_comm/PluginCommManager.h"
#include "usrservice/IEvidencePdu.h"

namespace Evidence {

struct Dispatcher;

/// The request service: registers the routes, receives each request on a host thread, picks the handler by route and
/// method, and writes one response body. Takes no lock: its members are set before the routes stand and
/// cleared after they are gone, and the host lets requests leave before UnInit.
///
/// A handler checks the permission, decodes, calls the user interface, writes the log lines and
/// encodes; a failure on the way goes into the status of the answer. It returns false without an
/// answer when the message object or the user interface is gone, (0, 1).
class CUsrServiceEvidence : public Orv::Base::CNoncopyable {
 public:
  /// The one instance, made at first use; lives until the library is unloaded.
  static const std::shared_ptr<CUsrServiceEvidence>& Instance();

  /// Registers the routes and publishes the two APIs; a failure of either is logged. Always true.
  bool Init(const std::weak_ptr<CEvidenceUserInterface>& user_interface);

  /// Removes the routes and the APIs and lets go of what Init took. Without a message bus nothing is done.
  void UnInit();

  /// Writes the thread's last error as the whole answer; without a message object (0, 1) and nothing written.
  void EncodeBaseErrorRsp(kelp::SHttpResponse& response);

  // Dispatchers, one for each kind of path
  void Evidence_Evidence_Type(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_Type_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_ID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_Custom(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_ID_Files(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_GUID(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_Evidence_OperationLog(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  void Evidence_FilesBatchLinkEvidences(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Type
  bool ProcEvidenceTypeGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceTypePut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceTypeIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceTypeIDPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceTypeIDDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Custom
  /// No answer at all stands for an empty list.
  bool ProcEvidenceCustomGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceCustomPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Access

  /// Whether a deletion is confirmed: each listed user with his password, and allowed to delete. A plain user must be
  /// in the list himself; a super user lists "sysop" alone. Names of domain accounts in the list are lowered. On
  /// failure `user_name` is the user who failed, and `remain_count` his remaining tries or -1: of the user when
  /// `lock_type` is 1, of the client address when it is 2. Pairs: (0, 2) a wrong list, (0, 200) no client address, (0,
  /// 10) not allowed, else (0, the platform's login error code).
  [[nodiscard]] bool CheckUsersDelEvidencePerm(std::int32_t& remain_count, std::int32_t& lock_type,
                                               std::string& user_name, const std::list<UserPtr>& users,
                                               const std::string& session);

  /// The id of the user whose enciphered password is right; else -1 with the login error code, 1 when the platform
  /// gave no usable answer. A wrong password counts against the client address.
  [[nodiscard]] std::int32_t CheckUserPass(std::int32_t& remain_count, std::int32_t& lock_type,
                                           std::int32_t& error_code, const std::string& user_name,
                                           const std::string& password, const std::string& verification_code,
                                           const std::string& verification_mark, const std::string& client_address,
                                           const std::string& session);

  /// Turns a refusal into the freeze it led to, or tells the tries that remain until one.
  void CheckFreezeSurplus(std::int32_t& remain_count, std::int32_t& lock_type, std::int32_t& error_code,
                          std::int32_t user_id, const std::string& client_address, const std::string& user_name);

  // Api
  void Evidence_Evidence_API(const std::string& url, const std::shared_ptr<plugin_comm::IPluginCommData>& request,
                             std::shared_ptr<plugin_comm::IPluginCommData>& response);
  void Evidence_Evidence_Type_API(const std::string& url, const std::shared_ptr<plugin_comm::IPluginCommData>& request,
                                  std::shared_ptr<plugin_comm::IPluginCommData>& response);

  // Log

  /// Writes one line of the platform's log: of a success when the sub code of `error` is 0, else of a failure.
  /// False: (0, 10), or (0, 1) when the platform gives no interface.
  bool WriteLog(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                const Orv::Base::Error::ErrorCode& error, const std::string& description);

  /// The same for several names, joined by ";" into lines that are ended before they reach 256 bytes. At least one line
  /// for a list that is not empty. False when every write failed.
  bool WriteLog(const std::string& session, int log_type, std::int64_t object_id,
                const std::vector<std::string>& object_names, const Orv::Base::Error::ErrorCode& error,
                const std::string& description);

 private:
  bool RegisterUrlToPlatform();
  void UnRegisterUrlFromPlatform();
  bool RegisterAPI();
  void UnRegisterAPI();

  void Dispatch(const Dispatcher& dispatcher, kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  /// The user interface; empty with (0, 1) when it or the message object is gone.
  [[nodiscard]] std::shared_ptr<CEvidenceUserInterface> LockUserInterface() const;

  /// What the manager calls to log a change of a dictionary for this session.
  [[nodiscard]] LogFunction LogFunctionFor(const std::string& session);

  std::shared_ptr<IEvidencePdu> pdu_;
  std::weak_ptr<CEvidenceUserInterface> user_interface_;
};

/// Copies the thread's last error into an answer's status.
void TakeLastError(ResponseStatus& status);

}  // namespace Evidence
