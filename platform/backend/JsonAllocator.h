#pragma once

#include <rapidjson/document.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace kelp {

/// Memory for the JSON library, which does not look whether it got any: without memory it would write through a null
/// pointer, so this throws std::bad_alloc.
class JsonAllocator {
 public:
  static const bool kNeedFree = true;

  void* Malloc(std::size_t size) { return size == 0 ? nullptr : Checked(std::malloc(size)); }
  void* Realloc(void* old, std::size_t /*old_size*/, std::size_t size) {
    if (size != 0) return Checked(std::realloc(old, size));
    std::free(old);
    return nullptr;
  }
  static void Free(void* memory) { std::free(memory); }

 private:
  static void* Checked(void* memory) {
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }
};

using JsonPool = rapidjson::MemoryPoolAllocator<JsonAllocator>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, JsonAllocator>;
using JsonValue = JsonDocument::ValueType;
using JsonReader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator>;

}  // namespace kelp
