#include "support/fuzzInput.h"

#include <algorithm>
#include <utility>

#include "support/promise.h"

FuzzInput::FuzzInput(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {
  promiseInput(data, size);
}

std::string FuzzInput::bytes(std::size_t n) {
  const std::size_t count = std::min(n, left_);
  std::string taken(next_, next_ + count);
  next_ += count;
  left_ -= count;
  return taken;
}

std::uint64_t FuzzInput::number(unsigned int width) {
  std::uint64_t value = 0;
  for (unsigned int i = 0; i < width; ++i) {
    value <<= 8U;
    if (left_ == 0) continue;
    value |= *next_++;
    --left_;
  }
  return value;
}

std::vector<FuzzRecord> recordsOf(FuzzInput& input) {
  std::vector<FuzzRecord> records;
  while (!input.atEnd()) {
    FuzzRecord record;
    record.operation = input.u8();
    record.datagram = input.bytes(input.u16());
    records.push_back(std::move(record));
  }
  return records;
}
