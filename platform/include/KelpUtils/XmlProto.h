#pragma once

#include <memory>
#include <string>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace kelp {

/// One XML document, read by paths such as "/Configs/HighConfig/MaxConnForConfig".
class PLATFORM_API CXmlProto : public Orv::Base::CNoncopyable {
 public:
  CXmlProto();
  ~CXmlProto();

  /// Parses `text`. False, with an empty document, when it is not well-formed XML.
  bool set_str(const std::string& text);

  /// The decimal integer in the element at `path`; surrounding blanks are allowed. `default_value` when the path is
  /// absent, or the text is not such a number or does not fit.
  int get_int_v(const std::string& path, int default_value) const;

 private:
  struct Document;
  std::unique_ptr<Document> document_;
};

}  // namespace kelp
