#include "usrservice/UsrServiceEvidencePDU.h"
#include "usrservice/UsrServiceEvidencePDUFrame.h"

namespace Evidence {
namespace {

void ReadUsers(std::list<UserPtr>& users, const kelp::CRapidJsonProto& proto) {
  PduFrame::ForEachElement(proto, "/EvidenceDeleteReq/UserList/User", [&](const std::string& element) {
    auto user = std::make_shared<_tag_User_>();
    user->name = proto.get_v(element + "UserName", std::string());
    user->password = proto.get_v(element + "Password", std::string());
    users.push_back(std::move(user));
  });
}

}  // namespace

bool CEvidencePduJson::DecodeEvidenceDeleteReq(IdList& evidence_ids, std::list<UserPtr>& users,
                                               const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceDeleteReq", body);
  if (!proto) return false;
  if (!PduFrame::ReadIds(evidence_ids, *proto, "/EvidenceDeleteReq/IDs", Limits::kChangedEvidences)) return false;
  ReadUsers(users, *proto);
  return true;
}

bool CEvidencePduJson::DecodeEvidenceIDDeleteReq(std::list<UserPtr>& users, const std::string& body) {
  const auto proto = PduFrame::ParseBody("DecodeEvidenceDeleteReq", body);  // sic
  if (!proto) return false;
  ReadUsers(users, *proto);
  return true;
}

bool CEvidencePduJson::EncodeEvidenceDeleteRsp(std::string& response, std::int32_t remain_times,
                                               std::int32_t remain_type, const std::string& user_name,
                                               const ResponseStatus& status) {
  const auto envelope = PduFrame::NewEnvelope(status);
  if (!envelope) return false;
  const auto node = PduFrame::AddObject(PduFrame::AddData(envelope), "EvidenceDeleteRsp");
  if (remain_times != -1) {
    PduFrame::AddUnsigned(node, "RemainTimes", remain_times);
    PduFrame::AddUnsigned(node, "RemainType", remain_type);
    PduFrame::AddText(node, "Username", user_name);
  }
  return PduFrame::Render(envelope, response);
}

}  // namespace Evidence
