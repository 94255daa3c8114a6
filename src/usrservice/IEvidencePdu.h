#pragma once

#include <list>
#include <memory>
#include <string>

#include "impl/Evidence/EvidenceRecords.h"

namespace Evidence {

/// The (main, sub) pair that an answer reports; (0, 0) is success.
struct ResponseStatus {
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
  std::string text;
};

/// JSON bodies to records and back. One stateless object serves all requests on any thread. A decoder takes
/// the body last and gives false with the last error set, (0, 2) for a body that is no JSON; the
/// records are then not to be used. An encoder takes the response text first and replaces it whole.
class IEvidencePdu {
 public:
  virtual ~IEvidencePdu() = default;

  // Type
  /// `reserved` is left alone. `client_resource_version` is 0 when the whole dictionary is asked for.
  [[nodiscard]] virtual bool DecodeEvidenceTypeGetReq(
      page_info& page, const std::shared_ptr<_tag_EvidenceAttributeFilterInfo_>& reserved,
      std::int32_t& client_resource_version, const std::string& body) = 0;
  /// `methods` runs beside `types` in an incremental answer and is empty in a whole one. A total of -1 stands for the
  /// number of methods.
  [[nodiscard]] virtual bool EncodeEvidenceTypeGetRsp(std::string& response, const ResponseStatus& status,
                                                      const page_info& page, const std::list<EvidenceTypePtr>& types,
                                                      const std::list<std::int32_t>& methods) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceTypePutReq(std::list<EvidenceTypePtr>& types, const std::string& body) = 0;
  /// Reports (0, 99999) when any entry holds a code.
  [[nodiscard]] virtual bool EncodeEvidenceTypePutRsp(std::string& response, const ResponseStatus& status,
                                                      const std::list<ErrorPtr>& errors) = 0;
  /// `type` may be empty.
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDGetReq(std::int32_t& type_id, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDGetRsp(std::string& response, const ResponseStatus& status,
                                                        const EvidenceTypePtr& type) = 0;
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDPutReq(EvidenceTypePtr& type, const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDPutRsp(std::string& response, const ResponseStatus& status) = 0;
  /// Not served: (0, 1).
  [[nodiscard]] virtual bool DecodeEvidenceTypeIDDeleteReq(const std::string& body) = 0;
  [[nodiscard]] virtual bool EncodeEvidenceTypeIDDeleteRsp(std::string& response, const ResponseStatus& status) = 0;

  // Every route
  /// An answer that holds nothing but the thread's last error.
  [[nodiscard]] virtual bool EncodeBaseErrorRsp(std::string& response) = 0;
};

}  // namespace Evidence
