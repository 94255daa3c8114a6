#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

namespace kelp {

/// One JSON document: parsed with `set_str` and read by paths, or built with `set_v` and rendered with `get_str`. An
/// object serves one of the two uses, on one thread.
///
/// A path starts with "/" and joins key names with "/"; empty segments are ignored, so "/A/" means "/A". An element of
/// a list is addressed in two ways: "/List[1]" counts from 1, "/List/0" counts from 0. On a value that is not a list,
/// [1] and /0 denote the value itself, so that one object serves as a list of one. Keys are matched exactly; among
/// equal keys the first wins; a key "0" of an object takes precedence over the object as a list of one.
class PLATFORM_API CRapidJsonProto : public Orv::Base::CNoncopyable {
 public:
  /// A value under construction. Handles live as long as the document.
  class Node;

  /// Deepest nesting of lists and objects that `set_str` accepts.
  static constexpr int kMaxDepth = 64;
  /// Largest number of values, including lists and objects, that `set_str` accepts.
  static constexpr std::size_t kMaxValues = 250'000;

  CRapidJsonProto();
  ~CRapidJsonProto();

  /// Parses `text`. False, with an empty document, when it is not exactly one JSON value, not valid UTF-8, nested
  /// deeper than `kMaxDepth`, of more than `kMaxValues` values, or holds a number too large for a double; a log line of
  /// level 4 gives the reason. Stack use does not grow with the text.
  [[nodiscard]] bool set_str(const std::string& text);

  /// The document as compact JSON; "" when there is none.
  [[nodiscard]] std::string get_str() const;

  /// The text at `path`; the decimal digits of an integer; "true" or "false". `default_value` when the
  /// path is absent or holds anything else.
  [[nodiscard]] std::string get_v(const std::string& path, const std::string& default_value) const;

  /// The number at `path`, truncated towards zero; a text that is a whole decimal number counts as that
  /// number. 2147483648 to 4294967295 wrap into the negative numbers, since clients send back what an
  /// unsigned 32-bit field printed. `default_value` when the path is absent, holds anything else, or
  /// the number lies outside -2147483648 to 4294967295.
  [[nodiscard]] int get_int_v(const std::string& path, int default_value) const;

  /// 0 when `path` is absent, the number of elements of a list, 1 for any other value.
  [[nodiscard]] int get_cnt(const std::string& path) const;

  /// Creates `path` (key names only) from the root and sets its value. A value set to the empty text becomes an object
  /// when it gets a child. False for a path without a key.
  bool set_v(const std::string& path, const std::string& value);
  bool set_v(const std::string& path, int value);

  /// The value under construction at `path`; null when there is none.
  [[nodiscard]] Node* get_node(const std::string& path);

  /// Appends a child. A child set to the empty text is `""` and becomes an object when it gets a child itself; without
  /// a value the child is an object from the start, `{}` until it has children. Null when `parent` is null.
  Node* add_v(Node* parent, const std::string& name, const std::string& value);
  Node* add_v(Node* parent, const std::string& name, const char* value);
  Node* add_v(Node* parent, const std::string& name, int value);
  Node* add_v(Node* parent, const std::string& name);

  /// Appends an element to the list `name` under `parent`; the first one creates the list. With the empty text the
  /// element is an object. Null when `parent` is null.
  Node* add_list_v(Node* parent, const std::string& name, const std::string& value);

 private:
  struct Document;
  std::unique_ptr<Document> document_;
};

}  // namespace kelp
