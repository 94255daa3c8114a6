#pragma once

#include <optional>
#include <string>

#include "Record.h"
#include "platform/Json.h"

namespace desk {

/// Why a body cannot be carried out: a word for programs, a sentence for people.
struct Fault {
  std::string code;
  std::string detail;
};

/// Sets what the members of `body` say, as a JSON merge patch (RFC 7396) of the record: a member that is null is
/// removed, an object is merged, a list is replaced. `allowed` is kAlways for a change, kAtCreation for a creation.
/// None when it is done; else `record` may be changed in part. Names of types, scenes, outcomes, attributes and options
/// are passed over: see Disagreement.
[[nodiscard]] std::optional<Fault> Apply(Record& record, const platform::Json& body, Settable allowed);

/// The path of the first member of `body` that is not what the described record has; "" when all are. So it is seen
/// that a record is all that was asked for, names included.
[[nodiscard]] std::string Disagreement(const platform::Json& body, const platform::Json& described);

/// Whether a value can be stored: texts with a single quote cannot, and would leave a change half done.
[[nodiscard]] bool AreStorable(const std::vector<Value>& values);

}  // namespace desk
