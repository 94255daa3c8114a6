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

  /// Parses `text`. False when it is no well-formed XML; the document is then empty.
  bool set_str(const std::string& text);

  /// The whole decimal number that is the text of the element at `path`, blanks around it allowed.
  /// `default_value` when the path is absent, the text is no such number or it does not fit.
  int get_int_v(const std::string& path, int default_value) const;

 private:
  struct Document;
  std::unique_ptr<Document> document_;
};

}  // namespace kelp
