#include "OrvProto/JsonNode.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "OrvProto/JsonNodeWriter.h"

namespace xmlpacket {

struct JsonNode::Memory : std::enable_shared_from_this<Memory> {
  std::pmr::monotonic_buffer_resource blocks{kFirstBlock};

  std::string_view Keep(std::string_view text) {
    if (text.empty()) return {};
    auto* const kept = static_cast<char*>(blocks.allocate(text.size(), 1));
    std::memcpy(kept, text.data(), text.size());
    return {kept, text.size()};
  }

  /// Never destroyed: all that it has is here.
  JsonNode* MakeNode(std::string_view name, std::string_view value) {
    return new (blocks.allocate(sizeof(JsonNode), alignof(JsonNode))) JsonNode(*this, name, value);
  }

 private:
  static constexpr std::size_t kFirstBlock = 4096;
};

JsonNode::JsonNode(std::string_view name, std::string_view value)
    : owned_(std::make_shared<Memory>()),
      memory_(*owned_),
      name_(memory_.Keep(name)),
      value_(memory_.Keep(value)),
      children_(&memory_.blocks) {}

JsonNode::JsonNode(Memory& memory, std::string_view name, std::string_view value)
    : memory_(memory), name_(memory.Keep(name)), value_(memory.Keep(value)), children_(&memory.blocks) {}

JsonNode::~JsonNode() = default;

std::string JsonNode::Serialize(int /*reserved*/) const { return JsonNodeWriter::Named(*this); }

std::shared_ptr<JsonNode> JsonNode::AddChild(std::string_view name, std::string_view value, int /*reserved*/) {
  auto* const child = children_.emplace_back(memory_.MakeNode(name, value));
  return {memory_.shared_from_this(), child};
}

}  // namespace xmlpacket
