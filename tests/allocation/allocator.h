// The allocator of a test program: malloc and its like, with somebody asked before and told afterwards.

#ifndef TESTS_ALLOCATION_ALLOCATOR_H
#define TESTS_ALLOCATION_ALLOCATOR_H

#include <cstddef>

// A program that links trelTestAllocator has its malloc, calloc, realloc and free here, and so have the shared libraries
// that it uses. Behind them stands the sanitizer's allocator where there is one, otherwise the C library's.

// Whoever is set here is asked for every block; true: the caller gets null, with errno ENOMEM. It runs before a sanitizer
// is ready, and must not be checked by it.
extern bool (*refusesBlock)(std::size_t size);

// Sees every block. While one is set, a block that is given back is first filled with GIVEN_BACK, so that nobody lives on
// what it held.
class AllocatorWatch {
 public:
  // Asked before `refusesBlock` is.
  virtual bool refuses(std::size_t size) = 0;
  virtual void taken(void* block, std::size_t size) = 0;
  virtual void givenBack(void* block) = 0;

  static constexpr unsigned char GIVEN_BACK = 0xDD;

 protected:
  ~AllocatorWatch() = default;
};
extern AllocatorWatch* allocatorWatch;

// The functions of the allocator are marked with this, operator new of a test program among them: who looks for the one
// that asked for a block looks past them.
#define TEST_ALLOCATOR gnu::section("test_allocator")

// Where those functions lie.
bool isAllocatorCode(const void* address);

#endif
