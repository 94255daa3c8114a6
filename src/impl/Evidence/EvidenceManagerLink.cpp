#include "Common/ErrorCodes.h"
#include "Common/EvidenceLog.h"
#include "Common/NewRecord.h"
#include "impl/Evidence/EvidenceManager.h"
#include "impl/Evidence/LinkFileMessage.h"
#include "plugin_comm/PluginCommManager.h"

namespace Evidence {
namespace {

using plugin_comm::CPluginCommData;
using plugin_comm::IPluginCommData;

constexpr char kApiLinkFile[] = "/API/FileManager/V1/LinkFile";
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
  auto reply = LinkFileMessage::ReadReply(*proto);
  if (reply.sub_code != 0) {
    EVIDENCE_LOG(kLogFailure, "[%s]API return failed: [%d-%d]![%s(%d)]", reply.main_code, reply.sub_code);
    Orv::Base::Error::SetLastError({reply.main_code, reply.sub_code});
    return false;
  }
  failures.splice(failures.end(), reply.refused_files);
  return true;
}

bool CEvidenceManager::APILinkFile(std::list<ErrorPtr>& failures, const IdVector& file_ids, std::int32_t evidence_id,
                                   std::int32_t operation) {
  const std::string text = LinkFileMessage::EncodeRequest(
      file_ids, evidence_id,
      operation == kLinkFiles ? LinkFileMessage::Change::kLink : LinkFileMessage::Change::kUnlink);
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
