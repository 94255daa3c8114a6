#include <algorithm>

#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

using PduFrame::NodePtr;

constexpr char kUploadList[] = "/SearchRequest/GUIDList";

constexpr PduFrame::Key<_tag_EvidenceFile_, std::string> kFileTexts[] = {{"Name", &_tag_EvidenceFile_::file_name},
                                                                         {"Path", &_tag_EvidenceFile_::file_path},
                                                                         {"BeginTime", &_tag_EvidenceFile_::begin_time},
                                                                         {"EndTime", &_tag_EvidenceFile_::end_time},
                                                                         {"Guid", &_tag_EvidenceFile_::guid},
                                                                         {"Digest", &_tag_EvidenceFile_::digest}};

void AddFileList(const NodePtr& data, const std::list<EvidenceFilePtr>& files) {
  const auto list = PduFrame::AddObject(data, "FileList");
  for (const auto& file : files) {
    const auto element = PduFrame::AddElement(list, "File");
    PduFrame::AddUnsigned(element, "ID", file->id);
    PduFrame::AddUnsigned(element, "Type", file->file_type);
    for (const auto& [key, field] : kFileTexts)
      PduFrame::AddText(element, key, *file.*field);
  }
}

/// The numbers of files by type, and their sum.
void AddStatistics(const NodePtr& data, const std::map<std::int32_t, std::int32_t>& statistics) {
  const auto node = PduFrame::AddObject(data, "StatisticsInfo");
  std::int64_t sum = 0;
  for (const auto& [type, number] : statistics) {
    const auto element = PduFrame::AddElement(node, "TypeInfo");
    PduFrame::AddUnsigned(element, "Type", type);
    PduFrame::AddUnsigned(element, "Num", number);
    sum += number;
  }
  PduFrame::AddUnsigned(node, "TotalNum", static_cast<std::int32_t>(sum));
}

/// The answer to a batch of files. `add_names` writes the id or the names of each entry.
template <class AddNames>
bool EncodeFileErrors(std::string& response, const ResponseStatus& status, const std::list<ErrorPtr>& errors,
                      AddNames add_names) {
  const auto envelope = PduFrame::NewEnvelope(PduFrame::BatchStatus(status, errors));
  if (!envelope) return false;
  const auto list = PduFrame::AddObject(PduFrame::AddData(envelope), "FileErrorList");
  for (const auto& error : errors) {
    const auto element = PduFrame::AddElement(list, "FileError");
    add_names(element, *error);
    PduFrame::AddError(element, error->main_code, error->sub_code);
  }
  return PduFrame::Render(envelope, response);
}

}  // namespace

bool CEvidencePduJson::DecodeEvidenceIDFilesPostReq(std::list<EvidenceFilePtr>& files, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceIDFilesPostReq", body);
  if (!proto) return false;
  PduFrame::ForEachElement(*proto, "/FileList/File", [&](const std::string& element) {
    auto file = std::make_shared<_tag_EvidenceFile_>();
    file->id = proto->get_int_v(element + "ID", -1);
    file->delete_flag = proto->get_int_v(element + "Delete", kLinkFlag);
    file->file_name = proto->get_v(element + "FileName", std::string());
    files.push_back(std::move(file));
  });
  return true;
}

bool CEvidencePduJson::EncodeEvidenceIDFilesPostRsp(std::string& response, const ResponseStatus& status,
                                                    const std::list<ErrorPtr>& errors) {
  return EncodeFileErrors(response, status, errors, [](const NodePtr& element, const _tag_Error_& error) {
    if (error.id != -1) PduFrame::AddUnsigned(element, "ID", error.id);
  });
}

bool CEvidencePduJson::EncodeEvidenceIDFilesGetRsp(std::string& response, const ResponseStatus& status,
                                                   const std::list<EvidenceFilePtr>& files) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  AddFileList(PduFrame::AddData(envelope), files);
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeUnrelatedFilesGetReq(EvidenceFilterPtr& filter, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceDeleteReq", body);  // sic
  if (!proto) return false;
  const std::string root = "/FileQueryReq/";
  filter = std::make_shared<_tag_EvidenceFilterInfo_>();
  filter->page_index = proto->get_int_v(root + "PageIndex", -1);
  if (filter->page_index == -1) return Fail(kBadInput);
  filter->page_size = proto->get_int_v(root + "PageSize", -1);
  if (filter->page_size == -1) return Fail(kBadInput);
  if (proto->get_cnt(root + "Filter") > 0) {
    const std::string path = root + "Filter/";
    filter->keyword = proto->get_v(path + "Keyword", std::string());
    filter->create_start_time = proto->get_v(path + "BeginTime", std::string());
    filter->create_end_time = proto->get_v(path + "EndTime", std::string());
    filter->time_type = proto->get_int_v(path + "TimeType", -1);
    filter->file_type = proto->get_int_v(path + "Type", -1);
    filter->assemble_types = proto->get_v(path + "AssembleTypes", std::string());
  }
  return true;
}

bool CEvidencePduJson::DecodeUploadCancelReq(std::list<std::string>& guids, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeUploadCancelReq", body);
  if (!proto) return false;
  PduFrame::ForEachElement(*proto, kUploadList, [&](const std::string& element) {
    guids.push_back(proto->get_v(element + "GUID", std::string()));
  });
  return true;
}

bool CEvidencePduJson::EncodeUnrelatedFilesGetRsp(std::string& response, const ResponseStatus& status,
                                                  const std::list<EvidenceFilePtr>& files, const page_info& page,
                                                  const std::map<std::int32_t, std::int32_t>& statistics,
                                                  std::int32_t total) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto data = PduFrame::AddData(envelope);
  PduFrame::AddUnsigned(data, "PageIndex", page.PageIndex);
  PduFrame::AddUnsigned(data, "PageSize", page.PageSize);
  PduFrame::AddUnsigned(data, "TotalNum", total);
  auto sorted = files;
  sorted.sort([](const auto& left, const auto& right) { return left->id > right->id; });
  AddFileList(data, sorted);
  AddStatistics(data, statistics);
  return PduFrame::Render(envelope, response);
}

bool CEvidencePduJson::DecodeEvidenceFilesDeleteReq(IdList& file_ids, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceFilesDeleteReq", body);
  if (!proto) return false;
  return PduFrame::ReadIds(file_ids, *proto, "/File/IDs", Limits::kLinkedFiles);
}

bool CEvidencePduJson::DecodeModifyEvidenceFilesDigestPutReq(std::map<std::int32_t, std::string>& digests,
                                                             const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeModifyEvidenceFilesDigestPutReq", body);
  if (!proto) return false;
  PduFrame::ForEachElement(*proto, "/File", [&](const std::string& element) {
    digests.emplace(proto->get_int_v(element + "ID", -1), proto->get_v(element + "Digest", std::string()));
  });
  return true;
}

bool CEvidencePduJson::EncodeEvidenceFilesRsp(std::string& response, const ResponseStatus& status,
                                              const std::list<ErrorPtr>& errors) {
  return EncodeFileErrors(response, status, errors, [](const NodePtr& element, const _tag_Error_& error) {
    PduFrame::AddUnsigned(element, "ID", error.id);
    PduFrame::AddText(element, "Name", error.name);
  });
}

bool CEvidencePduJson::DecodeUploadStatusGetReq(std::map<std::string, std::int32_t>& chunks, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeUploadStatusGetReq", body);
  if (!proto) return false;
  PduFrame::ForEachElement(*proto, kUploadList, [&](const std::string& element) {
    chunks[proto->get_v(element + "GUID", std::string())] = proto->get_int_v(element + "Chunk", -1);
  });
  return true;
}

}  // namespace Evidence
