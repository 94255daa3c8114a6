#include "OrvBase/GuidUtil.h"

#include <boost/uuid/entropy_error.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace Orv::Base::GuidUtil {

std::string CreateGuid() {
  try {
    thread_local boost::uuids::random_generator generator;
    std::string guid = boost::uuids::to_string(generator());
    for (char& letter : guid) {
      if (letter >= 'a' && letter <= 'f') letter = static_cast<char>(letter - 'a' + 'A');
    }
    return guid;
  } catch (const boost::uuids::entropy_error&) {
    return {};
  }
}

}  // namespace Orv::Base::GuidUtil
