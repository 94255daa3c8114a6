#include "LinkMessages.h"

#include "KelpUtils/RapidJsonProto.h"

namespace FileManager {
namespace {

using kelp::CRapidJsonProto;

constexpr int kEvidenceLink = 0;
constexpr int kAbsent = -1;

void SetStatus(CRapidJsonProto& reply, ErrorCode code) {
  reply.set_v("/ResponseStatus/ErrorModule", code == kDone ? 0 : kErrorModule);
  reply.set_v("/ResponseStatus/ErrorCode", code);
}

}  // namespace

bool DecodeLinkRequest(LinkRequest& request, const std::string& text) {
  CRapidJsonProto document;
  if (!document.set_str(text) || document.get_int_v("/Request/LinkType", kAbsent) != kEvidenceLink) return false;
  request.evidence_id = document.get_int_v("/Request/ID", kAbsent);
  if (request.evidence_id < 0) return false;
  const int operation = document.get_int_v("/Request/OperationType", kAbsent);
  if (operation != static_cast<int>(Operation::kLink) && operation != static_cast<int>(Operation::kUnlink)) {
    return false;
  }
  request.operation = static_cast<Operation>(operation);
  auto file_ids = ParseFileIds(document.get_v("/Request/FileIDs", ""));
  if (!file_ids) return false;
  request.file_ids = std::move(*file_ids);
  return true;
}

std::string EncodeReply(ErrorCode code) {
  CRapidJsonProto reply;
  SetStatus(reply, code);
  return reply.get_str();
}

std::string EncodeRefusedReply(const FileIds& refused) {
  CRapidJsonProto reply;
  // The caller reads the lists only when the call succeeded.
  SetStatus(reply, kDone);
  auto* const data = reply.add_v(reply.get_node("/ResponseStatus"), "Data");
  for (const auto id : refused) {
    reply.add_v(reply.add_list_v(data, "LinkFileErrorList", ""), "ID", id);
    auto* const entry = reply.add_list_v(data, "LinkFileError", "");
    reply.add_v(entry, "ID", id);
    reply.add_v(entry, "Name", "");
    auto* const error = reply.add_v(entry, "Error");
    reply.add_v(error, "ErrorModule", kErrorModule);
    reply.add_v(error, "ErrorCode", kFileRefused);
  }
  return reply.get_str();
}

}  // namespace FileManager
