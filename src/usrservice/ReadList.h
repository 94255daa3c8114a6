#pragma once

#include <string>

#include "KelpUtils/RapidJsonProto.h"

/// Reading the elements of a list, for both families of messages.
namespace Evidence::ReadList {

/// The path of element `n`, counted from 0, with a "/" at its end.
using ElementPath = std::string (*)(const std::string& list_path, int n);

/// "list[1]/" is the first: the messages of IEvidencePdu.
inline std::string BySubscript(const std::string& list_path, int n) {
  return list_path + '[' + std::to_string(n + 1) + "]/";
}

/// "list/0/" is the first: the messages of namespace pdu.
inline std::string BySegment(const std::string& list_path, int n) { return list_path + '/' + std::to_string(n) + '/'; }

/// Calls `read` with the path of each element of the list at `list_path`.
template <ElementPath kPath, class Read>
void ForEachElement(const kelp::CRapidJsonProto& proto, const std::string& list_path, Read read) {
  const int count = proto.get_cnt(list_path);
  for (int n = 0; n < count; ++n)
    read(kPath(list_path, n));
}

}  // namespace Evidence::ReadList
