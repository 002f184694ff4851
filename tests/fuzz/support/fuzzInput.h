// The bytes that a fuzz target was given, taken from front to back.

#ifndef TESTS_FUZZ_SUPPORT_FUZZINPUT_H
#define TESTS_FUZZ_SUPPORT_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Every input is good for every target: a number beyond the end is 0, a block is as long as what is left. Numbers are
// big-endian, as on the wire. The bytes must live as long as this object, and are what PROMISE prints.
//
//     FuzzInput input(data, size);
//     const unsigned int kind = input.below(3);
//     const ExactBlock record(input.bytes(input.u16()));
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size);

  bool atEnd() const { return left_ == 0; }
  std::size_t left() const { return left_; }

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t u64() { return number(8); }
  // The lowest bit of a byte.
  bool flag() { return (u8() & 1U) != 0; }
  // 0 to limit - 1, from one byte; limit is 1 to 256.
  unsigned int below(unsigned int limit) { return u8() % limit; }

  // The next n bytes, or all that are left.
  std::string bytes(std::size_t n);
  std::string rest() { return bytes(left_); }

 private:
  std::uint64_t number(unsigned int width);

  const std::uint8_t* next_;
  std::size_t left_;
};

// An operation with a datagram, as it lies in the inputs of targets that run several: operation (1 byte), length (2 bytes,
// big-endian), that many bytes or as many as are left.
struct FuzzRecord {
  std::uint8_t operation;
  std::string datagram;
};

// All that is left, as records.
std::vector<FuzzRecord> recordsOf(FuzzInput& input);

#endif
