#include "KelpUtils/XmlProto.h"

#include <pugixml.hpp>

#include "KelpUtils/Path.h"

namespace kelp {
namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr char kBlanks[] = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Exactly one root element, and no text outside it.
bool HasOneRoot(const pugi::xml_document& document) {
  int elements = 0;
  for (const pugi::xml_node& node : document) {
    if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) return false;
    if (node.type() == pugi::node_element) ++elements;
  }
  return elements == 1;
}

}  // namespace

struct CXmlProto::Document {
  pugi::xml_document xml;
};

CXmlProto::CXmlProto() : document_(std::make_unique<Document>()) {}
CXmlProto::~CXmlProto() = default;

bool CXmlProto::set_str(const std::string& text) {
  // As a fragment, because only then the parser reports what is outside the root element.
  constexpr unsigned kOptions = pugi::parse_default | pugi::parse_fragment;
  auto& xml = document_->xml;
  const bool has_nul = text.find('\0') != std::string::npos;
  if (!has_nul && xml.load_buffer(text.data(), text.size(), kOptions) && HasOneRoot(xml)) return true;
  xml.reset();
  return false;
}

int CXmlProto::get_int_v(const std::string& path, int default_value) const {
  pugi::xml_node node = document_->xml;
  std::string_view rest = path;
  for (auto name = TakeSegment(rest); !name.empty(); name = TakeSegment(rest))
    node = node.child(std::string(name).c_str());
  int value = default_value;
  return ReadDecimal(Trimmed(node.text().get()), value) ? value : default_value;
}

}  // namespace kelp
