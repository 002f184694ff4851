#include "heap.h"

#include <malloc.h>

#include <cstddef>

// The C library's own, under the names that it keeps for a program that replaces them.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

std::size_t blocks = 0;
std::size_t bytes = 0;

std::size_t sizeOf(void* block) { return malloc_usable_size(block) + sizeof(std::size_t); }

void* taken(void* block) {
  if (block != nullptr) {
    ++blocks;
    bytes += sizeOf(block);
  }
  return block;
}

}  // namespace

std::size_t bench::heapBlocks() { return blocks; }
std::size_t bench::heapBytes() { return bytes; }

extern "C" {

[[gnu::visibility("default")]] void* malloc(std::size_t size) { return taken(__libc_malloc(size)); }

[[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t size) {
  return taken(__libc_calloc(count, size));
}

[[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) {
  if (block != nullptr) bytes -= sizeOf(block);
  return taken(__libc_realloc(block, size));
}

[[gnu::visibility("default")]] void free(void* block) {
  if (block == nullptr) return;
  bytes -= sizeOf(block);
  __libc_free(block);
}
}
