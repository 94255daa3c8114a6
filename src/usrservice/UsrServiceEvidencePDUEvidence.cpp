#include <algorithm>

#include "TarnPlatform/Authentication.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

using kelp::CRapidJsonProto;

constexpr char kEvidenceRoot[] = "/Evidence/";

using TextKey = PduFrame::Key<_tag_Evidence_, std::string>;
using NumberKey = PduFrame::Key<_tag_Evidence_, std::int32_t>;

constexpr NumberKey kNumberKeys[] = {{"ID", &_tag_Evidence_::id}, {"Status", &_tag_Evidence_::evidence_status}};

constexpr TextKey kTextKeys[] = {{"Guid", &_tag_Evidence_::guid},
                                 {"Name", &_tag_Evidence_::name},
                                 {"Desc", &_tag_Evidence_::evidence_desc},
                                 {"Label", &_tag_Evidence_::label},
                                 {"EvidenceBeginTime", &_tag_Evidence_::evidence_begin_time},
                                 {"EvidenceEndTime", &_tag_Evidence_::evidence_end_time},
                                 {"CADID", &_tag_Evidence_::cad_id}};

/// Keys that are read only when an evidence is created.
constexpr NumberKey kCreationNumberKeys[] = {{"AddMode", &_tag_Evidence_::add_mode},
                                             {"UploadMode", &_tag_Evidence_::upload_mode}};

constexpr TextKey kCreationTextKeys[] = {{"RelateCameraID", &_tag_Evidence_::releated_camera_ids},
                                         {"UploadBeginTime", &_tag_Evidence_::upload_begin_time},
                                         {"UploadEndTime", &_tag_Evidence_::upload_end_time},
                                         {"RecordBeginTime", &_tag_Evidence_::record_begin_time},
                                         {"RecordEndTime", &_tag_Evidence_::record_end_time}};

tag_EvidenceCustom_ ReadCustomValue(const CRapidJsonProto& proto, const std::string& element) {
  tag_EvidenceCustom_ custom;
  custom.custom_id = proto.get_int_v(element + "ID", -1);
  custom.custom_name = proto.get_v(element + "Name", std::string());
  custom.custom_options.push_back(
      {proto.get_int_v(element + "CustomOptionID", -1), proto.get_v(element + "CustomText", std::string())});
  return custom;
}

/// The common part of the bodies for creation and change.
EvidencePtr ReadEvidence(const CRapidJsonProto& proto) {
  const std::string root = kEvidenceRoot;
  auto evidence = std::make_shared<_tag_Evidence_>();
  PduFrame::ReadNumbers(*evidence, proto, root, kNumberKeys);
  PduFrame::ReadTexts(*evidence, proto, root, kTextKeys);
  evidence->evidence_type.type_id = proto.get_int_v(root + "EvidenceType/ID", -1);
  evidence->scene.scene_id = proto.get_int_v(root + "Scene/ID", -1);
  evidence->outcome.outcome_id = proto.get_int_v(root + "Outcome/ID", -1);
  PduFrame::ForEachElement(proto, root + "EvidenceCustomList/EvidenceCustom", [&](const std::string& element) {
    evidence->evidence_customs.push_back(ReadCustomValue(proto, element));
  });
  return evidence;
}

/// The status of a batch; results have no main code.
ResponseStatus ResultsStatus(const ResponseStatus& status, const std::list<EvidenceErrInfoPtr>& results) {
  const bool refused = std::ranges::any_of(results, [](const auto& result) { return result->sub_code != 0; });
  return refused ? ResponseStatus{status.main_code, kSomeEntriesFailed, {}} : status;
}

}  // namespace

bool CEvidencePduJson::DecodeEvidencePostReq(EvidencePtr& evidence, const std::string& session,
                                             const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidencePostReq", body);
  if (!proto) return false;
  evidence = ReadEvidence(*proto);
  PduFrame::ReadNumbers(*evidence, *proto, kEvidenceRoot, kCreationNumberKeys);
  PduFrame::ReadTexts(*evidence, *proto, kEvidenceRoot, kCreationTextKeys);
  std::shared_ptr<TarnPlatform::Authentication::CUserSession> user;
  if (!TarnPlatform::Authentication::GetUserSession(user, session) || !user) {
    EVIDENCE_LOG(kLogFailure, "[%s]GetUserSession failed.[%s(%d)]");
    return Fail(kSessionNotFound);
  }
  evidence->create_user = {user->GetValUserID(), user->GetValUserName()};
  return true;
}

bool CEvidencePduJson::EncodeEvidencePostRsp(std::string& response, const ResponseStatus& status,
                                             const EvidencePtr& evidence) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  if (evidence) {
    UpdateEvidenceInfo(evidence);
    PduFrame::AddEvidenceHead(PduFrame::AddObject(data, "Evidence"), *evidence, PduFrame::AddUnsigned);
  }
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceIDPutReq(EvidencePtr& evidence, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceIDPutReq", body);
  if (!proto) return false;
  evidence = ReadEvidence(*proto);
  return true;
}

bool CEvidencePduJson::DecodeEvidencePutReq(std::list<EvidencePtr>& evidences, const std::string& body) {
  const auto proto = PduFrame::NewProto("DecodeEvidencePutReq");
  if (!proto) return false;
  const std::string list = "/EvidenceList/Evidence";
  if (!proto->set_str(body) || proto->get_cnt(list) == 0) {
    EVIDENCE_LOG(kLogFailure, "[%s]Xml Parse failed or EvidenceList does not exist, xml invalid![%s(%d)]");
    return Fail(kBadInput);
  }
  PduFrame::ForEachElement(*proto, list, [&](const std::string& element) {
    auto evidence = std::make_shared<_tag_Evidence_>();
    evidence->id = proto->get_int_v(element + "ID", -1);
    evidence->evidence_status = proto->get_int_v(element + "Status", -1);
    evidences.push_back(std::move(evidence));
  });
  return true;
}

bool CEvidencePduJson::EncodeEvidencePutRsp(std::string& response, const ResponseStatus& status,
                                            const std::list<EvidenceErrInfoPtr>& results) {
  const auto envelope = PduFrame::NewEnvelope(ResultsStatus(status, results));
  if (!envelope) return false;
  const auto list = PduFrame::AddObject(PduFrame::AddData(envelope), "EvidenceErrorList");
  for (const auto& result : results) {
    const auto element = PduFrame::AddElement(list, "EvidenceError");
    const auto evidence = PduFrame::AddObject(element, "Evidence");
    PduFrame::AddUnsigned(evidence, "ID", result->id);
    PduFrame::AddText(evidence, "Guid", result->guid);
    PduFrame::AddText(evidence, "Name", result->name);
    PduFrame::AddError(element, 0, result->sub_code);
  }
  return PduFrame::Render(envelope, response);
}

void CEvidencePduJson::UpdateEvidenceInfo(const EvidencePtr& evidence) {
  TypeNames names;
  UpdateEvidenceInfo(evidence, names);
}

void CEvidencePduJson::UpdateEvidenceInfo(const EvidencePtr& evidence, TypeNames& names_from_table) {
  if (!evidence) return;
  const auto user_interface = LockUserInterface();
  if (!user_interface) return;
  EvidenceTypePtr type;
  if (user_interface->GetEvidenceTypeById(type, evidence->evidence_type.type_id) && type) {
    evidence->evidence_type.type_name = type->type_name;
  } else {
    // A deleted type keeps its name in the table. A failed read is retried for the next evidence.
    const std::int32_t type_id = evidence->evidence_type.type_id;
    std::string& name = evidence->evidence_type.type_name;
    if (const auto known = names_from_table.find(type_id); known != names_from_table.end()) {
      name = known->second;
    } else if (user_interface->QueryEvidenceTypeNameById(name, type_id)) {
      names_from_table.emplace(type_id, name);
    }
    EVIDENCE_LOG(kLogAnomaly, "[%s]The evidence type not exists, evidence-type-id[%d].[%s(%d)]",
                 evidence->evidence_type.type_id);
  }
  auto& creator = evidence->create_user;
  std::shared_ptr<TarnPlatform::Authentication::CUserInfo> user;
  const int error_code = TarnPlatform::Authentication::Query(user, creator.id);
  if (error_code != 0 || !user) {
    EVIDENCE_LOG(kLogAnomaly, "[%s]Get user failed, user-id[%d], error-code[%d].[%s(%d)]", creator.id, error_code);
    return;
  }
  const bool is_directory_user = user->GetValUserType() == TarnPlatform::Authentication::kDirectoryUser;
  if (!is_directory_user || creator.name.empty()) creator.name = user->GetValUserName();
}

}  // namespace Evidence
