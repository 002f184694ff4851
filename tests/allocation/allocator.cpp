#include "allocation/allocator.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>

// The allocator's entry points, defined in the test program, are found before anyone else's. Behind them stands the
// sanitizer's allocator where there is one (its names are then there), otherwise the C library's.
extern "C" {
[[gnu::weak]] void* __interceptor_malloc(std::size_t size);
[[gnu::weak]] void* __interceptor_calloc(std::size_t count, std::size_t size);
[[gnu::weak]] void* __interceptor_realloc(void* block, std::size_t size);
[[gnu::weak]] void __interceptor_free(void* block);
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

// Made by the linker for the section that TEST_ALLOCATOR names.
extern const char __start_test_allocator[];
extern const char __stop_test_allocator[];
}

bool (*refusesBlock)(std::size_t size) = nullptr;
AllocatorWatch* allocatorWatch = nullptr;

bool isAllocatorCode(const void* address) {
  return !std::less<const void*>()(address, __start_test_allocator) &&
         std::less<const void*>()(address, __stop_test_allocator);
}

// The functions below run before the sanitizer is ready, and must not be checked by it.

namespace {

[[TEST_ALLOCATOR, gnu::no_sanitize_address, gnu::noinline]] bool refused(std::size_t size) {
  const bool no =
      (allocatorWatch != nullptr && allocatorWatch->refuses(size)) || (refusesBlock != nullptr && refusesBlock(size));
  if (no) errno = ENOMEM;
  return no;
}

[[TEST_ALLOCATOR, gnu::no_sanitize_address, gnu::noinline]] void* told(void* block, std::size_t size) {
  if (allocatorWatch != nullptr && block != nullptr) allocatorWatch->taken(block, size);
  return block;
}

}  // namespace

extern "C" {

[[TEST_ALLOCATOR, gnu::visibility("default"), gnu::no_sanitize_address]] void* malloc(std::size_t size) noexcept {
  if (refused(size)) return nullptr;
  return told(__interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size), size);
}

[[TEST_ALLOCATOR, gnu::visibility("default"), gnu::no_sanitize_address]] void* calloc(std::size_t count,
                                                                                      std::size_t size) noexcept {
  std::size_t total = 0;
  if (__builtin_mul_overflow(count, size, &total)) total = SIZE_MAX;
  if (refused(total)) return nullptr;
  return told(__interceptor_calloc != nullptr ? __interceptor_calloc(count, size) : __libc_calloc(count, size), total);
}

[[TEST_ALLOCATOR, gnu::visibility("default"), gnu::no_sanitize_address]] void free(void* block) noexcept {
  if (allocatorWatch != nullptr && block != nullptr) {
    allocatorWatch->givenBack(block);
    if (__interceptor_free == nullptr) std::memset(block, AllocatorWatch::GIVEN_BACK, malloc_usable_size(block));
  }
  if (__interceptor_free != nullptr) {
    __interceptor_free(block);
  } else {
    __libc_free(block);
  }
}

[[TEST_ALLOCATOR, gnu::visibility("default"), gnu::no_sanitize_address]] void* realloc(void* block,
                                                                                       std::size_t size) noexcept {
  if (allocatorWatch != nullptr && block != nullptr && size != 0) {  // in steps that can be told
    void* const moved = malloc(size);
    if (moved == nullptr) return nullptr;
    std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    free(block);
    return moved;
  }
  if (refused(size)) return nullptr;
  if (allocatorWatch != nullptr && block != nullptr) allocatorWatch->givenBack(block);
  return told(__interceptor_realloc != nullptr ? __interceptor_realloc(block, size) : __libc_realloc(block, size),
              size);
}
}
