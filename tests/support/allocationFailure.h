// Memory that runs out when a test says so.

#ifndef TESTS_SUPPORT_ALLOCATIONFAILURE_H
#define TESTS_SUPPORT_ALLOCATIONFAILURE_H

#include <cstddef>

// While it lives, malloc, calloc and realloc of at least `minimumSize` bytes return null, in this program and in the shared
// libraries that it uses. Smaller blocks are handed out as ever, so that the log and the test itself go on: take a size that
// only the code under test asks for. operator new stands on malloc. Works in every preset, under the address sanitizer too.
// Not nested; for one thread.
//
//     LogCapture log;
//     AllocationFailure failure(20000);
//     property.deserialize(recordOf20000Bytes);
//     EXPECT_EQ(failure.count(), 1U);
class AllocationFailure {
 public:
  explicit AllocationFailure(std::size_t minimumSize);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  // How many blocks have been refused so far: a test whose code under test never asked has shown nothing.
  unsigned int count() const;
};

#endif
