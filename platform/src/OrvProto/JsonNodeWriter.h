#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "OrvBase/Utf8.h"
#include "OrvProto/JsonTextStream.h"

namespace xmlpacket {

/// Renders a tree of nodes as compact JSON, always valid: bytes of invalid UTF-8 become U+FFFD, and a number that is
/// not an integer is written as text. A `Node` has `name_`, `value_`, `children_` (pointers to nodes), `value_kind`,
/// `repeat` and `is_object`, with the meaning they have in JsonNode. Uses a stack of its own, so that a deep tree
/// cannot exhaust the call stack.
class JsonNodeWriter {
 public:
  /// `{"<name>":<value>}`.
  template <class Node>
  static std::string Named(const Node& node) {
    JsonNodeWriter writer;
    writer.text_.Expect(LengthOf(node));
    writer.out_.StartObject();
    writer.WriteKey(node.name_);
    writer.WriteTree(node);
    writer.out_.EndObject();
    return writer.text_.Take();
  }

  /// The value alone.
  template <class Node>
  static std::string Value(const Node& node) {
    JsonNodeWriter writer;
    writer.text_.Expect(LengthOf(node));
    writer.WriteTree(node);
    return writer.text_.Take();
  }

 private:
  enum class Action { kMember, kListStart, kValue, kListEnd, kObjectEnd };

  template <class Node>
  struct Step {
    Action action;
    const Node* node;
  };

  /// Of the text when nothing in it needs an escape, or somewhat more.
  template <class Node>
  static std::size_t LengthOf(const Node& root) {
    constexpr std::size_t kMarks = 8;
    std::size_t length = kMarks;
    std::vector<const Node*> pending{&root};
    while (!pending.empty()) {
      const Node& node = *pending.back();
      pending.pop_back();
      length += node.name_.size() + node.value_.size() + kMarks;
      for (const auto& child : node.children_)
        pending.push_back(&*child);
    }
    return length;
  }

  template <class Node>
  void WriteTree(const Node& root) {
    std::vector<Step<Node>> pending{{Action::kValue, &root}};
    while (!pending.empty()) {
      const Step<Node> step = pending.back();
      pending.pop_back();
      switch (step.action) {
        case Action::kMember:
          WriteKey(step.node->name_);
          WriteValue(*step.node, pending);
          break;
        case Action::kListStart:
          WriteKey(step.node->name_);
          out_.StartArray();
          break;
        case Action::kValue:
          WriteValue(*step.node, pending);
          break;
        case Action::kListEnd:
          out_.EndArray();
          break;
        case Action::kObjectEnd:
          out_.EndObject();
          break;
      }
    }
  }

  template <class Node>
  void WriteValue(const Node& node, std::vector<Step<Node>>& pending) {
    if (node.children_.empty() && !node.is_object) {
      WriteScalar(node.value_, node.value_kind == kBareNumber);
      return;
    }
    out_.StartObject();
    const std::vector<Step<Node>> steps = StepsOf(node);
    pending.insert(pending.end(), steps.rbegin(), steps.rend());
  }

  template <class Node>
  static std::vector<Step<Node>> StepsOf(const Node& node) {
    std::unordered_map<std::string_view, std::vector<const Node*>> lists;
    for (const auto& child : node.children_) {
      if (child->repeat) lists[child->name_].push_back(&*child);
    }
    std::vector<Step<Node>> steps;
    for (const auto& child : node.children_) {
      if (!child->repeat) {
        steps.push_back({Action::kMember, &*child});
      } else if (const auto list = lists.extract(child->name_)) {
        steps.push_back({Action::kListStart, &*child});
        for (const Node* element : list.mapped())
          steps.push_back({Action::kValue, element});
        steps.push_back({Action::kListEnd, nullptr});
      }
    }
    steps.push_back({Action::kObjectEnd, nullptr});
    return steps;
  }

  static constexpr int kBareNumber = 1;

  void WriteKey(std::string_view name);
  void WriteScalar(std::string_view value, bool bare_number);

  JsonTextStream text_;
  JsonTextWriter out_{text_};
};

}  // namespace xmlpacket
