// How a run ends that has found something.

#ifndef TESTS_SIM_BROKENPROMISE_H
#define TESTS_SIM_BROKENPROMISE_H

#include <stdexcept>
#include <string>
#include <string_view>

#include "support/bytes.h"

namespace sim {

// The library did something else than the model. Passes through the library and every catch of a hook's exception, up to the
// one that runs the seed.
class BrokenPromise : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a hook throws when the dice say so. Caught where an application would catch it: around the engine's calls.
class HookThrew : public std::runtime_error {
 public:
  HookThrew() : std::runtime_error("a hook threw") {}
};

inline void promise(bool kept, const char* what) {
  if (!kept) throw BrokenPromise(what);
}

template <typename Is, typename Expected>
void promiseNumber(Is isGiven, Expected expectedGiven, const char* what) {
  const auto is = static_cast<long long>(isGiven);
  const auto expected = static_cast<long long>(expectedGiven);
  if (is != expected)
    throw BrokenPromise(std::string(what) + ": is " + std::to_string(is) + ", should be " + std::to_string(expected));
}

// The texts are made in the case of a failure only: this is asked millions of times.
inline void promiseDatagram(std::string_view is, std::string_view expected, const char* what) {
  if (is == expected) return;
  throw BrokenPromise(std::string(what) + ":\n  is        " + asDatagram(is) + "\n  should be " + asDatagram(expected));
}

}  // namespace sim

#endif
