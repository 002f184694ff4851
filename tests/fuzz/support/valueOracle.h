// The rules of values and their bytes, written once more: the fuzz targets compare the library with these and not with
// itself. Nothing here asks the library, and nothing assumes a byte order of this machine.

#ifndef TESTS_FUZZ_SUPPORT_VALUEORACLE_H
#define TESTS_FUZZ_SUPPORT_VALUEORACLE_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "support/fuzzInput.h"

namespace oracle {

inline constexpr std::size_t HEAD = 4 + 1 + 2;       // OID, type, length
inline constexpr std::size_t WIDEST_NUMBER = 8;      // what every value buffer holds at least
inline constexpr unsigned int COMMON = 0x10000000U;  // OID bit 28

// Bytes of the big-endian number that a value of this type is; 0 for values whose bytes travel as they are.
inline std::size_t widthOf(unsigned int type) {
  if (type == 0 || type == 4 || type == 11) return 8;
  if (type == 1 || type == 5 || type == 10) return 4;
  if (type == 2 || type == 6) return 2;
  return 0;
}

// The number that the first `width` bytes are, big-endian; bytes that are not there count as 0.
inline unsigned long long numberIn(std::string_view bytes, std::size_t width) {
  unsigned long long number = 0;
  for (std::size_t i = 0; i < width; ++i)
    number = number << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  return number;
}

inline std::string bigEndian(unsigned long long number, std::size_t width) {
  std::string bytes(width, '\0');
  for (std::size_t i = width; i > 0; --i, number >>= 8)
    bytes[i - 1] = static_cast<char>(number & 0xFFU);
  return bytes;
}

// A plain value as it lies in the memory of this machine, and back. Memory that is not there counts as 0.
template <typename T>
std::string memoryOf(T value) {
  std::string memory(sizeof value, '\0');
  std::memcpy(memory.data(), &value, sizeof value);
  return memory;
}
template <typename T>
T inMemory(std::string_view memory) {
  T value = 0;
  std::memcpy(&value, memory.data(), std::min(sizeof value, memory.size()));
  return value;
}

// The same for a number of 8, 4 or 2 bytes; no bytes for another width.
inline std::string memoryOfNumber(unsigned long long number, std::size_t width) {
  if (width == 8) return memoryOf(number);
  if (width == 4) return memoryOf(static_cast<unsigned int>(number));
  if (width == 2) return memoryOf(static_cast<unsigned short>(number));
  return std::string();
}
inline unsigned long long numberInMemory(std::string_view memory, std::size_t width) {
  if (width == 8) return inMemory<unsigned long long>(memory);
  if (width == 4) return inMemory<unsigned int>(memory);
  if (width == 2) return inMemory<unsigned short>(memory);
  return 0;
}

// Puts bytes over the first ones of a memory that is long enough.
inline void overlay(std::string& memory, std::string_view bytes) { memory.replace(0, bytes.size(), bytes); }

// A memory of `size` bytes that starts with these: the rest is zeros, what is too much is left out.
inline std::string resized(std::string_view bytes, std::size_t size) {
  std::string memory(bytes.substr(0, size));
  memory.resize(size, '\0');
  return memory;
}

// One TLV.
struct Record {
  unsigned int oid = 0;
  unsigned char type = 0;
  unsigned short len = 0;
  std::string value;  // `len` bytes

  std::string head() const { return bigEndian(oid, 4) + bigEndian(type, 1) + bigEndian(len, 2); }
  std::string bytes() const { return head() + value; }
};

// The next TLV of the input, always whole: a length beyond the input's end becomes what is left.
inline Record takeRecord(FuzzInput& input) {
  Record record;
  record.oid = input.u32();
  record.type = input.u8();
  record.value = input.bytes(input.u16());
  record.len = static_cast<unsigned short>(record.value.size());
  return record;
}

// The trace level of a target that looks at no line: everything for one input in eight, so that lines are built from all
// kinds of bytes, and nothing for the others, because the lines cost more than all the rest.
inline int logLevel(std::size_t inputSize) { return inputSize % 8 == 0 ? 9 : 0; }

// The number of an OID's row: a table's OIDs have one.
inline unsigned int rowOf(unsigned int oid) { return oid >> 30 == 1 ? oid & 0x3FFFU : 0; }

}  // namespace oracle

#endif
