#pragma once

#include <memory>
#include <string>

/// The messages of namespace pdu. Each request record has a function `bool Decode(shared record, body)`, each answer
/// record `bool Encode(text, shared record)`. They set no error and write no log: their callers do. Decode creates the
/// record; it returns false for a body that is not JSON. Encode replaces the text; it returns false for a null record.
namespace pdu {

/// A request and its answer, as ProcRequestSTDFlow expects them.
template <class RequestRecord, class ResponseRecord>
class CSvrPdu {
 public:
  [[nodiscard]] bool DecodeReq(const std::string& body) { return Decode(request_, body); }
  [[nodiscard]] bool EncodeRsp(const std::shared_ptr<ResponseRecord>& response) { return Encode(text_, response); }
  /// Null until a body was decoded.
  const std::shared_ptr<RequestRecord>& Request() const { return request_; }
  const std::string& Text() const { return text_; }

 private:
  std::shared_ptr<RequestRecord> request_;
  std::string text_;
};

}  // namespace pdu
