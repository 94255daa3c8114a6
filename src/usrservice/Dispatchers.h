#pragma once

#include <array>

#include "usrservice/UsrServiceEvidence.h"

/// What each dispatcher does by method, as data.
namespace Evidence {

inline constexpr int kMethodCount = 4;

using Handler = bool (CUsrServiceEvidence::*)(kelp::SHttpResponse&, const kelp::SHttpRequest&);

struct Action {
  enum class Kind {
    kNothing,         ///< no answer
    kReject,          ///< (0, 8) in an answer
    kRejectSilently,  ///< (0, 6) without an answer
    kHandle,          ///< the handler, which may leave the answer empty
    kHandleOrReport,  ///< the handler; when it returns false, the last error is the answer
  };
  Kind kind;
  Handler handler = nullptr;
};

/// Which requests a dispatcher logs.
enum class RequestLog {
  kNone,
  kPost,
  kAllButDelete,  ///< a DELETE carries passwords
  kTraffic,       ///< all, and their answers
};

struct Dispatcher {
  enum class Ids { kAny, kOne, kOneOnGet };
  /// How many ids the path must contain; another number is (0, 2), checked before the method.
  Ids ids;
  /// By method code: PUT, POST, DELETE, GET.
  std::array<Action, kMethodCount> actions;
  /// Any other method code.
  Action other{Action::Kind::kNothing};
  bool clears_last_error = true;
  RequestLog log = RequestLog::kNone;
};

inline constexpr Action kReject{Action::Kind::kReject};
inline constexpr Action kRejectSilently{Action::Kind::kRejectSilently};
constexpr Action Handle(Handler handler) { return {Action::Kind::kHandle, handler}; }
constexpr Action HandleOrReport(Handler handler) { return {Action::Kind::kHandleOrReport, handler}; }

inline constexpr Dispatcher kTypeDispatcher{.ids = Dispatcher::Ids::kAny,
                                            .actions = {Handle(&CUsrServiceEvidence::ProcEvidenceTypePut), kReject,
                                                        kReject, Handle(&CUsrServiceEvidence::ProcEvidenceTypeGet)}};
inline constexpr Dispatcher kTypeIdDispatcher{.ids = Dispatcher::Ids::kOne,
                                              .actions = {Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDPut), kReject,
                                                          Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDDelete),
                                                          Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDGet)}};
inline constexpr Dispatcher kEvidenceDispatcher{
    .ids = Dispatcher::Ids::kAny,
    .actions = {Handle(&CUsrServiceEvidence::ProcEvidencePut), Handle(&CUsrServiceEvidence::ProcEvidencePost),
                Handle(&CUsrServiceEvidence::ProcEvidenceDelete), Handle(&CUsrServiceEvidence::ProcEvidenceGet)},
    .log = RequestLog::kAllButDelete};
inline constexpr Dispatcher kEvidenceIdDispatcher{
    .ids = Dispatcher::Ids::kOne,
    .actions = {Handle(&CUsrServiceEvidence::ProcEvidenceIDPut), kReject,
                Handle(&CUsrServiceEvidence::ProcEvidenceIDDelete), Handle(&CUsrServiceEvidence::ProcEvidenceIDGet)}};
inline constexpr Dispatcher kCustomDispatcher{
    .ids = Dispatcher::Ids::kAny,
    .actions = {Handle(&CUsrServiceEvidence::ProcEvidenceCustomPut), kRejectSilently, kRejectSilently,
                Handle(&CUsrServiceEvidence::ProcEvidenceCustomGet)},
    .other = kRejectSilently};
inline constexpr Dispatcher kFilesDispatcher{
    .ids = Dispatcher::Ids::kOne,
    .actions = {kReject, HandleOrReport(&CUsrServiceEvidence::ProcEvidenceIDFilesPost), kReject, kReject},
    .log = RequestLog::kPost};
inline constexpr Dispatcher kGuidDispatcher{
    .ids = Dispatcher::Ids::kAny,
    .actions = {kReject, kReject, kReject, Handle(&CUsrServiceEvidence::ProcEvidenceGUIDGet)}};
inline constexpr Dispatcher kOperationLogDispatcher{
    .ids = Dispatcher::Ids::kOneOnGet,
    .actions = {kReject, Handle(&CUsrServiceEvidence::ProcOperationLogPost), kReject,
                Handle(&CUsrServiceEvidence::ProcOperationLogGet)}};
inline constexpr Dispatcher kBatchLinksDispatcher{
    .ids = Dispatcher::Ids::kAny,
    .actions = {Handle(&CUsrServiceEvidence::FileBatchLinkEvidencesPUT),
                Handle(&CUsrServiceEvidence::FileBatchLinkEvidencesPOST), kReject, kReject},
    .clears_last_error = false,
    .log = RequestLog::kTraffic};

}  // namespace Evidence
