#include "support/exactBlock.h"

#include <cstring>

ExactBlock::ExactBlock(std::string_view bytes) : size_(bytes.size()), bytes_(new char[bytes.size()]) {
  if (size_ > 0) std::memcpy(bytes_, bytes.data(), size_);
}

ExactBlock::ExactBlock(std::size_t size, unsigned char filling) : size_(size), bytes_(new char[size]) {
  std::memset(bytes_, filling, size_);
}

ExactBlock::~ExactBlock() { delete[] bytes_; }
