// operator new and delete, watched: what was taken, what was given back, and a failure when a test says so.

#ifndef TESTS_SUPPORT_OPERATORNEW_H
#define TESTS_SUPPORT_OPERATORNEW_H

#include <cstddef>

// A program that links trelTestOperatorNew has its operator new and delete here, and so have the shared libraries that it
// uses. They stand on malloc and free, so that a sanitizer sees every block as ever. For one thread.

// How many blocks operator new has handed out since the program started.
std::size_t newBlocks();
// How many of them have not been given back.
std::size_t liveBlocks();

// While it lives, one call of operator new throws std::bad_alloc: the one behind `after` calls that work.
//
//     NewFailure failure(0);
//     EXPECT_THROW(std::make_unique<int>(), std::bad_alloc);
class NewFailure {
 public:
  explicit NewFailure(std::size_t after);
  ~NewFailure();
  NewFailure(const NewFailure&) = delete;
  NewFailure& operator=(const NewFailure&) = delete;

  // Whether the failure has happened: a test whose code under test never asked has shown nothing.
  bool happened() const;
};

// Tells whether an object has been deleted. Made while the object is alive, by its address as `new` returned it; several
// may live at a time.
class DeletionWatch {
 public:
  explicit DeletionWatch(const void* object);
  ~DeletionWatch();
  DeletionWatch(const DeletionWatch&) = delete;
  DeletionWatch& operator=(const DeletionWatch&) = delete;

  bool deleted() const { return deleted_; }
  // For operator delete.
  static void tell(const void* block);

 private:
  const void* object_;
  bool deleted_ = false;
  DeletionWatch* next_;  // a list without blocks of its own: operator delete walks it
};

#endif
