#pragma once

#include <memory>
#include <string>
#include <vector>

#include "OrvBase/Export.h"

namespace xmlpacket {

/// A node of a JSON text under construction: a name with a value text or with children, written in the
/// order in which they were added.
class PLATFORM_API JsonNode {
 public:
  /// Values of `value_kind`.
  static constexpr int kText = 0;
  static constexpr int kNumber = 1;

  JsonNode(std::string name, std::string value);
  virtual ~JsonNode();

  /// The tree as compact JSON, one object with this node's name as its only key; "/" is not escaped. A node with
  /// children is an object, one without is its value text, and the empty text is "". Siblings of one name with `repeat`
  /// set form one list at the position of the first, even when there is only one; without it they are written one after
  /// another. `reserved` is always 0.
  virtual std::string Serialize(int reserved) const;

  /// Appends a child and returns it. `reserved` is always 0.
  virtual std::shared_ptr<JsonNode> AddChild(const std::string& name, const std::string& value, int reserved);

  /// kText, or kNumber for a value written without quotes.
  int value_kind = kText;
  /// This node is one element of the list of its name under its parent.
  bool repeat = false;
  /// This node is an object even without children: `{}`.
  bool is_object = false;

 private:
  std::string name_;
  std::string value_;
  std::vector<std::shared_ptr<JsonNode>> children_;

  friend class JsonNodeWriter;
};

}  // namespace xmlpacket
