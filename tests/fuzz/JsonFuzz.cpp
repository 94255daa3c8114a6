// The two JSON objects under any bytes: what is read can be written and read again, and what is written is always JSON.
// The first line of the input is a path, the rest the document.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "KelpUtils/RapidJsonProto.h"
#include "OrvProto/JsonNode.h"

namespace {

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "broken: " << what << '\n';
  std::abort();
}

void ExpectJson(const std::string& text, const char* what) {
  kelp::CRapidJsonProto proto;
  Expect(proto.set_str(text), what);
}

void Read(const std::string& path, const std::string& text) {
  kelp::CRapidJsonProto proto;
  if (!proto.set_str(text)) return;
  const std::string written = proto.get_str();
  kelp::CRapidJsonProto again;
  Expect(again.set_str(written), "a document that was read is JSON when written");
  Expect(again.get_str() == written, "a document is written the same again");
  const int count = proto.get_cnt(path);
  Expect(count >= 0, "a count is never negative");
  const std::string absent = "default";
  Expect(count != 0 || proto.get_v(path, absent) == absent, "what counts as absent has no text");
  Expect(count != 0 || proto.get_int_v(path, -7) == -7, "what counts as absent has no number");
  for (const std::string& element :
       {path + "[1]/", path + "/0/", path + "[2147483647]", path + "/99999999999999999999"})
    static_cast<void>(proto.get_v(element + "ID", {}) + std::to_string(proto.get_int_v(element, -1)));
}

void Write(const std::string& one, const std::string& other) {
  const auto root = std::make_shared<xmlpacket::JsonNode>(one, std::string());
  root->AddChild(one, other, 0);
  root->AddChild(one, other, 0)->repeat = true;
  root->AddChild(other, one, 0)->repeat = true;
  root->AddChild(other, std::string(), 0)->is_object = true;
  ExpectJson(root->Serialize(0), "a tree is written as JSON");

  kelp::CRapidJsonProto proto;
  if (!proto.set_v("/Root", std::string())) return;
  auto* const node = proto.get_node("/Root");
  proto.add_v(node, one, other);
  proto.add_v(proto.add_list_v(node, other, std::string()), one, 7);
  proto.add_v(node, other);
  ExpectJson(proto.get_str(), "a document that was built is JSON");
  // What is nested deeper than a reader takes is written all the same.
  const bool readable = std::ranges::count(one, '/') < kelp::CRapidJsonProto::kMaxDepth - 2;
  if (readable && proto.set_v("/" + one, other)) ExpectJson(proto.get_str(), "a path that was set is JSON");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line_end = input.find('\n');
  const std::string path(input.substr(0, line_end));
  const std::string text(line_end == std::string_view::npos ? input : input.substr(line_end + 1));
  Read(path, text);
  Write(path, text);
  return 0;
}
