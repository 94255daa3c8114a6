#include <algorithm>
#include <iterator>
#include <map>

#include "Common/TextList.h"
#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

using kelp::CRapidJsonProto;
using PduFrame::NodePtr;
using Files = std::list<EvidenceFilePtr>;

constexpr char kQueryRoot[] = "/EvidenceQueryReq/";

constexpr PduFrame::Key<_tag_EvidenceFilterInfo_, std::string> kFilterTexts[] = {
    {"Guid", &_tag_EvidenceFilterInfo_::guid},
    {"Keyword", &_tag_EvidenceFilterInfo_::keyword},
    {"CreationTime/StartTime", &_tag_EvidenceFilterInfo_::create_start_time},
    {"CreationTime/EndTime", &_tag_EvidenceFilterInfo_::create_end_time},
    {"EvidenceBeginTime/StartTime", &_tag_EvidenceFilterInfo_::evidence_begin_start_time},
    {"EvidenceBeginTime/EndTime", &_tag_EvidenceFilterInfo_::evidence_begin_end_time},
    {"EvidenceEndTime/StartTime", &_tag_EvidenceFilterInfo_::evidence_end_start_time},
    {"EvidenceEndTime/EndTime", &_tag_EvidenceFilterInfo_::evidence_end_end_time},
};

constexpr PduFrame::Key<_tag_EvidenceFilterInfo_, std::int32_t> kFilterNumbers[] = {
    {"EvidenceTypeID", &_tag_EvidenceFilterInfo_::evidence_type_id},
    {"SceneID", &_tag_EvidenceFilterInfo_::scene_id},
    {"OutcomeID", &_tag_EvidenceFilterInfo_::outcome_id},
    {"TimeType", &_tag_EvidenceFilterInfo_::time_type},
    {"Status", &_tag_EvidenceFilterInfo_::status},
};

void ReadFilter(_tag_EvidenceFilterInfo_& filter, const CRapidJsonProto& proto, const std::string& path) {
  PduFrame::ReadTexts(filter, proto, path, kFilterTexts);
  PduFrame::ReadNumbers(filter, proto, path, kFilterNumbers);
  filter.keyword_type = proto.get_int_v(path + "KeywordType", 0);  // the only number that does not default to -1
}

/// Whether the comma list `field` asks for the files.
bool WantsFiles(const std::string& field) {
  return std::ranges::any_of(SplitText(field, ','), [](const auto& word) { return word == "FileList"; });
}

/// The chosen options of an attribute are written one after the other, without a list of their own.
void AddCustomValues(const NodePtr& node, const _tag_Evidence_& evidence) {
  const auto list = PduFrame::AddObject(node, "EvidenceCustomList");
  for (const auto& custom : evidence.evidence_customs) {
    const auto element = PduFrame::AddElement(list, "EvidenceCustom");
    PduFrame::AddUnsigned(element, "ID", custom.custom_id);
    for (const auto& option : custom.custom_options) {
      PduFrame::AddOptionalId(element, "CustomOptionID", option.option_id);
      PduFrame::AddText(element, "CustomText", option.option_name);
    }
  }
}

enum class LabelKey { kWritten, kLeftOut };

void AddQueriedEvidence(const NodePtr& node, const _tag_Evidence_& evidence, LabelKey label, const Files& files) {
  PduFrame::AddEvidenceHead(node, evidence, PduFrame::AddOptionalId);
  if (label == LabelKey::kWritten) PduFrame::AddText(node, "Label", evidence.label);
  PduFrame::AddText(node, "EvidenceBeginTime", evidence.evidence_begin_time);
  PduFrame::AddText(node, "EvidenceEndTime", evidence.evidence_end_time);
  PduFrame::AddText(node, "CADID", evidence.cad_id);
  AddCustomValues(node, evidence);
  for (const auto& file : files)
    PduFrame::AddUnsigned(PduFrame::AddElement(node, "File"), "ID", file->id);
}

}  // namespace

bool CEvidencePduJson::EncodeEvidenceLabelGetRsp(std::string& response, const ResponseStatus& status,
                                                 const std::string& label) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  PduFrame::AddText(PduFrame::AddObject(PduFrame::AddData(envelope), "LabelInfo"), "Name", label);
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::EncodeEvidenceGUIDGetRsp(std::string& response, const std::string& guid) {
  const auto envelope = PduFrame::NewEnvelope({});
  if (!envelope) return false;
  PduFrame::AddText(PduFrame::AddData(envelope), "GUID", guid);
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceGetReq(page_info& page, EvidenceFilterPtr& filter, std::string& field,
                                            IdList& evidence_ids, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceGetReq", body);
  if (!proto) return false;
  const std::string root = kQueryRoot;
  page.PageIndex = proto->get_int_v(root + "PageIndex", -1);
  page.PageSize = proto->get_int_v(root + "PageSize", -1);
  field = proto->get_v(root + "Field", std::string());
  if (!PduFrame::ReadIds(evidence_ids, *proto, root + "EvidenceIDS", Limits::kReadEvidences)) return false;
  if (proto->get_cnt(root + "Filter") > 0) {
    filter = std::make_shared<_tag_EvidenceFilterInfo_>();
    filter->sort_type = proto->get_int_v(root + "SortType", -1);
    ReadFilter(*filter, *proto, root + "Filter/");
  }
  return true;
}

bool CEvidencePduJson::EncodeEvidenceGetRsp(std::string& response, const ResponseStatus& status, const page_info& page,
                                            bool has_more, const std::list<EvidencePtr>& evidences,
                                            const std::string& field) {
  EVIDENCE_LOG(kLogTrace, "[%s]begin encode.[%s(%d)]");
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  const auto list = PduFrame::AddObject(data, "EvidenceList");
  PduFrame::AddSigned(data, "Completeness", has_more ? 0 : 1);
  if (page.PageIndex != -1) PduFrame::AddUnsigned(data, "PageIndex", page.PageIndex);
  if (page.PageSize != -1) PduFrame::AddUnsigned(data, "PageSize", page.PageSize);
  PduFrame::AddUnsigned(data, "TotalNum", page.total);

  IdVector ids;
  std::ranges::transform(evidences, std::back_inserter(ids), [](const auto& evidence) { return evidence->id; });
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  std::map<std::int32_t, Files> files;
  if (!user_interface->QueryEvidenceFiles(files, ids)) {
    EVIDENCE_LOG(kLogFailure, "[%s]QueryEvidenceFiles failed.[%s(%d)]");
    files.clear();
  }
  if (!WantsFiles(field)) files.clear();
  TypeNames type_names;
  for (const auto& evidence : evidences) {
    UpdateEvidenceInfo(evidence, type_names);
    AddQueriedEvidence(PduFrame::AddElement(list, "Evidence"), *evidence, LabelKey::kWritten, files[evidence->id]);
  }
  const bool rendered = PduFrame::Render(envelope, response);
  EVIDENCE_LOG(kLogTrace, "[%s]end encode.[%s(%d)]");
  return rendered;
}

bool CEvidencePduJson::DecodeEvidenceIDGetReq(std::string& field, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceIDGetReq", body);
  if (!proto) return false;
  field = proto->get_v(std::string(kQueryRoot) + "Field", std::string());
  return true;
}

bool CEvidencePduJson::EncodeEvidenceIDGetRsp(std::string& response, const ResponseStatus& status,
                                              const EvidencePtr& evidence, const std::string& field) {
  const auto user_interface = LockUserInterface();
  if (!user_interface) return false;
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  if (evidence) {
    UpdateEvidenceInfo(evidence);
    Files files;
    if (WantsFiles(field) && !user_interface->QueryEvidenceFiles(files, evidence->id, std::string(), std::string())) {
      EVIDENCE_LOG(kLogFailure, "[%s]Query evidence files failed![%s(%d)]");
      files.clear();
    }
    AddQueriedEvidence(PduFrame::AddObject(data, "Evidence"), *evidence, LabelKey::kLeftOut, files);
  }
  return PduFrame::Render(envelope, response);
}

}  // namespace Evidence
