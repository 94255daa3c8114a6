#pragma once

#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace xmlpacket {

/// A node of a JSON text under construction: a name with a value text or with children, written in the
/// order in which they were added.
class PLATFORM_API JsonNode : public Orv::Base::CNoncopyable {
 public:
  /// Values of `value_kind`.
  static constexpr int kText = 0;
  static constexpr int kNumber = 1;

  /// The root of a tree.
  JsonNode(std::string_view name, std::string_view value);
  virtual ~JsonNode();

  /// The tree as compact JSON, one object with this node's name as its only key; "/" is not escaped. A node with
  /// children is an object, one without is its value text, and the empty text is "". Siblings of one name with `repeat`
  /// set form one list at the position of the first, even when there is only one; without it they are written one after
  /// another. `reserved` is always 0.
  virtual std::string Serialize(int reserved) const;

  /// Appends a child and returns it. `reserved` is always 0.
  virtual std::shared_ptr<JsonNode> AddChild(std::string_view name, std::string_view value, int reserved);

  /// kText, or kNumber for a value written without quotes.
  int value_kind = kText;
  /// This node is one element of the list of its name under its parent.
  bool repeat = false;
  /// This node is an object even without children: `{}`.
  bool is_object = false;

 private:
  /// The memory of a tree: its texts, its lists, and all nodes but the root. Freed as a whole, with the root and the
  /// last node in a caller's hands.
  struct Memory;

  JsonNode(Memory& memory, std::string_view name, std::string_view value);

  /// Null in a child.
  const std::shared_ptr<Memory> owned_;
  Memory& memory_;
  std::string_view name_;
  std::string_view value_;
  std::pmr::vector<JsonNode*> children_;

  friend class JsonNodeWriter;
};

}  // namespace xmlpacket
