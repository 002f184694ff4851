// Memory that runs out for the library, and for nobody else.

#ifndef TESTS_ALLOCATION_FAILINGALLOCATOR_H
#define TESTS_ALLOCATION_FAILINGALLOCATOR_H

#include <cstddef>
#include <cstdint>

#include "allocation/allocator.h"

// Whose code a place is. Code of the C and C++ libraries, of the platform libraries and of the sanitizers is nobody's: it
// works for whoever called it. What a public header gives to the test's own code is the test's.
enum class CodeOwner { LIBRARY, TEST, NOBODY };

// The innermost place in a chain of calls that is somebody's.
struct CodePlace {
  CodeOwner owner = CodeOwner::NOBODY;
  const void* address = nullptr;
  bool behindAllocator = false;  // from there the chain went on into the allocator
};

// The place from which the calling function was reached. The functions marked with TEST_WATCH are looked past.
CodePlace innermostPlace();
#define TEST_WATCH gnu::section("test_watch")

// Which of the library's blocks are refused, counted from 0.
struct Refusals {
  std::size_t first = SIZE_MAX;
  bool andAllLater = false;
};

// The blocks that the library takes are those whose chain of calls has code of libtrel or libtrelUdp before any code of the
// test: a hook, the captured log, a recording transport inside a call of the library are the test's. One for a process, for
// the thread that makes it; from then on it watches the allocator, for good.
class FailingAllocator final : public AllocatorWatch {
 public:
  // Told the number of each of the library's blocks as it is taken or refused.
  using Counter = void (*)(std::size_t number);

  static FailingAllocator& instance();

  // From now on the library's blocks are counted, and these refused. `withOrigins`: the chains of calls of what is refused
  // and of what is lost are written to standard error.
  void start(const Refusals& refusals, Counter counter, bool withOrigins);
  // From now on they are not.
  void stop();
  // Not for the time being.
  void pause() { paused_ = true; }
  void resume() { paused_ = false; }

  std::size_t counted() const { return counted_; }
  std::size_t refused() const { return refused_; }

  // The library's part in the chain of calls of the block that is being counted, as a number.
  static std::uint64_t chainOfCalls();
  // How many of the library's blocks of this size are alive.
  std::size_t alive(std::size_t size) const;
  // How many of the library's blocks nobody can reach any more: nothing that may be written to, and is no stack, holds an
  // address inside them. Under the address sanitizer it is asked, 1 means some.
  std::size_t lost() const;

  bool refuses(std::size_t size) override;
  void taken(void* block, std::size_t size) override;
  void givenBack(void* block) override;

 private:
  FailingAllocator();

  Refusals refusals_;
  Counter counter_ = nullptr;
  std::size_t counted_ = 0;
  std::size_t refused_ = 0;
  bool counting_ = false;
  bool paused_ = false;
  bool takenByLibrary_ = false;  // the block that was asked for last
};

#endif
