// The only source of chance in the simulation.

#ifndef TESTS_SIM_DICE_H
#define TESTS_SIM_DICE_H

#include <cstddef>
#include <string>

namespace sim {

// Splitmix64: the same seed throws the same numbers on every machine, which the distributions of the standard library do not
// promise.
class Dice {
 public:
  explicit Dice(unsigned long long seed) : state_(seed) {}

  unsigned long long next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    unsigned long long mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9ULL;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
    return mixed ^ (mixed >> 31);
  }
  // 0 to limit - 1; 0 for a limit of 0.
  unsigned int below(unsigned long long limit) {
    return limit == 0 ? 0 : static_cast<unsigned int>((next() >> 16) % limit);
  }
  bool oneIn(unsigned int n) { return below(n) == 0; }
  bool percent(unsigned int share) { return below(100) < share; }
  std::string bytes(std::size_t count) {
    std::string all(count, '\0');
    for (char& byte : all)
      byte = static_cast<char>(static_cast<unsigned char>(below(256)));
    return all;
  }

 private:
  unsigned long long state_;
};

}  // namespace sim

#endif
