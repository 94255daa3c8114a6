#include "OrvProto/JsonNode.h"

#include <utility>

#include "OrvProto/JsonNodeWriter.h"

namespace xmlpacket {

JsonNode::JsonNode(std::string name, std::string value) : name_(std::move(name)), value_(std::move(value)) {}

JsonNode::~JsonNode() = default;

std::string JsonNode::Serialize(int /*reserved*/) const { return JsonNodeWriter::Named(*this); }

std::shared_ptr<JsonNode> JsonNode::AddChild(const std::string& name, const std::string& value, int /*reserved*/) {
  return children_.emplace_back(std::make_shared<JsonNode>(name, value));
}

}  // namespace xmlpacket
