#include "support/allocationFailure.h"

#include <cstdint>

#include "allocation/allocator.h"

namespace {

std::size_t refusedFrom = SIZE_MAX;
unsigned int refusals = 0;

// Runs before the sanitizer is ready, and must not be checked by it.
[[gnu::no_sanitize_address]] bool refuses(std::size_t size) {
  if (size < refusedFrom) return false;
  ++refusals;
  return true;
}

}  // namespace

AllocationFailure::AllocationFailure(std::size_t minimumSize) {
  refusals = 0;
  refusedFrom = minimumSize;
  refusesBlock = refuses;
}

AllocationFailure::~AllocationFailure() { refusesBlock = nullptr; }

unsigned int AllocationFailure::count() const { return refusals; }
