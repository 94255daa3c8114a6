#include "KelpUtils/RapidJsonProto.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "JsonText.h"
#include "KelpUtils/Path.h"
#include "OrvBase/Log.h"
#include "OrvProto/JsonNode.h"
#include "OrvProto/JsonNodeWriter.h"
#include "OrvProto/JsonTextStream.h"

namespace kelp {
namespace {

using rapidjson::SizeType;
using Value = JsonValue;
using Member = Value::Member;
using xmlpacket::JsonNode;

constexpr char kLogTag[] = "kelp_utils";

std::string_view TextOf(const Value& value) { return {value.GetString(), value.GetStringLength()}; }

/// The number as 32 bits; none when it lies outside -2147483648 to 4294967295.
std::optional<int> To32Bits(std::int64_t number) {
  if (number < std::numeric_limits<std::int32_t>::min() || number > std::numeric_limits<std::uint32_t>::max())
    return std::nullopt;
  return static_cast<int>(static_cast<std::uint32_t>(number));
}

std::optional<int> To32Bits(double number) {
  const double whole = std::trunc(number);
  if (whole < std::numeric_limits<std::int32_t>::min() || whole > std::numeric_limits<std::uint32_t>::max())
    return std::nullopt;
  return To32Bits(static_cast<std::int64_t>(whole));
}

/// Reads a parsed document by paths.
class PathReader {
 public:
  explicit PathReader(JsonDocument root) : root_(std::move(root)) {}

  const Value& Root() const { return root_; }

  /// The value at `path`; null when it is absent.
  const Value* Find(std::string_view path) {
    const Value* value = &root_;
    for (auto segment = TakeSegment(path); !segment.empty() && value != nullptr; segment = TakeSegment(path))
      value = Step(*value, segment);
    return value;
  }

 private:
  /// Objects of this many members or more get an index. Without it, reading a list element by element in an object with
  /// very many other keys would take quadratic time.
  static constexpr SizeType kIndexedMembers = 32;

  /// A segment is `name`, `name[n]` or a number from 0.
  const Value* Step(const Value& value, std::string_view segment) {
    const std::string_view name = segment.substr(0, segment.find('['));
    const Value* reached = name.empty() ? &value : StepByName(value, name);
    std::string_view subscripts = segment.substr(name.size());
    while (reached != nullptr && !subscripts.empty()) {
      const std::size_t close = subscripts.find(']');
      if (subscripts.front() != '[' || close == std::string_view::npos) return nullptr;
      reached = StepByNumber(*reached, subscripts.substr(1, close - 1), 1);
      subscripts.remove_prefix(close + 1);
    }
    return reached;
  }

  const Value* StepByName(const Value& value, std::string_view name) {
    const Value* member = value.IsObject() ? FindMember(value, name) : nullptr;
    return member != nullptr ? member : StepByNumber(value, name, 0);
  }

  /// The element of a list whose elements are counted from `first`; any other value is a list of one.
  static const Value* StepByNumber(const Value& value, std::string_view digits, std::uint64_t first) {
    std::uint64_t number = 0;
    if (!ReadDecimal(digits, number) || number < first) return nullptr;
    const std::uint64_t index = number - first;
    if (!value.IsArray()) return index == 0 ? &value : nullptr;
    return index < value.Size() ? &value[static_cast<SizeType>(index)] : nullptr;
  }

  const Value* FindMember(const Value& object, std::string_view name) {
    if (object.MemberCount() >= kIndexedMembers) return FindIndexed(object, name);
    for (const Member& member : object.GetObject()) {
      if (TextOf(member.name) == name) return &member.value;
    }
    return nullptr;
  }

  const Value* FindIndexed(const Value& object, std::string_view name) {
    auto& index = indexes_[&object];
    if (index.empty()) {
      for (const Member& member : object.GetObject())
        index.push_back(&member);
      std::stable_sort(index.begin(), index.end(),
                       [](const Member* a, const Member* b) { return TextOf(a->name) < TextOf(b->name); });
    }
    const auto found =
        std::lower_bound(index.begin(), index.end(), name,
                         [](const Member* member, std::string_view key) { return TextOf(member->name) < key; });
    return found != index.end() && TextOf((*found)->name) == name ? &(*found)->value : nullptr;
  }

  JsonDocument root_;
  /// The members of large objects sorted by name; equal names keep the order of the text.
  std::unordered_map<const Value*, std::vector<const Member*>> indexes_;
};

}  // namespace

class CRapidJsonProto::Node {
 public:
  std::string name_;
  std::string value_;
  std::vector<Node*> children_;
  int value_kind = JsonNode::kText;
  bool repeat = false;
  bool is_object = false;

  /// Sets the node's value; its children leave the document.
  void Assign(std::string value, int kind) {
    value_ = std::move(value);
    value_kind = kind;
    is_object = false;
    children_.clear();
  }

  Node* Child(std::string_view name) const {
    const auto found =
        std::find_if(children_.begin(), children_.end(), [name](const Node* child) { return child->name_ == name; });
    return found == children_.end() ? nullptr : *found;
  }
};

struct CRapidJsonProto::Document {
  std::optional<PathReader> parsed;
  /// The nodes under construction, the root first. Replaced nodes stay, since their handles remain valid.
  std::deque<Node> nodes;

  /// Appends a child that is an object; the parent becomes one.
  Node* AddChild(Node* parent, std::string_view name) {
    Node* child = NewObject();
    child->name_ = name;
    parent->children_.push_back(child);
    return child;
  }

  Node* NewObject() {
    Node* node = &nodes.emplace_back();
    node->is_object = true;
    return node;
  }

  /// The node at `path`, created where missing; null for a path without a key.
  Node* MakePath(std::string_view path) {
    auto name = TakeSegment(path);
    if (name.empty()) return nullptr;
    parsed.reset();
    Node* node = nodes.empty() ? NewObject() : &nodes.front();
    for (; !name.empty(); name = TakeSegment(path)) {
      Node* child = node->Child(name);
      node = child != nullptr ? child : AddChild(node, name);
    }
    return node;
  }
};

CRapidJsonProto::CRapidJsonProto() : document_(std::make_unique<Document>()) {}
CRapidJsonProto::~CRapidJsonProto() = default;

bool CRapidJsonProto::set_str(const std::string& text) {
  document_ = std::make_unique<Document>();
  JsonDocument parsed;
  JsonFault fault;
  if (!ParseJsonText(text, {kMaxDepth, kMaxValues}, parsed, &fault)) {
    Orv::Base::details::ITarnFormatLog(Orv::Base::kLogAnomaly, kLogTag, "A JSON text was refused at byte %zu: %s",
                                       fault.at, fault.reason.c_str());
    return false;
  }
  document_->parsed.emplace(std::move(parsed));
  return true;
}

std::string CRapidJsonProto::get_str() const {
  if (!document_->nodes.empty()) return xmlpacket::JsonNodeWriter::Value(document_->nodes.front());
  if (!document_->parsed) return {};
  xmlpacket::JsonTextStream text;
  xmlpacket::JsonTextWriter writer(text);
  document_->parsed->Root().Accept(writer);
  return text.Take();
}

std::string CRapidJsonProto::get_v(const std::string& path, const std::string& default_value) const {
  const Value* value = document_->parsed ? document_->parsed->Find(path) : nullptr;
  if (value == nullptr) return default_value;
  if (value->IsString()) return std::string(TextOf(*value));
  if (value->IsBool()) return value->GetBool() ? "true" : "false";
  if (value->IsInt64()) return std::to_string(value->GetInt64());
  if (value->IsUint64()) return std::to_string(value->GetUint64());
  return default_value;
}

int CRapidJsonProto::get_int_v(const std::string& path, int default_value) const {
  const Value* value = document_->parsed ? document_->parsed->Find(path) : nullptr;
  if (value == nullptr) return default_value;
  std::int64_t number = 0;
  if (value->IsString())
    return ReadDecimal(TextOf(*value), number) ? To32Bits(number).value_or(default_value) : default_value;
  if (value->IsInt64()) return To32Bits(value->GetInt64()).value_or(default_value);
  if (value->IsDouble()) return To32Bits(value->GetDouble()).value_or(default_value);
  return default_value;
}

int CRapidJsonProto::get_cnt(const std::string& path) const {
  const Value* value = document_->parsed ? document_->parsed->Find(path) : nullptr;
  if (value == nullptr) return 0;
  return value->IsArray() ? static_cast<int>(value->Size()) : 1;
}

bool CRapidJsonProto::set_v(const std::string& path, const std::string& value) {
  Node* node = document_->MakePath(path);
  if (node != nullptr) node->Assign(value, JsonNode::kText);
  return node != nullptr;
}

bool CRapidJsonProto::set_v(const std::string& path, int value) {
  Node* node = document_->MakePath(path);
  if (node != nullptr) node->Assign(std::to_string(value), JsonNode::kNumber);
  return node != nullptr;
}

CRapidJsonProto::Node* CRapidJsonProto::get_node(const std::string& path) {
  if (document_->nodes.empty()) return nullptr;
  std::string_view rest = path;
  Node* node = &document_->nodes.front();
  for (auto name = TakeSegment(rest); !name.empty() && node != nullptr; name = TakeSegment(rest))
    node = node->Child(name);
  return node;
}

CRapidJsonProto::Node* CRapidJsonProto::add_v(Node* parent, const std::string& name, const std::string& value) {
  Node* child = add_v(parent, name);
  if (child != nullptr) child->Assign(value, JsonNode::kText);
  return child;
}

CRapidJsonProto::Node* CRapidJsonProto::add_v(Node* parent, const std::string& name, const char* value) {
  return add_v(parent, name, std::string(value));
}

CRapidJsonProto::Node* CRapidJsonProto::add_v(Node* parent, const std::string& name, int value) {
  Node* child = add_v(parent, name);
  if (child != nullptr) child->Assign(std::to_string(value), JsonNode::kNumber);
  return child;
}

CRapidJsonProto::Node* CRapidJsonProto::add_v(Node* parent, const std::string& name) {
  return parent == nullptr ? nullptr : document_->AddChild(parent, name);
}

CRapidJsonProto::Node* CRapidJsonProto::add_list_v(Node* parent, const std::string& name, const std::string& value) {
  Node* element = value.empty() ? add_v(parent, name) : add_v(parent, name, value);
  if (element != nullptr) element->repeat = true;
  return element;
}

}  // namespace kelp
