// What serialize of every property kind must do with the place it is given.

#ifndef TESTS_FUZZ_SUPPORT_SERIALIZECHECK_H
#define TESTS_FUZZ_SUPPORT_SERIALIZECHECK_H

#include <string>

#include "support/exactBlock.h"
#include "support/promise.h"
#include "trel/trelProperty.h"

// Expects exactly these bytes, head and value, and nothing at all in a place that is too small.
inline void checkSerialize(TrelProperty& property, const std::string& expected) {
  constexpr unsigned char FILLING = 0xA5;
  ExactBlock out(expected.size() + 1, FILLING);
  const std::string untouched(out.view());
  const int needed = static_cast<int>(expected.size());
  for (const int tooSmall : {-1, 0, 6, needed - 1}) {
    PROMISE(property.serialize(out.data(), tooSmall) == -1, "a place that is too small is refused");
    PROMISE(out.view() == untouched, "and nothing is written");
  }
  PROMISE(property.serialize(out.data(), needed) == needed, "a place of just the size is enough");
  PROMISE(out.view() == expected + static_cast<char>(FILLING), "head and value are written, and nothing else");
}

#endif
