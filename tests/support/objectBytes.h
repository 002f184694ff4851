// Into an object past its interface.

#ifndef TESTS_SUPPORT_OBJECTBYTES_H
#define TESTS_SUPPORT_OBJECTBYTES_H

#include <cstddef>
#include <cstring>

// What lies in an object at an offset, private or not. T is copied byte by byte: plain types only, no std::string.
template <typename T, typename Object>
T peek(const Object& object, std::size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(&object) + offset, sizeof value);
  return value;
}

// Puts a plain value there: the way into a state that the class itself never reaches.
template <typename T, typename Object>
void poke(Object& object, std::size_t offset, T value) {
  std::memcpy(reinterpret_cast<char*>(&object) + offset, &value, sizeof value);
}

#endif
