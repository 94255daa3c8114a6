#include "support/NoMemoryFor.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t limit = SIZE_MAX;
thread_local bool was_asked_for = false;

void* Allocate(std::size_t size) noexcept {
  if (size < limit) return std::malloc(size == 0 ? 1 : size);
  was_asked_for = true;
  return nullptr;
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace evidence_test {

NoMemoryFor::NoMemoryFor(std::size_t bytes) {
  limit = bytes;
  was_asked_for = false;
}

NoMemoryFor::~NoMemoryFor() { limit = SIZE_MAX; }

// A thread's state belongs to the guard that lives on it.
bool NoMemoryFor::WasAskedFor() const {
  return was_asked_for;
}  // NOLINT(readability-convert-member-functions-to-static)

}  // namespace evidence_test
