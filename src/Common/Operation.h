#pragma once

#include <source_location>

namespace Evidence {

/// Log lines carry the name of the operation, whichever helper writes them, so that operators find them. A helper that
/// logs therefore takes `Operation operation = Operation::current()` as its last parameter: its caller, unless the
/// caller is itself a helper and passes its own operation on.
#if __has_builtin(__builtin_source_location)
using Operation = std::source_location;
#else
/// clang before 15 provides only the unqualified name.
class Operation {
 public:
  static constexpr Operation current(const char* name = __builtin_FUNCTION()) { return Operation(name); }
  [[nodiscard]] constexpr const char* function_name() const { return name_; }

 private:
  constexpr explicit Operation(const char* name) : name_(name) {}
  const char* name_;
};
#endif

}  // namespace Evidence
