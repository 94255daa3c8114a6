#pragma once

#include <string>
#include <string_view>

#include "Common/Operation.h"
#include "Common/PluginConstants.h"
#include "OrvBase/Log.h"

namespace Evidence {

using Orv::Base::LogLevel;
using enum Orv::Base::LogLevel;

/// The qualified name within a compiler's full signature: "bool Evidence::CFoo::Bar(int)" gives "Evidence::CFoo::Bar".
/// A lambda gets the name of the enclosing function, which for a template is the bare name, too.
inline std::string QualifiedFunctionName(std::string_view signature) {
  constexpr std::string_view kUnnamed = "(anonymous namespace)";  // as clang writes it
  int angle_depth = 0;
  std::size_t begin = 0;
  std::size_t arguments = 0;
  for (std::size_t at = 0; at < signature.size(); ++at) {
    if (signature.substr(at).starts_with(kUnnamed)) at += kUnnamed.size();
    const char c = signature[at];
    if (c == '<' && angle_depth++ == 0) arguments = at;
    if (c == '>') --angle_depth;
    if (angle_depth != 0) continue;
    if (c == '(') {
      const bool is_instance = at > begin && signature[at - 1] == '>';
      const std::size_t end = is_instance ? arguments : at;
      return std::string(signature.substr(begin, end - begin));
    }
    if (c == ' ' || c == '*' || c == '&') begin = at + 1;
  }
  return std::string(signature.substr(begin));
}

}  // namespace Evidence

/// Writes one log line under the name of the enclosing function. `text` is one literal that begins with "[%s]" for the
/// function and ends with "[%s(%d)]" for the source position; the arguments between follow it.
#define EVIDENCE_LOG(level, text, ...) \
  EVIDENCE_LINE(::Evidence::kLogTag, __PRETTY_FUNCTION__, level, text __VA_OPT__(, ) __VA_ARGS__)

/// The same under the name of the operation on whose behalf a helper works.
#define EVIDENCE_LOG_OF(operation, level, text, ...) \
  EVIDENCE_LINE(::Evidence::kLogTag, (operation).function_name(), level, text __VA_OPT__(, ) __VA_ARGS__)

/// The same for the device rules, which have a tag of their own.
#define EVIDENCE_DEVICE_LOG_OF(operation, level, text, ...) \
  EVIDENCE_LINE(::Evidence::kDeviceLogTag, (operation).function_name(), level, text __VA_OPT__(, ) __VA_ARGS__)

#define EVIDENCE_LINE(tag, signature, level, text, ...)                                                                \
  do {                                                                                                                 \
    if (Orv::Base::details::IsLogLevelOn(level)) {                                                                     \
      Orv::Base::details::ITarnFormatLog(                                                                              \
          level, tag, text, ::Evidence::QualifiedFunctionName(signature).c_str() __VA_OPT__(, ) __VA_ARGS__, __FILE__, \
          __LINE__);                                                                                                   \
    }                                                                                                                  \
  } while (false)
