#pragma once

#include <source_location>

namespace Evidence {

/// Operators find the lines of an operation by its name, whichever helper writes them. So a helper that logs takes, as
/// its last parameter, `Operation operation = Operation::current()`: its caller, unless that one passes on whose helper
/// it is itself.
#if __has_builtin(__builtin_source_location)
using Operation = std::source_location;
#else
/// clang before 15 knows the plain name alone.
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
