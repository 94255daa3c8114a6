#pragma once

#include <memory>
#include <utility>

#include "Common/ErrorCodes.h"
#include "OrvBase/Noncopyable.h"
#include "impl/Evidence/EvidenceUserInterface.h"
#include "usrservice/IEvidencePdu.h"

namespace Evidence {

class CEvidencePduJson final : public IEvidencePdu, public Orv::Base::CNoncopyable {
 public:
  /// Encoders that look something up go through `user_interface`; when it is gone they fail with (0, 1).
  explicit CEvidencePduJson(std::weak_ptr<CEvidenceUserInterface> user_interface)
      : user_interface_(std::move(user_interface)) {}

  // Type
  bool DecodeEvidenceTypeGetReq(page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
                                std::int32_t& client_resource_version, const std::string& body) override;
  bool EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status, const page_info& page,
                                const std::list<EvidenceTypePtr>& types,
                                const std::list<std::int32_t>& methods) override;
  bool DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) override;
  bool EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                const std::list<ErrorPtr>& errors) override;
  bool DecodeEvidenceTypeIDGetReq(std::int32_t&, const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                  const EvidenceTypePtr& type) override;
  bool DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) override;
  bool EncodeEvidenceTypeIDPutRsp(std::string& response, const ResponseStatus& status) override;
  bool DecodeEvidenceTypeIDDeleteReq(const std::string&) override { return Fail(kObjectMissing); }
  bool EncodeEvidenceTypeIDDeleteRsp(std::string& response, const ResponseStatus& status) override;

  // Every route
  bool EncodeBaseErrorRsp(std::string& response) override;

 private:
  /// The bare envelope.
  bool EncodeRspBase(std::string& response, const ResponseStatus& status);

  const std::weak_ptr<CEvidenceUserInterface> user_interface_;
};

}  // namespace Evidence
