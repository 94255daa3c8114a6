#include "SqlText.h"

#include "OrvBase/StringUtil.h"

namespace platform::database {

// Enough by itself because every connection has standard_conforming_strings on.
std::string Quoted(std::string_view text) { return Orv::Base::StringUtil::StringReplace(text, "'", "''"); }

}  // namespace platform::database
