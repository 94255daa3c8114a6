#include "OrvBase/Conversion.h"

#include <boost/locale/encoding.hpp>

namespace Orv::Base {

bool Conversion::Convert(std::string& out, const std::string& in, const std::string& to, const std::string& from) {
  namespace conv = boost::locale::conv;
  try {
    out = conv::between(in, to, from, conv::stop);
    return true;
  } catch (const conv::conversion_error&) {
  } catch (const conv::invalid_charset_error&) {
  }
  out.clear();
  return false;
}

}  // namespace Orv::Base
