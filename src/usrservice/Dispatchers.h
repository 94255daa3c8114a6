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
    kHandle,          ///< the handler, which leaves the answer empty when it must
    kHandleOrReport,  ///< the handler; when it gives false the last error is the answer
  };
  Kind kind;
  Handler handler = nullptr;
};

struct Dispatcher {
  enum class Ids { kAny, kOne, kOneOnGet };
  /// How many ids the path must hold; another number is (0, 2), whatever the method.
  Ids ids;
  /// By method code: PUT, POST, DELETE, GET.
  std::array<Action, kMethodCount> actions;
  /// Any other method code.
  Action other{Action::Kind::kNothing};
};

inline constexpr Action kReject{Action::Kind::kReject};
inline constexpr Action kRejectSilently{Action::Kind::kRejectSilently};
constexpr Action Handle(Handler handler) { return {Action::Kind::kHandle, handler}; }
constexpr Action HandleOrReport(Handler handler) { return {Action::Kind::kHandleOrReport, handler}; }

inline constexpr Dispatcher kTypeDispatcher{Dispatcher::Ids::kAny,
                                            {Handle(&CUsrServiceEvidence::ProcEvidenceTypePut), kReject, kReject,
                                             Handle(&CUsrServiceEvidence::ProcEvidenceTypeGet)}};
inline constexpr Dispatcher kTypeIdDispatcher{
    Dispatcher::Ids::kOne,
    {Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDPut), kReject,
     Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDDelete), Handle(&CUsrServiceEvidence::ProcEvidenceTypeIDGet)}};
inline constexpr Dispatcher kEvidenceDispatcher{
    Dispatcher::Ids::kAny,
    {Handle(&CUsrServiceEvidence::ProcEvidencePut), Handle(&CUsrServiceEvidence::ProcEvidencePost),
     Handle(&CUsrServiceEvidence::ProcEvidenceDelete), Handle(&CUsrServiceEvidence::ProcEvidenceGet)}};
inline constexpr Dispatcher kEvidenceIdDispatcher{
    Dispatcher::Ids::kOne,
    {Handle(&CUsrServiceEvidence::ProcEvidenceIDPut), kReject, Handle(&CUsrServiceEvidence::ProcEvidenceIDDelete),
     Handle(&CUsrServiceEvidence::ProcEvidenceIDGet)}};
inline constexpr Dispatcher kCustomDispatcher{Dispatcher::Ids::kAny,
                                              {Handle(&CUsrServiceEvidence::ProcEvidenceCustomPut), kRejectSilently,
                                               kRejectSilently, Handle(&CUsrServiceEvidence::ProcEvidenceCustomGet)},
                                              kRejectSilently};
inline constexpr Dispatcher kFilesDispatcher{
    Dispatcher::Ids::kOne, {kReject, HandleOrReport(&CUsrServiceEvidence::ProcEvidenceIDFilesPost), kReject, kReject}};
inline constexpr Dispatcher kGuidDispatcher{
    Dispatcher::Ids::kAny, {kReject, kReject, kReject, Handle(&CUsrServiceEvidence::ProcEvidenceGUIDGet)}};
inline constexpr Dispatcher kOperationLogDispatcher{Dispatcher::Ids::kOneOnGet,
                                                    {kReject, Handle(&CUsrServiceEvidence::ProcOperationLogPost),
                                                     kReject, Handle(&CUsrServiceEvidence::ProcOperationLogGet)}};
inline constexpr Dispatcher kBatchLinksDispatcher{
    Dispatcher::Ids::kAny,
    {Handle(&CUsrServiceEvidence::FileBatchLinkEvidencesPUT), Handle(&CUsrServiceEvidence::FileBatchLinkEvidencesPOST),
     kReject, kReject}};

}  // namespace Evidence
