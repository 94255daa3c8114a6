#pragma once

#include "OrvBase/Log.h"
#include "platform/RequestContext.h"

namespace host {

using enum Orv::Base::LogLevel;

/// The text before, and the id of the request that this thread works for; both are empty without one.
struct RequestNote {
  const char* before = "";
  const char* id = "";
};
inline RequestNote CurrentRequest() {
  const auto* const request = platform::RequestContext::Current();
  return request == nullptr ? RequestNote{} : RequestNote{", request ", request->request_id.c_str()};
}

}  // namespace host

/// The host's own log lines, under the tag "host", with the id of the request that they are about. `format` is a
/// literal.
#define LogHost(level, format, ...)                                                                 \
  do {                                                                                              \
    if (::Orv::Base::details::IsLogLevelOn(level)) {                                                \
      const auto request_note = ::host::CurrentRequest();                                           \
      ::Orv::Base::details::ITarnFormatLog(level, "host", format "%s%s" __VA_OPT__(, ) __VA_ARGS__, \
                                           request_note.before, request_note.id);                   \
    }                                                                                               \
  } while (false)
