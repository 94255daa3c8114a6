#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Common/EvidenceLog.h"
#include "Common/Operation.h"
#include "KelpPlatform/MsgBus.h"
#include "OrvBase/Error.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceUserInterface.h"
#include "plugin_comm/PluginCommManager.h"
#include "usrservice/IEvidencePdu.h"
#include "usrservice/UsrServiceEvidencePDUBatchLink.h"

namespace Evidence {

struct Dispatcher;
struct FileChange;

/// The request service: registers the routes, receives each request on a host thread, selects the handler by route and
/// method, and writes one response body. Takes no lock: its members are set before the routes are registered and
/// cleared after they are removed, and the host completes running requests before UnInit.
///
/// A handler checks the permission, decodes, calls the user interface, writes the log lines and encodes; a failure on
/// the way is reported in the status of the answer. It returns false without an answer when the message object or the
/// user interface is gone, (0, 1).
class CUsrServiceEvidence : public Orv::Base::CNoncopyable {
 public:
  /// The singleton, created on first use; lives until the library is unloaded.
  static const std::shared_ptr<CUsrServiceEvidence>& Instance();

  /// Registers the routes and publishes the two APIs; a failure of either is logged. Always true.
  bool Init(const std::weak_ptr<CEvidenceUserInterface>& user_interface);

  /// Removes the routes and the APIs and releases what Init was given. Does nothing without a message bus.
  void UnInit();

  /// Writes the thread's last error as the whole answer; without a message object it sets (0, 1) and writes nothing.
  void EncodeBaseErrorRsp(kelp::SHttpResponse& response);
  /// The pair (0, 2) for a read that was ended for want of memory.
  void AnswerRefusedRead(kelp::SHttpResponse& response);

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
  /// For an empty list there is no answer.
  bool ProcEvidenceCustomGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceCustomPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Evidence

  /// No answer when the history could not be written; the evidence is stored nevertheless.
  bool ProcEvidencePost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  /// No answer, (0, 200), for an unknown session; changes already made remain.
  bool ProcEvidencePut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceIDPut(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceGUIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Query
  bool ProcEvidenceGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceIDGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // Delete

  /// A deletion is recorded in the history even when it was refused or failed; the answer reports which.
  bool ProcEvidenceDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  bool ProcEvidenceIDDelete(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // File

  /// When it returns false, the caller answers with the last error.
  bool ProcEvidenceIDFilesPost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  // BatchLink: several files and several evidences at once. No answer without the permission. Nothing is rolled back:
  // links made before a failure remain. A body with more pairs than Limits::kLinkPairs is (0, 10002).

  /// Links every file with every evidence.
  bool FileBatchLinkEvidencesPOST(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  /// Makes the request's evidences the only ones of each file; without evidences the files are unlinked from all of
  /// theirs.
  bool FileBatchLinkEvidencesPUT(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  /// Links `files` with each evidence, by ascending id, and logs it; refused ones are added to `failures` and the next
  /// evidence follows. False, skipping the remaining evidences, when the history cannot be written.
  [[nodiscard]] bool FilesBatchLinkEvidence(LinkFailures& failures, const std::list<EvidenceFilePtr>& files,
                                            const std::set<std::int32_t>& evidence_ids, const std::string& session);
  /// The same for unlinking.
  [[nodiscard]] bool FilesBatchUnLinkEvidence(LinkFailures& failures, const std::list<EvidenceFilePtr>& files,
                                              const std::set<std::int32_t>& evidence_ids, const std::string& session);

  // Access

  /// Whether a deletion is confirmed: each listed user has the right password and may delete. A plain user must be in
  /// the list; a super user lists only "sysop". Names of domain accounts in the list are converted to lower case. On
  /// failure `user_name` is the user who failed, and `remain_count` the remaining tries or -1: of the user when
  /// `lock_type` is 1, of the client address when it is 2. Pairs: (0, 2) an invalid list, (0, 200) no client address,
  /// (0, 10) not allowed, else (0, the login error code of the platform).
  [[nodiscard]] bool CheckUsersDelEvidencePerm(std::int32_t& remain_count, std::int32_t& lock_type,
                                               std::string& user_name, const std::list<UserPtr>& users,
                                               const std::string& session);

  /// The id of the user whose encrypted password is right; else -1 with the login error code, 1 when the platform
  /// returned no usable answer. A wrong password counts against the client address.
  [[nodiscard]] std::int32_t CheckUserPass(std::int32_t& remain_count, std::int32_t& lock_type,
                                           std::int32_t& error_code, const std::string& user_name,
                                           const std::string& password, const std::string& verification_code,
                                           const std::string& verification_mark, const std::string& client_address,
                                           const std::string& session);

  /// Replaces a refusal by the freeze it caused, or reports the tries that remain until one.
  void CheckFreezeSurplus(std::int32_t& remain_count, std::int32_t& lock_type, std::int32_t& error_code,
                          std::int32_t user_id, const std::string& client_address, const std::string& user_name);

  // Api: calls from other plugins, without a session. An unchanged response means (0, 1).

  /// Creates evidences with their files, in request order, up to the first failure; those before remain.
  void Evidence_Evidence_API(const std::string& url, const std::shared_ptr<plugin_comm::IPluginCommData>& request,
                             std::shared_ptr<plugin_comm::IPluginCommData>& response);
  void Evidence_Evidence_Type_API(const std::string& url, const std::shared_ptr<plugin_comm::IPluginCommData>& request,
                                  std::shared_ptr<plugin_comm::IPluginCommData>& response);

  // Log

  /// Writes one line to the platform's log: a success when the sub code of `error` is 0, else a failure. False: (0,
  /// 10), or (0, 1) when the platform provides no interface.
  bool WriteLog(const std::string& session, int log_type, std::int64_t object_id, const std::string& object_name,
                const Orv::Base::Error::ErrorCode& error, const std::string& description);

  /// The same for several names, joined by ";" into lines that end before they reach 256 bytes. At least one line for a
  /// list that is not empty. False when every write failed.
  bool WriteLog(const std::string& session, int log_type, std::int64_t object_id,
                const std::vector<std::string>& object_names, const Orv::Base::Error::ErrorCode& error,
                const std::string& description);

  // History: entries for WriteEvidenceLog of the manager, with name and address of the session's user; (0, 200) when it
  // is unknown.

  /// Appends an entry for `evidence`, with the names of `files` joined by "|". An empty session, a caller inside the
  /// system, leaves the user empty. (0, 1) without an evidence.
  [[nodiscard]] bool ParseEvidenceLog(std::vector<operation_record>& records, const std::list<EvidenceFilePtr>& files,
                                      std::int32_t operation_type, const EvidencePtr& evidence,
                                      const std::string& session);
  /// Fills the entry of a change; evidence and type are set even when the session is unknown, which an empty one always
  /// is.
  [[nodiscard]] bool ParsePutEvidenceLog(operation_record& record, std::int32_t evidence_id,
                                         const std::string& session);
  /// Appends one entry per id; for an empty list one for -1. An empty session is unknown.
  [[nodiscard]] bool DelEvidenceLog(std::vector<operation_record>& records, std::int32_t operation_type,
                                    const IdList& evidence_ids, const std::string& session);

  /// Writes what a client posts, users and addresses included; more than Limits::kWrittenEntries rows are (0, 2). (0,
  /// 54), without an answer, when there is no memory for one.
  bool ProcOperationLogPost(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);
  /// The history of an evidence. An edit of several fields is one item.
  bool ProcOperationLogGet(kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

 private:
  bool RegisterUrlToPlatform();
  void UnRegisterUrlFromPlatform();
  bool RegisterAPI();
  void UnRegisterAPI();

  /// The common part of the dispatchers; logs under the name of the dispatcher.
  void Dispatch(const Dispatcher& dispatcher, kelp::SHttpResponse& response, const kelp::SHttpRequest& request,
                Operation operation = Operation::current());
  /// Runs the dispatcher's action for the request's method.
  void Act(const Dispatcher& dispatcher, kelp::SHttpResponse& response, const kelp::SHttpRequest& request);

  /// The user interface; null with (0, 1) when it or the message object is gone.
  [[nodiscard]] std::shared_ptr<CEvidenceUserInterface> LockUserInterface() const;

  /// Returns `encoded`; when it is false, the thread's last error is the answer.
  bool Answered(kelp::SHttpResponse& response, bool encoded);

  // Delete
  /// What a deletion reports to its client.
  struct Deletion {
    ResponseStatus status;
    std::int32_t remain_count = -1;
    std::int32_t lock_type = 1;
    std::string user_name;
  };
  /// Deletes the evidences when `users` confirm it; `read` is called first, while they can still be read.
  void DeleteConfirmed(Deletion& deletion, const CEvidenceUserInterface& user_interface, const IdList& evidence_ids,
                       const std::list<UserPtr>& users, const std::string& session, const std::function<void()>& read,
                       Operation operation = Operation::current());

  /// Sets the user and the address of the session; (0, 200) for an unknown session.
  [[nodiscard]] static bool TakeUser(operation_record& record, const std::string& session,
                                     Operation operation = Operation::current());

  // File
  /// Writes the names of `files` to the platform's log and one entry to the history; false when the latter fails.
  [[nodiscard]] bool LogFileChange(const FileChange& change, std::int32_t evidence_id, const EvidencePtr& evidence,
                                   const std::list<EvidenceFilePtr>& files, const std::string& session,
                                   Operation operation = Operation::current());

  // BatchLink
  struct BatchLink;
  template <class Change>
  [[nodiscard]] bool ChangeFiles(const FileChange& change, LinkFailures& failures,
                                 const std::list<EvidenceFilePtr>& files, const std::set<std::int32_t>& evidence_ids,
                                 const std::string& session, const Change& change_files,
                                 Operation operation = Operation::current());
  /// The result covers only the last change; failures of earlier ones are in `failures`.
  [[nodiscard]] bool MakeLinksEqual(LinkFailures& failures, const BatchLink& batch, const std::string& session,
                                    const CEvidenceUserInterface& user_interface,
                                    Operation operation = Operation::current());
  [[nodiscard]] bool RemoveAllLinks(LinkFailures& failures, const BatchLink& batch, const std::string& session,
                                    const CEvidenceUserInterface& user_interface,
                                    Operation operation = Operation::current());
  bool AnswerBatchLink(kelp::SHttpResponse& response, bool done, const LinkFailures& failures);

  // Api
  /// Writes the answer's text for a request's; false leaves it empty.
  using ApiWork = std::function<bool(std::string& text, const CEvidenceUserInterface&, const std::string& json)>;
  void ServeApi(LogLevel level, const std::string& url, const std::shared_ptr<plugin_comm::IPluginCommData>& request,
                std::shared_ptr<plugin_comm::IPluginCommData>& response, const ApiWork& work,
                Operation operation = Operation::current());
  /// Adds one evidence with its files, and writes its log lines.
  [[nodiscard]] bool AddEvidenceOfPlugin(const CEvidenceUserInterface& user_interface, const EvidencePtr& evidence,
                                         const std::list<EvidenceFilePtr>& files,
                                         Operation operation = Operation::current());
  [[nodiscard]] bool LogEvidenceOfPlugin(const CEvidenceUserInterface& user_interface, const EvidencePtr& evidence,
                                         const std::list<EvidenceFilePtr>& files, const std::vector<std::string>& names,
                                         Operation operation = Operation::current());

  /// The callback with which the manager logs a change of a dictionary for this session.
  [[nodiscard]] LogFunction LogFunctionFor(const std::string& session);

  std::shared_ptr<IEvidencePdu> pdu_;
  std::weak_ptr<CEvidenceUserInterface> user_interface_;
};

/// Copies the thread's last error into an answer's status.
void TakeLastError(ResponseStatus& status);

}  // namespace Evidence
