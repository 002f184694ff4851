// The eleven typed getters and setters of a property, as a list that tests walk: a property answers those of its own type
// and refuses the rest.

#ifndef TESTS_SUPPORT_TYPEDACCESSORS_H
#define TESTS_SUPPORT_TYPEDACCESSORS_H

#include <cstring>
#include <string>
#include <vector>

#include "trel/trelProperty.h"

struct TypedAccessor {
  const char* word;                        // the type, as "Not implemented for ..." names it
  bool (*getLeavesTarget)(TrelProperty&);  // calls the getter: whether the variable handed to it (never 0) is as before
  void (*set)(TrelProperty&);              // calls the setter with a value that is not 0
};

namespace typedAccessors {

template <typename T>
bool getLeavesTarget(TrelProperty& property, T target) {
  const T before = target;
  property.get(&target);
  return target == before;
}

// A MAC address answers this getter too, with six bytes.
inline bool getLeavesOneByte(TrelProperty& property) {
  unsigned char target[8] = {0xA5, 0, 0, 0, 0, 0, 0, 0};
  property.get(target);
  return target[0] == 0xA5;
}

inline bool getLeavesBytes(TrelProperty& property) {
  unsigned char bytes[8] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
  unsigned char before[sizeof bytes];
  std::memcpy(before, bytes, sizeof bytes);
  unsigned int length = sizeof bytes;
  property.get(bytes, &length);
  return std::memcmp(bytes, before, sizeof bytes) == 0 && length == sizeof bytes;
}

inline void setBytes(TrelProperty& property) {
  unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
  property.set(bytes, sizeof bytes);
}

}  // namespace typedAccessors

// All eleven, in the order of the virtual table.
inline const std::vector<TypedAccessor>& allTypedAccessors() {
  using typedAccessors::getLeavesTarget;
  static const std::vector<TypedAccessor> all = {
      {"uint64_t", [](TrelProperty& p) { return getLeavesTarget(p, 0xA5A5A5A5A5A5A5A5ULL); },
       [](TrelProperty& p) { p.set(99ULL); }},
      {"uint32_t", [](TrelProperty& p) { return getLeavesTarget(p, 0xA5A5A5A5U); },
       [](TrelProperty& p) { p.set(99U); }},
      {"uint16_t", [](TrelProperty& p) { return getLeavesTarget<unsigned short>(p, 0xA5A5); },
       [](TrelProperty& p) { p.set(static_cast<unsigned short>(99)); }},
      {"uint8_t", [](TrelProperty& p) { return typedAccessors::getLeavesOneByte(p); },
       [](TrelProperty& p) { p.set(static_cast<unsigned char>(99)); }},
      {"int64_t", [](TrelProperty& p) { return getLeavesTarget(p, -7777777777LL); },
       [](TrelProperty& p) { p.set(99LL); }},
      {"int32_t", [](TrelProperty& p) { return getLeavesTarget(p, -77777); }, [](TrelProperty& p) { p.set(99); }},
      {"int16_t", [](TrelProperty& p) { return getLeavesTarget<short>(p, -777); },
       [](TrelProperty& p) { p.set(static_cast<short>(99)); }},
      {"int8_t", [](TrelProperty& p) { return getLeavesTarget<signed char>(p, -77); },
       [](TrelProperty& p) { p.set(static_cast<signed char>(99)); }},
      {"bool", [](TrelProperty& p) { return getLeavesTarget(p, true); }, [](TrelProperty& p) { p.set(true); }},
      {"std::string", [](TrelProperty& p) { return getLeavesTarget(p, std::string("before")); },
       [](TrelProperty& p) { p.set(std::string("99")); }},
      {"array of uint8_t", [](TrelProperty& p) { return typedAccessors::getLeavesBytes(p); },
       [](TrelProperty& p) { typedAccessors::setBytes(p); }},
  };
  return all;
}

#endif
