#include "support/operatorNew.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "allocation/allocator.h"

namespace {

std::size_t handedOut = 0;
std::size_t givenBack = 0;
std::size_t worksFor = SIZE_MAX;  // calls until the one that fails; SIZE_MAX: none fails
bool failed = false;
DeletionWatch* watches = nullptr;

bool failsNow() {
  if (worksFor == SIZE_MAX) return false;
  if (worksFor > 0) {
    --worksFor;
    return false;
  }
  worksFor = SIZE_MAX;  // one call only
  failed = true;
  return true;
}

[[TEST_ALLOCATOR]] void* take(std::size_t size) {
  if (failsNow()) return nullptr;
  for (;;) {
    void* const block = std::malloc(size > 0 ? size : 1);
    if (block != nullptr) ++handedOut;
    const std::new_handler helper = std::get_new_handler();
    if (block != nullptr || helper == nullptr) return block;
    helper();  // finds memory, and it is tried again
  }
}

[[TEST_ALLOCATOR]] void* takeOrThrow(std::size_t size) {
  void* const block = take(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void giveBack(void* block) noexcept {
  if (block == nullptr) return;
  ++givenBack;
  DeletionWatch::tell(block);
  std::free(block);
}

}  // namespace

std::size_t newBlocks() { return handedOut; }
std::size_t liveBlocks() { return handedOut - givenBack; }

NewFailure::NewFailure(std::size_t after) {
  failed = false;
  worksFor = after;
}

NewFailure::~NewFailure() { worksFor = SIZE_MAX; }

bool NewFailure::happened() const { return failed; }

DeletionWatch::DeletionWatch(const void* object) : object_(object), next_(watches) { watches = this; }

DeletionWatch::~DeletionWatch() {
  DeletionWatch** link = &watches;
  while (*link != this)
    link = &(*link)->next_;
  *link = next_;
}

void DeletionWatch::tell(const void* block) {
  for (DeletionWatch* watch = watches; watch != nullptr; watch = watch->next_) {
    if (watch->object_ == block) watch->deleted_ = true;
  }
}

// The replaceable forms but those for over-aligned types, which keep to themselves.
[[TEST_ALLOCATOR, gnu::visibility("default")]] void* operator new(std::size_t size) { return takeOrThrow(size); }
[[TEST_ALLOCATOR, gnu::visibility("default")]] void* operator new[](std::size_t size) { return takeOrThrow(size); }
[[TEST_ALLOCATOR, gnu::visibility("default")]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
[[TEST_ALLOCATOR, gnu::visibility("default")]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return take(size);
}
[[gnu::visibility("default")]] void operator delete(void* block) noexcept { giveBack(block); }
[[gnu::visibility("default")]] void operator delete[](void* block) noexcept { giveBack(block); }
[[gnu::visibility("default")]] void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
[[gnu::visibility("default")]] void operator delete[](void* block, std::size_t) noexcept { giveBack(block); }
[[gnu::visibility("default")]] void operator delete(void* block, const std::nothrow_t&) noexcept { giveBack(block); }
[[gnu::visibility("default")]] void operator delete[](void* block, const std::nothrow_t&) noexcept { giveBack(block); }
