// Replaces `new` of the test program: the operators are apart from their callers, which would inline them.

#include <cstdint>
#include <cstdlib>
#include <new>

namespace evidence_test {

/// From this size on, `new` has no memory on this thread.
thread_local std::size_t no_memory_from = SIZE_MAX;
thread_local bool memory_was_refused = false;

}  // namespace evidence_test

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size < evidence_test::no_memory_from) return std::malloc(size == 0 ? 1 : size);
  evidence_test::memory_was_refused = true;
  return nullptr;
}
void* operator new(std::size_t size) {
  if (void* const memory = operator new(size, std::nothrow)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
