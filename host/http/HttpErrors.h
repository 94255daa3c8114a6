#pragma once

#include <string>
#include <string_view>

#include "http/HttpServer.h"

namespace host {

/// Gives an answer of the host itself its body: below /platform/v1/ an RFC 9457 problem document, elsewhere
/// {"Error":"<reason>"}. Does nothing to one without a reason.
void RenderError(HttpAnswer& answer, std::string_view path, const std::string& request_id);

/// A problem document; `type` is about:blank, so that `title` is the status in words.
HttpAnswer ProblemAnswer(unsigned status, std::string_view code, std::string_view detail,
                         const std::string& request_id);

}  // namespace host
