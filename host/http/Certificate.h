#pragma once

#include <string>

namespace host {

/// What an operator should know about the first certificate of a PEM text: that its time has not begun, is over, or
/// ends within 30 days. "" for any other, and for a text without one.
[[nodiscard]] std::string CertificateRemark(const std::string& pem);

}  // namespace host
