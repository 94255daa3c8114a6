#pragma once

#include <memory>
#include <new>
#include <utility>

namespace Evidence {

/// A new object; null when out of memory, which the caller logs in its own words.
template <class Record, class... Args>
[[nodiscard]] std::shared_ptr<Record> NewRecord(Args&&... args) {
  try {
    return std::make_shared<Record>(std::forward<Args>(args)...);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace Evidence
