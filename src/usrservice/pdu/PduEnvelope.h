#pragma once

#include <cstdint>
#include <string>

#include "KelpUtils/RapidJsonProto.h"
#include "usrservice/ReadList.h"

/// Helpers to read and write the messages of namespace pdu. They write signed numbers.
namespace pdu {

/// The root of an answer to a client.
inline constexpr char kResponseStatus[] = "/ResponseStatus";

using Node = kelp::CRapidJsonProto::Node;

/// Calls `read` with the path of each element of the list at `list_path`.
template <class Read>
void ForEachElement(const kelp::CRapidJsonProto& proto, const std::string& list_path, Read read) {
  Evidence::ReadList::ForEachElement<Evidence::ReadList::BySegment>(proto, list_path, read);
}

/// The two codes and the text that every answer of this family begins with.
struct Status {
  std::int32_t main_code = 0;
  std::int32_t sub_code = 0;
  std::string cascading_error_info;
};

/// Begins an answer at `root` ("/ResponseStatus"): the codes and `CascadingErrorInfo`, which is "" when empty. Null
/// when the root cannot be created.
Node* BeginResponse(kelp::CRapidJsonProto& proto, const std::string& root, const Status& status);

/// The answer's `Data`, `{}` until it has children; null when `root` is.
Node* AddData(kelp::CRapidJsonProto& proto, Node* root);

}  // namespace pdu
