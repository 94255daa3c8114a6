#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "Common/TextList.h"
#include "KelpUtils/RapidJsonProto.h"
#include "OrvBase/StringUtil.h"
#include "impl/Evidence/EvidenceManager.h"
#include "plugin_comm/PluginCommManager.h"

namespace Evidence {
namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;

constexpr char kApiLinkFile[] = "/API/FileManager/V1/LinkFile";
constexpr int kLinkTypeEvidence = 0;

/// "OperationType" on the wire: the other way round than the argument.
constexpr int kWireLink = 1;
constexpr int kWireUnlink = 0;

/// The request's text; "" when it cannot be made.
std::string EncodeLinkFileReq(const IdVector& file_ids, std::int32_t evidence_id, std::int32_t operation) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_v("/Request", std::string())) return {};
  auto* const root = proto.get_node("/Request");
  const bool written =
      proto.add_v(root, "LinkType", kLinkTypeEvidence) != nullptr && proto.add_v(root, "ID", evidence_id) != nullptr &&
      proto.add_v(root, "FileIDs", CommaList(file_ids)) != nullptr &&
      proto.add_v(root, "OperationType", operation == CEvidenceManager::kLinkFiles ? kWireLink : kWireUnlink) !=
          nullptr;
  return written ? proto.get_str() : std::string();
}

}  // namespace

bool CEvidenceManager::DecodeLinkFileReq(std::list<ErrorPtr>& failures, const std::string& text) {
  const auto proto = NewRecord<kelp::CRapidJsonProto>();
  if (!proto) {
    EVIDENCE_LOG(kLogFailure, "[%s]DecodeEvidenceScenePostReq failed, proto is null![%s(%d)]");  // sic
    return Fail(kBadInput);
  }
  if (!proto->set_str(text)) {
    EVIDENCE_LOG(kLogFailure, "[%s]Data Parse failed, data invalid![%s(%d)]");
    return Fail(kBadInput);
  }
  const std::string root = "/ResponseStatus/";
  const int main_code = proto->get_int_v(root + "ErrorModule", -1);
  const int sub_code = proto->get_int_v(root + "ErrorCode", -1);
  if (sub_code != 0) {
    EVIDENCE_LOG(kLogFailure, "[%s]API return failed: [%d-%d]![%s(%d)]", main_code, sub_code);
    Orv::Base::Error::SetLastError({main_code, sub_code});
    return false;
  }
  // The list tells how many there are; the entries lie in a list of another name beside it.
  const std::string data = root + "Data/";
  const int count = proto->get_cnt(data + "LinkFileErrorList");
  for (int n = 1; n <= count; ++n) {
    const std::string entry = data + Orv::Base::StringUtil::str_fmt("LinkFileError[%d]/", n);
    failures.push_back(std::make_shared<_tag_Error_>(_tag_Error_{
        proto->get_int_v(entry + "ID", -1), proto->get_v(entry + "Name", std::string()),
        proto->get_int_v(entry + "Error/ErrorModule", -1), proto->get_int_v(entry + "Error/ErrorCode", -1)}));
  }
  return true;
}

bool CEvidenceManager::APILinkFile(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                                   std::int32_t operation) {
  const std::string text = EncodeLinkFileReq(file_ids, evidence_id, operation);
  if (text.empty()) {
    EVIDENCE_LOG(kLogFailure, "[%s]EncodeLinkFileReq failed, encode request failed.[%s(%d)]");
    return Fail(kObjectMissing);
  }
  std::shared_ptr<IPluginCommData> reply;
  const auto request = std::make_shared<CPluginCommData>(text, nullptr, 0);
  if (!plugin_comm::IPluginCommManager::Instance()->Request(reply, kApiLinkFile, request, std::string())) {
    EVIDENCE_LOG(kLogFailure, "[%s]EncodeLinkFileReq failed,do request failed.[%s(%d)]");
    return Fail(kObjectMissing);
  }
  const auto json = std::dynamic_pointer_cast<CPluginCommData>(reply);
  if (!json) {
    EVIDENCE_LOG(kLogFailure, "[%s]EncodeLinkFileReq failed,null rsp.[%s(%d)]");
    return Fail(kObjectMissing);
  }
  return DecodeLinkFileReq(failures, json->JsonTxt()) && failures.empty();
}

}  // namespace Evidence
