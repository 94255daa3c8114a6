#include "impl/Evidence/LinkFileMessage.h"

#include <memory>

#include "Common/TextList.h"
#include "OrvBase/StringUtil.h"

namespace Evidence::LinkFileMessage {
namespace {

constexpr int kLinkTypeEvidence = 0;

}  // namespace

std::string EncodeRequest(const IdVector& file_ids, std::int32_t evidence_id, Change change) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_v("/Request", std::string())) return {};
  auto* const root = proto.get_node("/Request");
  const bool written = proto.add_v(root, "LinkType", kLinkTypeEvidence) != nullptr &&
                       proto.add_v(root, "ID", evidence_id) != nullptr &&
                       proto.add_v(root, "FileIDs", CommaList(file_ids)) != nullptr &&
                       proto.add_v(root, "OperationType", static_cast<int>(change)) != nullptr;
  return written ? proto.get_str() : std::string();
}

Reply ReadReply(const kelp::CRapidJsonProto& proto) {
  const std::string root = "/ResponseStatus/";
  Reply reply;
  reply.main_code = proto.get_int_v(root + "ErrorModule", -1);
  reply.sub_code = proto.get_int_v(root + "ErrorCode", -1);
  if (reply.sub_code != 0) return reply;
  // `LinkFileErrorList` only has the number of entries; the entries are a list of another name at the same level.
  const std::string data = root + "Data/";
  const int count = proto.get_cnt(data + "LinkFileErrorList");
  for (int n = 1; n <= count; ++n) {
    const std::string entry = data + Orv::Base::StringUtil::str_fmt("LinkFileError[%d]/", n);
    reply.refused_files.push_back(std::make_shared<_tag_Error_>(
        _tag_Error_{proto.get_int_v(entry + "ID", -1), proto.get_v(entry + "Name", std::string()),
                    proto.get_int_v(entry + "Error/ErrorModule", -1), proto.get_int_v(entry + "Error/ErrorCode", -1)}));
  }
  return reply;
}

}  // namespace Evidence::LinkFileMessage
