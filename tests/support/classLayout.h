// Where a class keeps its members, and in which slots its virtual operations stand: both are part of the binary interface
// that applications are compiled against.

#ifndef TESTS_SUPPORT_CLASSLAYOUT_H
#define TESTS_SUPPORT_CLASSLAYOUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

// Walks the members of a class in their order and tells where the alignment rules put each, for pointers of any width.
class MemberPlaces {
 public:
  // `start`: where the first member may lie, behind the virtual table's pointer or the base class.
  explicit MemberPlaces(std::size_t start) : end_(start) {}

  // The place of the next member, of type T.
  template <typename T>
  std::size_t next() {
    const std::size_t place = roundedUp(alignof(T));
    end_ = place + sizeof(T);
    return place;
  }

  // The size of a class that ends behind the last member and has this alignment.
  std::size_t sizeOf(std::size_t alignment) const { return roundedUp(alignment); }

 private:
  std::size_t roundedUp(std::size_t alignment) const { return (end_ + alignment - 1) / alignment * alignment; }

  std::size_t end_;
};

// Bytes from the start of an object to one of its members.
template <typename Object, typename Member>
std::size_t placeIn(const Object& object, const Member& member) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&object));
}

// The slot that a call through this pointer to member goes to, counted from 0; the two slots of a virtual destructor
// count. std::size_t(-1) for an operation that is not virtual. It stands in the pointer itself, at a place that differs
// on ARM.
template <typename MemberPointer>
std::size_t virtualSlot(MemberPointer pointer) {
  struct Words {
    std::uintptr_t function;
    std::uintptr_t adjustment;
  } words = {};
  static_assert(sizeof(Words) == sizeof(MemberPointer), "not a pointer to a member function of the Itanium ABI");
  std::memcpy(&words, &pointer, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
  return (words.adjustment & 1U) != 0 ? words.function / sizeof(void*) : static_cast<std::size_t>(-1);
#else
  return (words.function & 1U) != 0 ? (words.function - 1) / sizeof(void*) : static_cast<std::size_t>(-1);
#endif
}

// Calls the operation in a slot, one that takes nothing and returns nothing.
template <typename Object>
void callSlot(Object* object, std::size_t slot) {
  using Operation = void (*)(Object*);
  const Operation* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(object), sizeof table);
  table[slot](object);
}

#endif
