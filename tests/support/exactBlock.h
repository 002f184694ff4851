// A block of memory that ends where its bytes end.

#ifndef TESTS_SUPPORT_EXACTBLOCK_H
#define TESTS_SUPPORT_EXACTBLOCK_H

#include <cstddef>
#include <string_view>

// A heap block of exactly the bytes given, so that a sanitizer sees a read or write of one byte too many. A std::string
// would hide it: it ends in a zero byte, and a short one keeps its bytes in itself. Owns the block; data() is valid, and
// may be written to, for as long as this object lives. With no bytes at all it is a block of size zero, not null.
class ExactBlock {
 public:
  // A copy of the bytes.
  explicit ExactBlock(std::string_view bytes);
  // `size` bytes of the given value: a place to write into, filled with something that no writer leaves by chance.
  explicit ExactBlock(std::size_t size, unsigned char filling = 0xA5);
  ~ExactBlock();
  ExactBlock(const ExactBlock&) = delete;
  ExactBlock& operator=(const ExactBlock&) = delete;

  char* data() { return bytes_; }
  const char* data() const { return bytes_; }
  std::size_t size() const { return size_; }
  // The size as the protocol's entry points take it.
  int length() const { return static_cast<int>(size_); }
  std::string_view view() const { return std::string_view(bytes_, size_); }

 private:
  std::size_t size_;
  char* bytes_;
};

#endif
