#include "support/allocationFailure.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

// The allocator's entry points, defined in the test program, are found before anyone else's. Behind them stands the
// sanitizer's allocator where there is one (its names are then there), otherwise the C library's.
extern "C" {
[[gnu::weak]] void* __interceptor_malloc(std::size_t size);
[[gnu::weak]] void* __interceptor_calloc(std::size_t count, std::size_t size);
[[gnu::weak]] void* __interceptor_realloc(void* block, std::size_t size);
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

std::size_t refusedFrom = SIZE_MAX;
unsigned int refusals = 0;

// The functions below run before the sanitizer is ready, and must not be checked by it.
[[gnu::no_sanitize_address]] bool refuses(std::size_t size) {
  if (size < refusedFrom) return false;
  ++refusals;
  errno = ENOMEM;
  return true;
}

}  // namespace

AllocationFailure::AllocationFailure(std::size_t minimumSize) {
  refusals = 0;
  refusedFrom = minimumSize;
}

AllocationFailure::~AllocationFailure() { refusedFrom = SIZE_MAX; }

unsigned int AllocationFailure::count() const { return refusals; }

extern "C" {

[[gnu::visibility("default"), gnu::no_sanitize_address]] void* malloc(std::size_t size) noexcept {
  if (refuses(size)) return nullptr;
  return __interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size);
}

[[gnu::visibility("default"), gnu::no_sanitize_address]] void* calloc(std::size_t count, std::size_t size) noexcept {
  std::size_t total = 0;
  if (__builtin_mul_overflow(count, size, &total)) total = SIZE_MAX;
  if (refuses(total)) return nullptr;
  return __interceptor_calloc != nullptr ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}

[[gnu::visibility("default"), gnu::no_sanitize_address]] void* realloc(void* block, std::size_t size) noexcept {
  if (refuses(size)) return nullptr;
  return __interceptor_realloc != nullptr ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
}
}
